// ThreadLoadingController.cpp - the duty-cycle counters of CThreadLoadingController.

#include "threads/ThreadLoadingController.h"

#include "base/Log.h"
#include "platform/Fork.h"
#include "sync/MutexAccess.h"

namespace Tessaran {
namespace Kerna {

CThreadLoadingController* CThreadLoadingController::instance() {
    return Detail::ProcessObject<CThreadLoadingController>::get();
}

CThreadLoadingController::CThreadLoadingController() : CThread("ThreadLoadingControl", 1, 1, 0) {
    using Steps =
        Detail::LockAroundFork<CThreadLoadingController, CMutex, &CThreadLoadingController::m_mutex>;
    Detail::Platform::addForkHandlers(Detail::Platform::forkRankLoadControl, &Steps::prepare,
                                      &Steps::parent, &afterForkInChild);
}

void CThreadLoadingController::atProcessExit() {
    {
        CGuard guard(m_mutex);
        m_exited = true;
    }
    if (!isThreadOver()) destroyThread();
}

void CThreadLoadingController::afterForkInChild() {
    if (CThreadLoadingController* c = Detail::ProcessObject<CThreadLoadingController>::peek()) {
        Detail::MutexAccess::resetAfterFork(c->m_mutex);
    }
}

bool CThreadLoadingController::addEntry(unsigned long long key, int runShare, int stopShare) {
    // A tie goes to stopTicks, so a cycle with no stop share would never close.
    if (runShare < 0 || stopShare < 1) {
        KERNA_LOG(2, "this:%p invalid shares run:%d stop:%d\n", this, runShare, stopShare);
        return false;
    }
    bool exited;
    {
        CGuard guard(m_mutex);
        m_entries[key] = Entry{runShare, stopShare, 0, 0};
        exited = m_exited;
    }
    if (!exited && isThreadOver()) {
        createThread();
    }
    return true;
}

bool CThreadLoadingController::removeEntry(unsigned long long key) {
    bool empty;
    {
        CGuard guard(m_mutex);
        if (m_entries.erase(key) == 0) {
            return false;
        }
        empty = m_entries.empty();
    }
    if (empty && !isThreadOver()) {
        destroyThread();
    }
    return true;
}

bool CThreadLoadingController::getEntry(unsigned long long key, Entry& entry) {
    CGuard guard(m_mutex);
    auto found = m_entries.find(key);
    if (found == m_entries.end()) {
        return false;
    }
    entry = found->second;
    return true;
}

void CThreadLoadingController::tick() {
    CGuard guard(m_mutex);
    for (auto& item : m_entries) {
        Entry& entry = item.second;
        // Products in 64 bits: shares and ticks are 32-bit each.
        if (static_cast<int64_t>(entry.runShare) * entry.stopTicks >
            static_cast<int64_t>(entry.stopShare) * entry.runTicks) {
            ++entry.runTicks;
        } else {
            ++entry.stopTicks;
        }
        if (entry.runTicks == entry.runShare && entry.stopTicks == entry.stopShare) {
            entry.runTicks = 0;
            entry.stopTicks = 0;
        }
    }
}

void CThreadLoadingController::threadProc() {
    while (looping()) {
        tick();
        sleep(1);
    }
}

}  // namespace Kerna
}  // namespace Tessaran
