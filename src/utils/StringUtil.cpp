// StringUtil.cpp
//
// Bounded copy, append and format, and the run-time library's snprintf and strcasecmp behind
// exported function pointers.
#include "kerna/utils/StringUtil.h"

#include <strings.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "base/Log.h"

namespace Tessaran {
namespace Utils {

// Both pointers are constant-initialised: they are set before any code of the process runs.
int (*snprintf)(char* dst, size_t size, const char* format, ...) = &::snprintf;
int (*stricmp)(const char* a, const char* b) = &::strcasecmp;

size_t strncpy(char* dst, size_t dstSize, const char* src, size_t count) {
    if (dst == nullptr || src == nullptr || dstSize == 0) {
        KERNA_LOG(2, "dst:%p dstSize:%zu src:%p is invalid\n", static_cast<void*>(dst), dstSize,
                  static_cast<const void*>(src));
        return 0;
    }
    const size_t n = dstSize - 1 < count ? dstSize - 1 : count;
    const size_t length = ::strnlen(src, n);
    std::memmove(dst, src, length);
    std::memset(dst + length, 0, n - length + 1);
    return length;
}

size_t strncat(char* dst, size_t dstSize, const char* src, size_t count) {
    if (dst == nullptr || src == nullptr || dstSize == 0) {
        KERNA_LOG(2, "dst:%p dstSize:%zu src:%p is invalid\n", static_cast<void*>(dst), dstSize,
                  static_cast<const void*>(src));
        return 0;
    }
    const size_t current = ::strnlen(dst, dstSize);
    if (current == dstSize) {
        KERNA_LOG(2, "dst is not terminated within dstSize:%zu\n", dstSize);
        return 0;
    }
    const size_t room = dstSize - current - 1 < count ? dstSize - current - 1 : count;
    const size_t length = ::strnlen(src, room);
    std::memmove(dst + current, src, length);
    dst[current + length] = '\0';
    dst[dstSize - 1] = '\0';
    return room;
}

int snprintf_x(char* dst, int size, const char* format, ...) {
    if (dst == nullptr || format == nullptr || size <= 0) {
        KERNA_LOG(2, "dst:%p size:%d format:%p is invalid\n", static_cast<void*>(dst), size,
                  static_cast<const void*>(format));
        return 0;
    }
    va_list args;
    va_start(args, format);
    const int n = std::vsnprintf(dst, static_cast<size_t>(size), format, args);
    va_end(args);
    if (n < 0) {
        // The formatter failed: what it left in dst is unknown, so the text becomes empty.
        dst[0] = '\0';
        dst[size - 1] = '\0';
        return 0;
    }
    if (n >= size) {
        dst[size - 1] = '\0';
        return static_cast<int>(std::strlen(dst));
    }
    return n;
}

}  // namespace Utils
}  // namespace Tessaran
