// TimeState.h
//
// The process-wide state behind the clock-setting side of CTime: the configured zone, the
// daylight-saving state, the setting hooks with their notify flags, the verify hook and the two
// proc lists. Also the internal setting entry that
// the daylight-saving manager and setCurrentRealUTC go through. Private to the library.
#ifndef KERNA_SRC_TIME_TIMESTATE_H_
#define KERNA_SRC_TIME_TIMESTATE_H_

#include <atomic>
#include <vector>

#include "kerna/kerna3/Function.h"
#include "kerna/kerna3/Mutex.h"
#include "kerna/kerna3/Time.h"

namespace Tessaran {
namespace Kerna {

/// As setCurrentTime(const SystemTimeEx&, int), with `time.isdst` also taken over: when the set
/// goes well and `isdst` differs from the daylight-saving state, the state takes it and the
/// daylight-saving callback is told (before the modify procs). False if refused or failed.
bool Kerna_setCurrentTimeInternal(const SystemTimeEx& time, int tolerance);

/// 1 when `localSeconds` (field seconds of standard local time) lies inside the running
/// daylight-saving manager's period of that year, 0 outside, the daylight-saving state when no
/// manager runs.
int isLocalTimeInDst(unsigned long long localSeconds);

namespace Detail {

/// The value of the configured zone while it is not set.
const int kZoneNotSet = 0xFFFFFFF;

/// Last-error codes of a failed clock setting: the platform refused, or a hook or proc says so.
const int kTimeSetRefused = 0x1000000e;
const int kTimeSetFailed = 0x1000000f;

using SetTimeHook = TFunction2<void, const CTime&, int>;
using SetTimeHookEx = TFunction2<void, const SystemTimeEx&, int>;
using SetRealUtcHook = TFunction2<bool, unsigned long long, int>;
using ModifyProc = TFunction1<bool, SystemTime>;
using RealUtcProc = TFunction2<void, unsigned long long, unsigned long long>;

class TimeState {
public:
    TimeState();
    void published() {}
    void atProcessExit() {}

    std::atomic<int> timeZone{kZoneNotSet};  ///< seconds east of Greenwich
    std::atomic<int> dstState{-1};           ///< -1 not known, 0 out, 1 in

    /// Guards the hooks and flags below; held only to copy or replace them, never over a call.
    CMutex hookLock;
    SetTimeHook setTimeHook;
    SetTimeHookEx setTimeHookEx;
    SetRealUtcHook setRealUtcHook;
    TFunction0<bool> verifyHook;
    bool notifyAfterHook = false;
    bool notifyAfterHookEx = false;
    bool notifyAfterRealUtc = false;

    /// Each list has its lock, held only to copy or append: procs run with no lock held.
    CMutex modifyLock;
    std::vector<ModifyProc> modifyProcs;
    CMutex realUtcLock;
    std::vector<RealUtcProc> realUtcProcs;
};

/// The one TimeState of the process, made on first use.
TimeState& timeState();

/// The default setting hooks: clamp, tolerance, the platform wall clock, then the modify procs.
void setSysCurrentTime(const CTime& time, int tolerance);
void setSysCurrentTimeEx(const SystemTimeEx& time, int tolerance);

/// For tests: default hooks, no verify hook, empty proc lists, zone not set, daylight-saving
/// state not known. The daylight-saving manager is not touched.
void resetTimeStateForTests();

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_TIME_TIMESTATE_H_
