// DemoTimers.cpp
//
// The timer scene of `kerna demo`: a periodic timer whose callback is slower than its period
// (and so loses ticks), a one-shot timer, and the timer list as dumpTimers prints it.
#include <stdio.h>

#include <atomic>
#include <thread>

#include <kerna/kerna3/Thread.h>
#include <kerna/kerna3/Time.h>
#include <kerna/kerna3/Timer.h>

#include "Commands.h"

using namespace Tessaran::Kerna;

namespace {

struct SlowTick {
    std::atomic<int> calls{0};
    unsigned long long first = 0;
    void on(unsigned long) {
        const unsigned long long now = CTime::getCurrentMilliSecond();
        if (calls++ == 0) first = now;
        printf("  slow tick %d at +%llu ms (period 100 ms, the callback takes 350 ms)\n", calls.load(),
               now - first);
        fflush(stdout);
        CThread::sleep(350);
    }
};

void oneShot(void* text) {
    printf("  one-shot timer says: %s\n", static_cast<const char*>(text));
    fflush(stdout);
}

}  // namespace

namespace KernaTool {

void demoTimers() {
    printf("\n== timers: a 100 ms periodic timer with a 350 ms callback loses three ticks in four\n");
    SlowTick slow;
    CTimer periodic("SlowPeriodic");
    CTimer once("OneShot");
    periodic.start(TFunction1<void, unsigned long>(&SlowTick::on, &slow), 100, 100, 0, 0);
    once.start(TFunction1<void, void*>(&oneShot), 250, 0, const_cast<char*>("fired once after 250 ms"), 0);
    CThread::sleep(1400);
    printf("\n== dumpTimers while the slow callback runs\n");
    CTimerManager::instance()->dumpTimers();
    periodic.stopAndWait();
    printf("  %d calls in about 1.4 s: ticks at 100, 500, 900, 1300 ms on the period grid\n", slow.calls.load());
}

}  // namespace KernaTool
