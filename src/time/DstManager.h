// DstManager.h
//
// The daylight-saving manager: a start and an end rule, the two instants of the current year, and
// a one-second timer that moves the wall clock an hour forward or back at the boundary through the
// internal setting entry. One per process, made on first use and never freed. Private to the
// library; CTime's daylight-saving members are its door.
#ifndef KERNA_SRC_TIME_DSTMANAGER_H_
#define KERNA_SRC_TIME_DSTMANAGER_H_

#include "kerna/kerna3/Function.h"
#include "kerna/kerna3/RecursiveMutex.h"
#include "kerna/kerna3/Time.h"
#include "kerna/kerna3/Timer.h"

namespace Tessaran {
namespace Kerna {

class DstManager {
public:
    DstManager();
    DstManager(const DstManager&) = delete;
    DstManager& operator=(const DstManager&) = delete;

    /// The manager, made on first use.
    static DstManager& instance();
    /// The manager if it has been made, else null (nothing is made).
    static DstManager* existing();

    void published() {}
    /// Stops the timer (the clock is left as it is).
    void atProcessExit();

    /// Checks both rules, computes this year's instants and starts the timer; false with a line
    /// at level 2 on a bad rule, a period of up to an hour, or a timer that does not start.
    bool startDstManager(const DstConfigInfo& start, const DstConfigInfo& end);
    /// Stops the timer and, in daylight saving, sets the clock an hour back.
    void stopDstManager();
    /// The two instants of `year`; false (silently) while the timer is not started.
    bool lookUp(int year, CTime& start, CTime& end);
    /// Gives the daylight-saving state its first value; false while the timer is started.
    bool initDst(bool dst);
    /// Makes the timer's checks return at once, and waits until a running check has finished
    /// (unless called from the check's own thread). Pauses nest: each needs a resume.
    void pause();
    void resume();

    void attachConvertCallback(TFunction1<void, bool> proc);
    /// Tells the callback `dst`, with no lock held.
    void callConvertCallback(bool dst);

    /// For tests: stops the timer without touching the clock, forgets rules, instants, pauses
    /// and the callback.
    void resetForTests();

private:
    /// What a check found, printed once the lock is left.
    struct CheckReport;

    bool prepareTime(int year, CheckReport& report);
    bool checkAdjustTime(SystemTimeEx& record, CheckReport& report);
    void onDstTimer(unsigned long param);

    CRecursiveMutex m_mutex;          ///< the rules, the instants and the pause count
    CRecursiveMutex m_callbackMutex;  ///< the callback
    CTimer m_timer;
    DstConfigInfo m_startConfig;
    DstConfigInfo m_endConfig;
    CTime m_startTime;  ///< start instant of the current year, standard local time
    CTime m_endTime;    ///< end instant of the current year, daylight local time
    int m_paused = 0;
    TFunction1<void, bool> m_convertCallback;
};

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_TIME_DSTMANAGER_H_
