// MonotonicCounter.cpp - CLOCK_MONOTONIC for the platform's monotonic counter.
//
// Only POSIX code; no library logic.

#include "platform/MonotonicCounter.h"

#include <time.h>

namespace Tessaran {
namespace Kerna {
namespace Detail {
namespace Platform {

unsigned long long monotonicFrequency()
{
    return 1000000000ULL;
}

unsigned long long monotonicCounter()
{
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<unsigned long long>(ts.tv_sec) * 1000000000ULL +
           static_cast<unsigned long long>(ts.tv_nsec);
}

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran
