// Clock.cpp
//
// Only POSIX code; no library logic. The monotonic counter, on CLOCK_MONOTONIC in nanoseconds.
#include "platform/Clock.h"

#include <time.h>

namespace Tessaran {
namespace Kerna {
namespace Detail {
namespace Platform {

uint64_t monotonicTicks() {
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000000000ull + static_cast<uint64_t>(ts.tv_nsec);
}

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran
