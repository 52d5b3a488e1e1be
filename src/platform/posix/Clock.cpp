// Clock.cpp
//
// Only POSIX code; no library logic. The monotonic counter, on CLOCK_MONOTONIC in nanoseconds, and
// the absolute sleep on it.
#include "platform/Clock.h"

#include <errno.h>
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

uint64_t sleepUntilTicks(uint64_t deadline) {
    const timespec ts = {static_cast<time_t>(deadline / 1000000000ull),
                         static_cast<long>(deadline % 1000000000ull)};
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &ts, nullptr) == EINTR) {
    }
    return monotonicTicks();
}

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran
