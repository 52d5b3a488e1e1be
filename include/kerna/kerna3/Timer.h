// Timer.h
//
// CTimer, a one-shot or periodic callback without a thread of its own, and CTimerManager, the
// process-wide face of the timer list.
//
// All timers of the process stand in one list sorted by due time. One manager thread,
// "TimerManager", looks at it every 10 ms on the monotonic clock and hands each due timer to a
// pooled worker thread ("[Pooled]" while idle, the timer's name while it runs the callback), so a
// slow callback delays neither the manager nor other timers. A timer still in its callback when it
// falls due again loses that tick: a timer's callback never runs twice at the same time.
#ifndef KERNA_KERNA3_TIMER_H_
#define KERNA_KERNA3_TIMER_H_

#include "kerna/kerna3/Defs.h"
#include "kerna/kerna3/Function.h"

namespace Tessaran {
namespace Kerna {

class TimerInternal;
class TimerManagerInternal;

/// A timer. Delays, periods and time-outs are in milliseconds. Callbacks run on a pooled worker
/// with no library lock held; they may start, stop or stopAndWait any timer, their own included.
/// A CTimer must not be destroyed from its own callback.
class KERNA_API CTimer {
public:
    /// At most 31 characters of `name` are kept (a null name is empty).
    explicit CTimer(const char* name);
    /// stopAndWait(), then frees the timer.
    virtual ~CTimer();
    CTimer(const CTimer&) = delete;
    CTimer& operator=(const CTimer&) = delete;

    /// Arms the timer: first call `delay` ms from the manager's current time, then every `period`
    /// ms (0: once). The callback gets the low 32 bits of `param`; each call runs under a
    /// watch-dog of `timeout` ms (0: none). Replaces what the timer was armed with and clears
    /// isCalled and the statistics switch. True when `delay` is not 0; with `delay` 0 the timer
    /// is handed to a worker at once and the result is that of the hand-over: false when the
    /// running limit is reached or no worker can be had (the timer stays armed and fires when a
    /// worker returns), or when the previous callback still runs (the tick is lost).
    bool start(TFunction1<void, unsigned long> proc, unsigned int delay, unsigned int period,
               unsigned long param, unsigned int timeout);
    /// The same with a pointer argument.
    bool start(TFunction1<void, void*> proc, unsigned int delay, unsigned int period, void* param,
               unsigned int timeout);
    /// Takes the timer out of the list; false if it was not started. With `callNow`, an armed
    /// one-shot timer is handed over at once (past the running limit) and the result is that of
    /// the hand-over; a periodic timer is only stopped.
    bool stop(bool callNow);
    /// stop(false), then waits until a running callback has returned (logging at level 4 on the
    /// first pass and every 5 seconds). From the timer's own callback it does not wait. True.
    bool stopAndWait();
    /// Moves the next tick by the difference of the new and the old period.
    void setPeriodTime(unsigned int period);
    /// Measures the time spent in callbacks (shown by dumpTimers). Call after start.
    void enableStat(bool enable);
    const char* getName();
    /// At most 31 characters are kept.
    void setName(const char* name);
    /// The timer is in the list.
    bool isStarted();
    /// A one-shot timer has been handed over since the last start.
    bool isCalled();
    /// A worker is in this timer's callback now.
    bool isRunning();

private:
    TimerInternal* m_internal;
};

/// The process-wide timer list and worker pool. Made when the library is loaded.
class KERNA_API CTimerManager {
public:
    static CTimerManager* instance();
    /// Prints the list at level 4: elapsed time, a header, one row per armed timer, a blank line.
    void dumpTimers();
    /// Keeps at most `limit` idle workers (below 1: no limit), from the next return of a worker.
    bool limitIdlePooled(int limit);
    /// Lets at most `limit` workers run callbacks at once (below 1: no limit); a due timer at the
    /// head of the list then waits, and so do those behind it.
    bool setRunningThreadLimit(int limit);

private:
    friend class TimerManagerInternal;
    CTimerManager();
    ~CTimerManager();
    CTimerManager(const CTimerManager&) = delete;
    CTimerManager& operator=(const CTimerManager&) = delete;
    TimerManagerInternal* m_internal;
};

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_KERNA3_TIMER_H_
