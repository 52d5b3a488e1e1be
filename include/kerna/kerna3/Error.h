// Error.h
//
// The error registry: the last error of the calling thread, a plain integer in the manner of
// errno that library calls returning only a boolean or null leave behind, and a process-wide
// table from error codes to message texts, to which applications may add their own rows.
// Codes 0x1000xxxx belong to the base library, 0x1003xxxx to the component framework.

#ifndef KERNA_KERNA3_ERROR_H_
#define KERNA_KERNA3_ERROR_H_

#include "kerna/kerna3/Defs.h"
#include "kerna/kerna3/FlexString.h"

namespace Tessaran {
namespace Kerna {

/// Stores `code` as the calling thread's last error. Other threads are not affected; nothing
/// else is cleared, and a later successful call does not reset it. Takes no lock.
KERNA_API void setLastError(int code);

/// The calling thread's last error: 0 if the thread never set one. Takes no lock.
KERNA_API int getLastError();

/// Stores a copy of `text` as the message of `code`, replacing a former text; a null `text`
/// stores the empty text. Any thread; takes the table's lock for one map operation. Replacing a
/// text ends the validity of pointers that getErrMsg gave for it: set rows once, at start-up.
KERNA_API void setErrMsg(int code, const char* text);

/// The message of `code`, or the empty text if it has none (the table does not grow). Never
/// null. The pointer stays valid until the code's text is replaced. Any thread.
KERNA_API const char* getErrMsg(int code);

/// As setErrMsg with the text of `text`.
KERNA_API void setErrorMessage(int code, const String& text);

/// A copy of the message of `code`, or an empty string.
KERNA_API String getErrorMessage(int code);

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_KERNA3_ERROR_H_
