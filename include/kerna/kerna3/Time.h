// Time.h - CTime: the library's time class.
//
// Holds the monotonic clock: milliseconds and microseconds since the clock's first use in the
// process, never falling within a thread and not moved by setting the wall clock. Timers, thread
// watch-dogs and idle checks run on it.

#ifndef KERNA_KERNA3_TIME_H_
#define KERNA_KERNA3_TIME_H_

#include "kerna/kerna3/Defs.h"

namespace Tessaran {
namespace Kerna {

class KERNA_API CTime {
public:
    /// Monotonic milliseconds since the clock's first use in the process. Within one thread a
    /// reading never falls below an earlier one; different threads may differ by a little.
    /// The first use logs the clock's frequency and base at level 4. Needs no lock.
    static unsigned long long getCurrentMilliSecond();

    /// The same clock in microseconds.
    static unsigned long long getCurrentMicroSecond();
};

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_KERNA3_TIME_H_
