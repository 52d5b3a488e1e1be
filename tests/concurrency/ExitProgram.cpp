// ExitProgram.cpp - a program whose second thread keeps logging, setting errors and starting
// timers while main returns. The library's exit routines run while that thread goes on, and
// static objects that hold timers are destroyed after them: the program must exit 0, with no
// crash, hang or report of the sanitizers. CTest runs it in every preset.

#include <atomic>
#include <cstdio>
#include <thread>

#include "kerna/kerna3/Error.h"
#include "kerna/kerna3/PrintLog.h"
#include "kerna/kerna3/Semaphore.h"
#include "kerna/kerna3/Thread.h"
#include "kerna/kerna3/ThreadManager.h"
#include "kerna/kerna3/Timer.h"
#include "kerna/kerna3/testing/SimulatedClock.h"

using namespace Tessaran::Kerna;

namespace {

std::atomic<long> g_calls{0};
std::atomic<long> g_rounds{0};

void count(unsigned long) { g_calls.fetch_add(1); }

bool quiet(const char*) { return true; }

// Armed by main and destroyed by the static destructors, after the library's exit routines: its
// stop must still find the timer manager (and a callback that may be running).
CTimer g_staticTimer("staticTimer");

void keepWorking() {
    CTimer periodic("busyPeriodic");
    periodic.start(TFunction1<void, unsigned long>(&count), 1, 1, 0, 0);
    for (long i = 0;; ++i) {
        logInfo("round %ld\n", i);
        setLastError(static_cast<int>(i));
        setErrMsg(0x40000000 + static_cast<int>(i % 64), "exit program row");
        const char* text = getErrMsg(0x40000000 + static_cast<int>(i % 64));
        if (text == nullptr) std::abort();
        CTimer oneShot("busyOneShot");
        oneShot.start(TFunction1<void, unsigned long>(&count), static_cast<unsigned>(i % 3), 0, 0, 0);
        if (i % 8 == 0) {
            CThreadLite lite(CThreadLite::ThreadProc(+[](CThreadLite&) { logInfo("lite\n"); }), "busyLite");
            lite.createThread();
        }
        attachPrint(TFunction1<bool, const char*>(&quiet));
        detachPrint(TFunction1<bool, const char*>(&quiet));
        CThreadManager::instance()->dumpThreads();
        CTimerManager::instance()->dumpTimers();
        g_rounds.fetch_add(1);
    }
}

}  // namespace

int main() {
    Testing::installSimulatedClock(1773489600000LL, -28800);
    Testing::forbidRealClockSet();
    setPrintLogLevel(3);  // the rounds' lines stay quiet; warnings and errors still show
    g_staticTimer.start(TFunction1<void, unsigned long>(&count), 1, 1, 0, 0);
    std::thread(keepWorking).detach();
    for (int i = 0; i < 10000 && (g_rounds.load() < 20 || g_calls.load() < 20); ++i) CThread::sleep(1);
    if (g_rounds.load() < 20 || g_calls.load() < 20) {
        std::fprintf(stderr, "the second thread did not get going\n");
        return 1;
    }
    return 0;  // the second thread is still at work
}
