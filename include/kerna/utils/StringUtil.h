// StringUtil.h
//
// Bounded string helpers of Tessaran::Utils on caller buffers: copy and append that always
// terminate, a formatter that cuts instead of overflowing, and the run-time library's snprintf
// and case-insensitive compare as exported function pointers. None allocates or keeps state.
// A null pointer or a zero size is refused with an error line and a result of 0.
#ifndef KERNA_UTILS_STRINGUTIL_H_
#define KERNA_UTILS_STRINGUTIL_H_

#include <cstddef>

#include <kerna/kerna3/Defs.h>

namespace Tessaran {
namespace Utils {

/// Copies at most min(`dstSize` - 1, `count`) bytes of `src` into `dst`, stopping at the
/// terminator of `src`, zero filling `dst` up to that number of bytes, and always terminates.
/// Returns the final length of `dst`.
KERNA_API size_t strncpy(char* dst, size_t dstSize, const char* src, size_t count);

/// Appends at most min(`dstSize` - strlen(`dst`) - 1, `count`) bytes of `src` to `dst` and writes
/// a zero at `dst[dstSize - 1]`. Returns that allowed room, not the number of bytes appended.
/// The text in `dst` must end within `dstSize`; if it does not, nothing is changed and 0 returned.
KERNA_API size_t strncat(char* dst, size_t dstSize, const char* src, size_t count);

/// Formats as vsnprintf into `dst` of `size` bytes. When the text does not fit, or the formatter
/// fails, `dst[size - 1]` is zero and the text is cut there. Returns the length of the text in
/// `dst`.
KERNA_API int snprintf_x(char* dst, int size, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

/// The run-time library's snprintf: always terminates within `size` and returns the length the
/// whole text would have.
KERNA_API extern int (*snprintf)(char* dst, size_t size, const char* format, ...);

/// The run-time library's case-insensitive compare of two terminated texts (strcasecmp).
KERNA_API extern int (*stricmp)(const char* a, const char* b);

}  // namespace Utils
}  // namespace Tessaran

#endif  // KERNA_UTILS_STRINGUTIL_H_
