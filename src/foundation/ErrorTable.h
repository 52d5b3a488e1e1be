// ErrorTable.h
//
// The library's own rows of the message table and the call that installs them. The component
// framework installs them at the first registration of a factory; nothing else does.

#ifndef KERNA_SRC_FOUNDATION_ERRORTABLE_H_
#define KERNA_SRC_FOUNDATION_ERRORTABLE_H_

#include <cstddef>

namespace Tessaran {
namespace Kerna {

class CThreadSpecific;

namespace Detail {

/// The slot that holds each thread's last error, made by the first call and kept to the end of
/// the process (exit handlers may still set and read last errors). The library makes it at load.
CThreadSpecific& lastErrorSlot();

/// One row of the library's message table.
struct ErrorRow {
    int code;
    const char* text;
};

/// The library's 17 rows, in code order.
extern const ErrorRow kLibraryErrorRows[];
extern const size_t kLibraryErrorRowCount;

/// Stores the library's rows with setErrMsg, in code order, the first time it is called in the
/// process; later calls do nothing and return false. A row an application set before the first
/// call is overwritten, one set after it stays. Returns true for the call that installed them.
bool installLibraryErrorMessages();

/// Number of rows in the message table, for tests that check that look-ups do not add rows.
size_t errorMessageCount();

/// Puts the table back to before the installation: the library's rows go, and the next
/// installLibraryErrorMessages installs them again. Only for tests.
void forgetLibraryErrorMessages();

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_FOUNDATION_ERRORTABLE_H_
