// DstManager.cpp
//
// The daylight-saving manager and CTime's door to it. Once a second, on a pooled timer worker,
// the manager compares the wall clock with this year's two instants and, from 2 seconds before
// one of them, moves the clock an hour (plus the 2 seconds) through the internal setting entry.
// The rules and instants sit under one lock, which the check keeps through its short sleep; the
// setting call, the daylight-saving callback and every log line happen with no lock held.
#include "time/DstManager.h"

#include <cstdio>

#include "base/Log.h"
#include "base/ProcessObject.h"
#include "kerna/kerna3/Thread.h"
#include "time/Calendar.h"
#include "time/DstRule.h"
#include "time/TimeState.h"

namespace Tessaran {
namespace Kerna {

namespace {

// True on the thread that runs a check of the manager, so that a proc or callback reached from
// that check which pauses the manager does not wait for itself.
thread_local bool t_inDstCheck = false;

struct InstantText {
    char text[64];
    explicit InstantText(const CTime& t) { t.format(text, "yyyy-MM-dd HH:mm:ss", 7); }
};

void storeManagerClientInfo() {
    const ModifyTimeClientInfo info = {"DstManager", "127.0.0.1", "local", 0, 0};
    CTime::setModifyTimeClientInfo(info);
}

}  // namespace

struct DstManager::CheckReport {
    bool paused = false;
    bool invalid = false;
    bool yearChanged = false;
    CTime startTime;
    CTime endTime;

    void print() const {
        if (paused) KERNA_LOG(4, "dst manager paused, exit.\n");
        if (yearChanged) {
            KERNA_LOG(4, "year changed, increasing time: %s, decreasing time: %s.\n",
                      InstantText(startTime).text, InstantText(endTime).text);
        }
        if (invalid) KERNA_LOG(2, "invalid dst config!\n");
    }
};

DstManager::DstManager() : m_timer("DstManager"), m_startConfig(), m_endConfig() {}

DstManager& DstManager::instance() { return *Detail::ProcessObject<DstManager>::get(); }

DstManager* DstManager::existing() { return Detail::ProcessObject<DstManager>::peek(); }

void DstManager::atProcessExit() { m_timer.stopAndWait(); }

bool DstManager::startDstManager(const DstConfigInfo& start, const DstConfigInfo& end) {
    if (!Detail::dstRuleValid(start) || !Detail::dstRuleValid(end)) {
        KERNA_LOG(2, "DST config time invalid!\n");
        return false;
    }
    if (m_timer.isStarted()) m_timer.stopAndWait();

    bool computed;
    CTime startTime, endTime;
    {
        CRecursiveGuard guard(m_mutex);
        m_startConfig = start;
        m_endConfig = end;
        const int year = CTime::getCurrentTime().year;
        computed = Detail::dstRuleInstant(start, year, m_startTime) &&
                   Detail::dstRuleInstant(end, year, m_endTime);
        startTime = m_startTime;
        endTime = m_endTime;
    }
    if (!computed) {
        KERNA_LOG(2, "invalid dst config!\n");
        return false;
    }
    if (Detail::dstPeriodTooShort(startTime, endTime)) {
        KERNA_LOG(2, "invalid dst config, start time: %s, end time: %s\n", InstantText(startTime).text,
                  InstantText(endTime).text);
        return false;
    }

    // The state leaves "not known" before the timer runs, so that the callback hears "out of
    // daylight saving" before anything the first check may tell it.
    int unknown = -1;
    const bool initialised = Detail::timeState().dstState.compare_exchange_strong(unknown, 0);
    if (initialised) callConvertCallback(false);

    if (!m_timer.start(TFunction1<void, unsigned long>(&DstManager::onDstTimer, this), 0, 1000, 0,
                       60000)) {
        m_timer.stopAndWait();
        KERNA_LOG(2, "timer start failed!\n");
        return false;
    }
    KERNA_LOG(4, "dst config, start time: %s, end time: %s\n", InstantText(startTime).text,
              InstantText(endTime).text);
    if (initialised) KERNA_LOG(4, "DstManager init dst, dst flag is 0.\n");
    return true;
}

void DstManager::stopDstManager() {
    if (!m_timer.isStarted()) {
        KERNA_LOG(3, "dst manager not started.\n");
        return;
    }
    m_timer.stopAndWait();
    Detail::TimeState& state = Detail::timeState();
    if (state.dstState.load() == 1) {
        storeManagerClientInfo();
        SystemTimeEx record = CTime::getCurrentTimeEx();
        Detail::addMilliseconds(record, -3600000);
        record.isdst = 0;
        if (Kerna_setCurrentTimeInternal(record, 0)) {
            KERNA_LOG(4, "out dst, dst flag is %d.\n", state.dstState.load());
        } else {
            KERNA_LOG(2, "dst manager set time failed!\n");
        }
    }
    CRecursiveGuard guard(m_mutex);
    m_startTime = CTime();
    m_endTime = CTime();
}

bool DstManager::lookUp(int year, CTime& start, CTime& end) {
    bool computed;
    {
        CRecursiveGuard guard(m_mutex);
        if (!m_timer.isStarted()) return false;
        computed = Detail::dstRuleInstant(m_startConfig, year, start) &&
                   Detail::dstRuleInstant(m_endConfig, year, end);
    }
    if (!computed) KERNA_LOG(2, "invalid dst config!\n");
    return computed;
}

bool DstManager::initDst(bool dst) {
    bool started;
    {
        CRecursiveGuard guard(m_mutex);
        started = m_timer.isStarted();
        if (!started) Detail::timeState().dstState.store(dst ? 1 : 0);
    }
    if (started) {
        KERNA_LOG(2, "dst manager has been started!\n");
        return false;
    }
    KERNA_LOG(4, "init dst, dst flag is %d.\n", dst ? 1 : 0);
    return true;
}

void DstManager::pause() {
    {
        CRecursiveGuard guard(m_mutex);
        ++m_paused;
    }
    if (!t_inDstCheck) {
        for (int pass = 0; m_timer.isRunning(); ++pass) {
            if (pass % 100 == 0) KERNA_LOG(4, "pause and waiting for the callback to finish.\n");
            CThread::sleep(5);
        }
    }
    KERNA_LOG(4, "dstmanager has been paused.\n");
}

void DstManager::resume() {
    {
        CRecursiveGuard guard(m_mutex);
        if (m_paused > 0) --m_paused;
    }
    KERNA_LOG(4, "resume dstmanager.\n");
}

void DstManager::attachConvertCallback(TFunction1<void, bool> proc) {
    CRecursiveGuard guard(m_callbackMutex);
    m_convertCallback = proc;
}

void DstManager::callConvertCallback(bool dst) {
    TFunction1<void, bool> callback;
    {
        CRecursiveGuard guard(m_callbackMutex);
        callback = m_convertCallback;
    }
    if (!callback.empty()) callback(dst);
}

void DstManager::resetForTests() {
    m_timer.stopAndWait();
    {
        CRecursiveGuard guard(m_mutex);
        m_startConfig = DstConfigInfo();
        m_endConfig = DstConfigInfo();
        m_startTime = CTime();
        m_endTime = CTime();
        m_paused = 0;
    }
    attachConvertCallback(TFunction1<void, bool>());
}

bool DstManager::prepareTime(int year, CheckReport& report) {
    if (year == m_startTime.year) return true;
    if (!Detail::dstRuleInstant(m_startConfig, year, m_startTime) ||
        !Detail::dstRuleInstant(m_endConfig, year, m_endTime)) {
        return false;
    }
    report.yearChanged = true;
    report.startTime = m_startTime;
    report.endTime = m_endTime;
    return true;
}

bool DstManager::checkAdjustTime(SystemTimeEx& record, CheckReport& report) {
    CRecursiveGuard guard(m_mutex);
    if (m_paused > 0) {
        report.paused = true;
        return false;
    }
    record = CTime::getCurrentTimeEx();
    const CTime now(record.year, record.month, record.day, record.hour, record.minute,
                    record.second);
    if (!prepareTime(now.year, report)) {
        report.invalid = true;
        return false;
    }
    // The check acts from 2 seconds before an instant (the 2 seconds are added back to the
    // hour), and for the whole period, not only at the instant: a manager started in the middle
    // of summer moves the clock forward at its first check.
    const bool northern = m_startTime < m_endTime;
    const CTime startPlus = m_startTime + 3600;
    const CTime endMinus = m_endTime - 3600;
    bool change;
    if (Detail::timeState().dstState.load() != 1) {
        const bool fromStart = now >= m_startTime - 2;
        const bool beforeEnd = now < endMinus - 2;
        change = northern ? fromStart && beforeEnd : fromStart || beforeEnd;
        if (change) {
            Detail::addMilliseconds(record, 3602000);
            record.isdst = 1;
        }
    } else {
        const bool fromEnd = now >= m_endTime - 2;
        const bool beforeStart = now < startPlus - 2;
        change = northern ? fromEnd || beforeStart : fromEnd && beforeStart;
        if (change) {
            Detail::addMilliseconds(record, -3598000);
            record.isdst = 0;
        }
    }
    if (change) {
        const int wait = 1200 - record.millisecond;
        if (wait > 0) CThread::sleep(wait);
        record.millisecond = 0;
    }
    return change;
}

void DstManager::onDstTimer(unsigned long /*param*/) {
    t_inDstCheck = true;
    SystemTimeEx record = {};
    CheckReport report;
    const bool due = checkAdjustTime(record, report);
    report.print();
    if (due) {
        storeManagerClientInfo();
        if (Kerna_setCurrentTimeInternal(record, 0)) {
            KERNA_LOG(4, "change dst, dst flag is %d.\n", Detail::timeState().dstState.load());
        } else {
            KERNA_LOG(2, "dst manager set time failed!\n");
        }
    }
    t_inDstCheck = false;
}

// ---- CTime's door -----------------------------------------------------------------------

bool CTime::setDstConfig(const DstConfigInfo& start, const DstConfigInfo& end, bool enable) {
    DstManager& manager = DstManager::instance();
    if (!enable) {
        manager.stopDstManager();
        KERNA_LOG(4, "stop dst manager.\n");
        return true;
    }
    if (manager.startDstManager(start, end)) {
        KERNA_LOG(4, "start dst manager ok!\n");
        return true;
    }
    KERNA_LOG(2, "start dst manager failed!\n");
    return false;
}

bool CTime::getDstConfig(int year, CTime& start, CTime& end) {
    DstManager* manager = DstManager::existing();
    return manager != nullptr && manager->lookUp(year, start, end);
}

bool CTime::setInitDst(bool dst) { return DstManager::instance().initDst(dst); }

void CTime::attachConvertDstCallback(TFunction1<void, bool> proc) {
    DstManager::instance().attachConvertCallback(proc);
}

bool CTime::setDst(bool dst) {
    const int value = dst ? 1 : 0;
    if (Detail::timeState().dstState.exchange(value) != value) {
        if (DstManager* manager = DstManager::existing()) manager->callConvertCallback(dst);
    }
    KERNA_LOG(4, "set kerna dst: %d\n", value);
    return true;
}

int CTime::getDst() { return Detail::timeState().dstState.load(); }

int isLocalTimeInDst(unsigned long long localSeconds) {
    const CTime local(localSeconds, false);
    CTime start, end;
    DstManager* manager = DstManager::existing();
    if (manager == nullptr || !manager->lookUp(local.year, start, end)) {
        KERNA_LOG(6, "the dst manager is not set.\n");
        return Detail::timeState().dstState.load();
    }
    const bool fromStart = local >= start;
    const bool beforeEnd = local < end - 3600;
    if (start < end) return fromStart && beforeEnd ? 1 : 0;
    return fromStart || beforeEnd ? 1 : 0;
}

}  // namespace Kerna
}  // namespace Tessaran
