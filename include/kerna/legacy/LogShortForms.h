// LogShortForms.h
//
// The short log functions in the global namespace, for older callers. They are the same as
// Tessaran::Kerna::logFatal and its sisters: level 1 to 5 (logDebug at 5), library and file name
// "Unknown", no function, line 0, empty version. Kept apart from the Tessaran:: headers so that
// `using namespace Tessaran::Kerna` does not make a call ambiguous.
#ifndef KERNA_LEGACY_LOGSHORTFORMS_H_
#define KERNA_LEGACY_LOGSHORTFORMS_H_

#include "kerna/kerna3/Defs.h"

KERNA_API int logFatal(const char* format, ...) __attribute__((format(printf, 1, 2)));
KERNA_API int logError(const char* format, ...) __attribute__((format(printf, 1, 2)));
KERNA_API int logWarn(const char* format, ...) __attribute__((format(printf, 1, 2)));
KERNA_API int logInfo(const char* format, ...) __attribute__((format(printf, 1, 2)));
KERNA_API int logTrace(const char* format, ...) __attribute__((format(printf, 1, 2)));
KERNA_API int logDebug(const char* format, ...) __attribute__((format(printf, 1, 2)));

#endif  // KERNA_LEGACY_LOGSHORTFORMS_H_
