// Semaphore.h
//
// CSemaphore: a counting semaphore with a maximum of 2147483647. Timed waits run on the monotonic
// clock, so that setting the wall clock does not move them.
#ifndef KERNA_KERNA3_SEMAPHORE_H_
#define KERNA_KERNA3_SEMAPHORE_H_

#include "kerna/kerna3/Defs.h"

namespace Tessaran {
namespace Kerna {

class SemaphoreInternal;

/// Counting semaphore. All operations return 0 on success and -1 otherwise (a time-out, an empty
/// semaphore under tryPend, a post at the maximum).
class KERNA_API CSemaphore {
public:
    /// `initialCount` from 0 to 2147483647; the platform's refusal is an assertion failure.
    explicit CSemaphore(int initialCount = 0);
    ~CSemaphore();
    CSemaphore(const CSemaphore&) = delete;
    CSemaphore& operator=(const CSemaphore&) = delete;

    /// Waits without limit.
    int pend();
    /// Waits at most `timeoutMilliSeconds`; 0 is tryPend, 0xFFFFFFFF waits without limit.
    int pend(unsigned int timeoutMilliSeconds);
    /// Takes one count if there is one, without waiting.
    int tryPend();
    /// Adds one count; -1 and no change at the maximum.
    int post();

private:
    SemaphoreInternal* m_internal;
};

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_KERNA3_SEMAPHORE_H_
