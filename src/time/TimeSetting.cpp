// TimeSetting.cpp
//
// Setting the wall clock: verification, the replaceable hooks with their notify flags, the
// default setter (clamping, tolerance, the platform wall clock), the two proc lists, the internal
// entry that also carries the daylight-saving state, setCurrentRealUTC, and the per-thread record
// of who changes the time. Hooks and lists are copied under their locks and called after, so a
// hook, proc or callback may call the library again and attach further procs.
#include <cstdlib>
#include <cstring>
#include <new>

#include "base/Log.h"
#include "base/ProcessObject.h"
#include "kerna/kerna3/Error.h"
#include "platform/WallClock.h"
#include "time/Calendar.h"
#include "time/DstManager.h"
#include "time/TimeState.h"

namespace Tessaran {
namespace Kerna {

namespace {

using Detail::TimeState;
using Detail::timeState;

// What the default setter did with a time.
enum class Applied { set, heldBack, refused };

// Step one of every setting path: the verify hook may refuse the change.
bool verified(TimeState& state) {
    TFunction0<bool> verify;
    {
        CGuard guard(state.hookLock);
        verify = state.verifyHook;
    }
    if (!verify.empty() && !verify()) {
        KERNA_LOG(2, "verification failed when modifying time!\n");
        return false;
    }
    return true;
}

bool isSettingFailure(int code) {
    return code == Detail::kTimeSetRefused || code == Detail::kTimeSetFailed;
}

// A set that goes ahead forgets the failure an earlier set left in the thread's last error, so
// that the result it reports is its own: one refusal of the platform must not make every later
// success look like a failure. Other codes are left alone.
void forgetEarlierSettingFailure() {
    if (isSettingFailure(getLastError())) setLastError(0);
}

bool settingWentWell() { return !isSettingFailure(getLastError()); }

// The default setter without the procs: clamps to minTime .. maxTime, holds back a change within
// the tolerance, and sets the platform wall clock. `applied` gets the time the clock was set to.
template <class Record>
Applied applyToWallClock(const Record& time, int millisecond, int tolerance, CTime& applied) {
    applied = CTime();
    Detail::copyDateTime(time, applied);
    Detail::normaliseFields(applied, true);
    if (millisecond < 0 || millisecond > 999) millisecond = 0;
    // The clamped time is a whole second: the clock never goes past maxTime.
    if (applied < CTime::minTime) {
        applied = CTime::minTime;
        millisecond = 0;
    } else if (applied > CTime::maxTime) {
        applied = CTime::maxTime;
        millisecond = 0;
    }
    if (tolerance != 0) {
        const long long distance = CTime::getCurrentTime() - applied;
        if ((distance < 0 ? -distance : distance) <= tolerance) return Applied::heldBack;
    }
    Detail::Platform::ClockFields fields = {};
    Detail::copyDateTime(applied, fields);
    fields.millisecond = millisecond;
    if (!Detail::Platform::wallClock().setLocal(fields)) {
        setLastError(Detail::kTimeSetRefused);
        return Applied::refused;
    }
    return Applied::set;
}

// Tells the modify procs of a change, in order of attachment, on this thread, with no lock held.
void tellModifyProcs(TimeState& state, const SystemTime& time, bool noteWhenNone) {
    std::vector<Detail::ModifyProc> procs;
    {
        CGuard guard(state.modifyLock);
        procs = state.modifyProcs;
    }
    if (procs.empty() && noteWhenNone) {
        KERNA_LOG(4, "CTime::setCurrentTime() success without callback function\n");
    }
    for (const Detail::ModifyProc& proc : procs) proc(time);
}

void tellRealUtcProcs(TimeState& state, unsigned long long oldUtc, unsigned long long newUtc) {
    std::vector<Detail::RealUtcProc> procs;
    {
        CGuard guard(state.realUtcLock);
        procs = state.realUtcProcs;
    }
    for (const Detail::RealUtcProc& proc : procs) proc(oldUtc, newUtc);
}

// The record a SystemTimeEx setting path hands on: the fields given, the weekday computed from
// their clamped date, everything else zero.
SystemTimeEx recordOf(const SystemTimeEx& time) {
    SystemTimeEx record = {};
    Detail::copyDateTime(time, record);
    SystemTime date = {time.year, time.month, time.day, 0, 0, 0, 0, -1};
    Detail::normaliseFields(date, true);
    record.wday = date.wday;
    record.millisecond = time.millisecond;
    return record;
}

// The path of setCurrentTime(const CTime&): normalised copy, hook, procs. False when the verify
// hook refused.
bool setFromValue(const CTime& time, int tolerance) {
    TimeState& state = timeState();
    if (!verified(state)) return false;
    forgetEarlierSettingFailure();
    const CTime copy(time.year, time.month, time.day, time.hour, time.minute, time.second);
    Detail::SetTimeHook hook;
    bool notify;
    {
        CGuard guard(state.hookLock);
        hook = state.setTimeHook;
        notify = state.notifyAfterHook;
    }
    hook(copy, tolerance);
    // The default setter tells the procs itself.
    if (notify && hook != Detail::SetTimeHook(&Detail::setSysCurrentTime)) {
        tellModifyProcs(state, copy, false);
    }
    return true;
}

// The path of the SystemTimeEx forms. With `carryDst` the record's isdst is handed on and, when
// the set goes well, becomes the daylight-saving state; the daylight-saving callback then hears
// of it before the procs do.
bool setFromRecord(const SystemTimeEx& time, int tolerance, bool carryDst) {
    TimeState& state = timeState();
    if (!verified(state)) return false;
    forgetEarlierSettingFailure();
    SystemTimeEx record = recordOf(time);
    if (carryDst) record.isdst = time.isdst;
    Detail::SetTimeHookEx hook;
    bool notify;
    {
        CGuard guard(state.hookLock);
        hook = state.setTimeHookEx;
        notify = state.notifyAfterHookEx;
    }
    const bool isDefault = hook == Detail::SetTimeHookEx(&Detail::setSysCurrentTimeEx);
    CTime applied;
    bool changed = false;
    if (isDefault) {
        // The default setter's own steps, with the procs held back until the state is stored.
        changed = applyToWallClock(record, record.millisecond, tolerance, applied) == Applied::set;
    } else {
        hook(record, tolerance);
    }
    const bool ok = settingWentWell();
    if (carryDst && ok && state.dstState.exchange(record.isdst) != record.isdst) {
        if (DstManager* manager = DstManager::existing()) {
            manager->callConvertCallback(record.isdst == 1);
        }
    }
    if (isDefault) {
        if (changed) tellModifyProcs(state, applied, true);
    } else if (notify) {
        tellModifyProcs(state, CTime(record.year, record.month, record.day, record.hour,
                                     record.minute, record.second),
                        false);
    }
    return ok;
}

// The calling thread's copy of ModifyTimeClientInfo, freed when the thread ends (pooled timer
// workers come and go, and each may have stored one).
struct ClientInfoSlot {
    ModifyTimeClientInfo* copy = nullptr;
    ~ClientInfoSlot() {
        std::free(copy);
        copy = nullptr;
    }
};
thread_local ClientInfoSlot t_clientInfo;

// Replaces a hook under the hook lock, and its notify flag when one is named; returns the old hook.
template <class Hook>
Hook replaceHook(Hook TimeState::*slot, const Hook& hook, bool TimeState::*notifyFlag, bool notify) {
    TimeState& state = timeState();
    CGuard guard(state.hookLock);
    const Hook old = state.*slot;
    state.*slot = hook;
    if (notifyFlag != nullptr) state.*notifyFlag = notify;
    return old;
}

// The heap copy of a ModifyTimeClientInfo: the record and its three texts in one block.
ModifyTimeClientInfo* copyClientInfo(const ModifyTimeClientInfo& info) {
    const char* texts[3] = {info.clientName ? info.clientName : "",
                            info.clientAddress ? info.clientAddress : "",
                            info.clientType ? info.clientType : ""};
    size_t lengths[3];
    size_t total = sizeof(ModifyTimeClientInfo);
    for (int i = 0; i < 3; ++i) {
        lengths[i] = std::strlen(texts[i]) + 1;
        total += lengths[i];
    }
    char* block = static_cast<char*>(std::malloc(total));
    if (block == nullptr) return nullptr;
    ModifyTimeClientInfo* copy = new (block) ModifyTimeClientInfo(info);
    char* text = block + sizeof(ModifyTimeClientInfo);
    const char** fields[3] = {&copy->clientName, &copy->clientAddress, &copy->clientType};
    for (int i = 0; i < 3; ++i) {
        std::memcpy(text, texts[i], lengths[i]);
        *fields[i] = text;
        text += lengths[i];
    }
    return copy;
}

}  // namespace

namespace Detail {

void setSysCurrentTime(const CTime& time, int tolerance) {
    CTime applied;
    if (applyToWallClock(time, 0, tolerance, applied) == Applied::set) {
        tellModifyProcs(timeState(), applied, true);
    }
}

void setSysCurrentTimeEx(const SystemTimeEx& time, int tolerance) {
    CTime applied;
    if (applyToWallClock(time, time.millisecond, tolerance, applied) == Applied::set) {
        tellModifyProcs(timeState(), applied, true);
    }
}

void resetTimeStateForTests() {
    TimeState& state = timeState();
    {
        CGuard guard(state.hookLock);
        state.setTimeHook = SetTimeHook(&setSysCurrentTime);
        state.setTimeHookEx = SetTimeHookEx(&setSysCurrentTimeEx);
        state.setRealUtcHook = SetRealUtcHook();
        state.verifyHook = TFunction0<bool>();
        state.notifyAfterHook = state.notifyAfterHookEx = state.notifyAfterRealUtc = false;
    }
    {
        CGuard guard(state.modifyLock);
        state.modifyProcs.clear();
    }
    {
        CGuard guard(state.realUtcLock);
        state.realUtcProcs.clear();
    }
    state.timeZone.store(kZoneNotSet);
    state.dstState.store(-1);
}

}  // namespace Detail

bool Kerna_setCurrentTimeInternal(const SystemTimeEx& time, int tolerance) {
    return setFromRecord(time, tolerance, true);
}

// ---- setting ------------------------------------------------------------------------------

void CTime::setCurrentTime(const CTime& time, int tolerance) { setFromValue(time, tolerance); }

bool CTime::setCurrentTimeEx(const CTime& time, int tolerance) {
    return setFromValue(time, tolerance) && settingWentWell();
}

bool CTime::setCurrentTime(const SystemTimeEx& time, int tolerance) {
    return setFromRecord(time, tolerance, false);
}

bool CTime::setCurrentRealUTC(unsigned long long utcMilliSeconds, int tolerance) {
    TimeState& state = timeState();
    Detail::SetRealUtcHook hook;
    bool notify;
    {
        CGuard guard(state.hookLock);
        hook = state.setRealUtcHook;
        notify = state.notifyAfterRealUtc;
    }
    if (!hook.empty()) {
        if (!verified(state)) return false;
        const unsigned long long oldUtc = getCurrentRealUTC();
        if (hook(utcMilliSeconds, tolerance) && notify) {
            tellRealUtcProcs(state, oldUtc, utcMilliSeconds);
        }
        return true;
    }

    const unsigned long long startMs = getCurrentMilliSecond();
    long long seconds = static_cast<long long>(utcMilliSeconds / 1000);
    const int rest = static_cast<int>(utcMilliSeconds % 1000);
    const int zone = state.timeZone.load();
    if (zone == Detail::kZoneNotSet) {
        KERNA_LOG(3, "the time zone is not set.\n");
    } else if (seconds + zone < 0) {
        KERNA_LOG(2, "invalid time!\n");
        return false;
    } else {
        seconds += zone;
    }
    const int inDst = isLocalTimeInDst(static_cast<unsigned long long>(seconds));
    if (inDst == 1) seconds += 3600;

    SystemTimeEx record = {};
    SystemTime fields = {};
    Detail::breakSeconds(static_cast<uint64_t>(seconds), fields);
    Detail::copyDateTime(fields, record);
    record.wday = fields.wday;
    record.millisecond = rest;

    // The manager must not move the clock between the reading above and the set below.
    DstManager& manager = DstManager::instance();
    manager.pause();
    Detail::addMilliseconds(record, static_cast<int64_t>(getCurrentMilliSecond() - startMs));
    record.isdst = inDst;
    const bool dstChanges = inDst != state.dstState.load();
    const bool ok = Kerna_setCurrentTimeInternal(record, tolerance);
    if (ok && dstChanges) KERNA_LOG(4, "set real UTC, change dst: %d\n", inDst);
    manager.resume();
    return ok;
}

// ---- hooks and procs ----------------------------------------------------------------------

bool CTime::attachModifyProc(TFunction1<bool, SystemTime> proc) {
    TimeState& state = timeState();
    CGuard guard(state.modifyLock);
    state.modifyProcs.push_back(proc);
    return true;
}

bool CTime::attachModifyRealUTCProc(TFunction2<void, unsigned long long, unsigned long long> proc) {
    TimeState& state = timeState();
    CGuard guard(state.realUtcLock);
    state.realUtcProcs.push_back(proc);
    return true;
}

TFunction2<void, const CTime&, int> CTime::attachSetCurrentTimeHook(
    TFunction2<void, const CTime&, int> hook) {
    return replaceHook(&TimeState::setTimeHook, hook, nullptr, false);
}

TFunction2<void, const CTime&, int> CTime::attachSetCurrentTimeHook(
    TFunction2<void, const CTime&, int> hook, bool notify) {
    return replaceHook(&TimeState::setTimeHook, hook, &TimeState::notifyAfterHook, notify);
}

TFunction2<void, const SystemTimeEx&, int> CTime::attachSetCurrentTimeHookEx(
    TFunction2<void, const SystemTimeEx&, int> hook) {
    return replaceHook(&TimeState::setTimeHookEx, hook, nullptr, false);
}

TFunction2<void, const SystemTimeEx&, int> CTime::attachSetCurrentTimeHookEx(
    TFunction2<void, const SystemTimeEx&, int> hook, bool notify) {
    return replaceHook(&TimeState::setTimeHookEx, hook, &TimeState::notifyAfterHookEx, notify);
}

void CTime::attachSetCurrentRealUTCHook(TFunction2<bool, unsigned long long, int> hook, bool notify) {
    replaceHook(&TimeState::setRealUtcHook, hook, &TimeState::notifyAfterRealUtc, notify);
}

void CTime::attachModifyTimeVerifyHook(TFunction0<bool> hook) {
    replaceHook(&TimeState::verifyHook, hook, nullptr, false);
}

void CTime::setModifyTimeClientInfo(const ModifyTimeClientInfo& info) {
    std::free(t_clientInfo.copy);
    t_clientInfo.copy = copyClientInfo(info);
}

ModifyTimeClientInfo CTime::getModifyTimeClientInfo() {
    if (t_clientInfo.copy == nullptr) {
        KERNA_LOG(2, "get thread specific failed!\n");
        return ModifyTimeClientInfo{"", "", "", 0, 0};
    }
    return *t_clientInfo.copy;
}

}  // namespace Kerna
}  // namespace Tessaran
