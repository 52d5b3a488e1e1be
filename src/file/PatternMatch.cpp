// PatternMatch.cpp
//
// The name matcher of the default tables' searches. One pass over the name; at a mismatch after
// a "*" the match restarts one byte further behind that "*" (only the last "*" needs to be
// retried: any earlier one could only match less).
#include <cstring>

#include "file/FileTables.h"

namespace Tessaran {
namespace Kerna {
namespace Detail {

bool matchFilePattern(const char* pattern, const char* name) {
    if (std::strcmp(pattern, "*.*") == 0) return true;
    const char* p = pattern;
    const char* n = name;
    const char* retryPattern = nullptr;  // behind the last "*" seen
    const char* retryName = nullptr;     // where that "*" began to match
    while (*n != '\0') {
        if (*p == '*') {
            retryPattern = ++p;
            retryName = n;
        } else if (*p != '\0' && (*p == '?' || *p == *n)) {
            ++p;
            ++n;
        } else if (retryPattern != nullptr) {
            p = retryPattern;
            n = ++retryName;
        } else {
            return false;
        }
    }
    while (*p == '*') ++p;
    return *p == '\0';
}

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran
