// ThreadLoadingController.cpp - the duty-cycle counters of CThreadLoadingController.

#include "threads/ThreadLoadingController.h"

#include <atomic>

#include "base/ExitRoutine.h"
#include "base/Log.h"

namespace Tessaran {
namespace Kerna {

namespace {

std::atomic<CThreadLoadingController*> g_controller{nullptr};

CMutex& controllerCreationLock() {
    static CMutex* lock = new CMutex;
    return *lock;
}

}  // namespace

CThreadLoadingController* CThreadLoadingController::instance() {
    CThreadLoadingController* controller = g_controller.load(std::memory_order_acquire);
    if (controller == nullptr) {
        CGuard guard(controllerCreationLock());
        controller = g_controller.load(std::memory_order_acquire);
        if (controller == nullptr) {
            controller = new CThreadLoadingController;
            g_controller.store(controller, std::memory_order_release);
            if (!Detail::registerExitRoutine(&CThreadLoadingController::resetInstance)) {
                KERNA_LOG(4, "atexit failed!\n");
            }
        }
    }
    return controller;
}

void CThreadLoadingController::resetInstance() {
    CGuard guard(controllerCreationLock());
    delete g_controller.exchange(nullptr);
}

CThreadLoadingController::CThreadLoadingController() : CThread("ThreadLoadingControl", 1, 1, 0) {}

CThreadLoadingController::~CThreadLoadingController() {
    if (!isThreadOver()) {
        destroyThread();
    }
}

bool CThreadLoadingController::addEntry(unsigned long long key, int runShare, int stopShare) {
    // A tie goes to stopTicks, so a cycle with no stop share would never close.
    if (runShare < 0 || stopShare < 1) {
        KERNA_LOG(2, "this:%p invalid shares run:%d stop:%d\n", this, runShare, stopShare);
        return false;
    }
    {
        CGuard guard(m_mutex);
        m_entries[key] = Entry{runShare, stopShare, 0, 0};
    }
    if (isThreadOver()) {
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
