// DemoThreads.cpp
//
// The threads scene of `kerna demo`: named threads at different priorities, one of them
// overrunning its watch-dog, and the thread table that shows it as "Timeout".
#include <stdio.h>

#include <kerna/kerna.h>

#include "Commands.h"

using namespace Tessaran::Kerna;

namespace {

// A worker that arms its watch-dog for each round of work and then works for `workMs`.
class DemoWorker : public CThread {
public:
    DemoWorker(const char* name, int priority, int policy, int watchDogMs, int workMs)
        : CThread(name, priority, policy, 0), m_watchDogMs(watchDogMs), m_workMs(workMs) {}
    ~DemoWorker() override {
        if (!isThreadOver()) destroyThread();
    }

protected:
    void threadProc() override {
        while (looping()) {
            setCurrentTimeout(m_watchDogMs);
            // Work in small steps so that a stop request is seen soon.
            for (int spent = 0; spent < m_workMs && looping(); spent += 10) sleep(10);
        }
        setCurrentTimeout(0);
    }

private:
    int m_watchDogMs;
    int m_workMs;
};

void countDown(CThreadLite& self) {
    for (int i = 3; i > 0 && self.looping(); --i) {
        printf("  [%s] %d\n", self.getThreadName(), i);
        CThread::sleep(20);
    }
}

}  // namespace

namespace KernaTool {

void demoThreads() {
    printf("\n== threads: named, prioritised, watched\n");
    CThreadManager* manager = CThreadManager::instance();
    manager->registerMainThread();

    // Priority 1 is highest, 127 lowest, 64 normal; policy 1 asks for the top band.
    DemoWorker sampler("Sampler", 10, 0, 500, 20);
    DemoWorker reporter("Reporter", 64, 0, 500, 50);
    DemoWorker archiver("Archiver", 120, 0, 500, 30);
    DemoWorker stuck("StuckExporter", 64, 1, 50, 2000);  // a round takes 2 s, watch-dog 50 ms
    sampler.createThread();
    reporter.createThread();
    archiver.createThread();
    stuck.createThread();

    CThreadLite lite(CThreadLite::ThreadProc(&countDown), "CountDown", 100);
    lite.createThread();
    CThread::sleep(200);  // StuckExporter's deadline passes meanwhile

    printf("the thread table (dumpThreads, at level 4):\n");
    manager->dumpThreads();

    String late;
    if (manager->getTimeOutThreads(late)) {
        printf("getTimeOutThreads: %s\n", late.c_str());
    }
    String name;
    if (manager->getThreadNameByID(stuck.getThreadID(), name)) {
        printf("thread %d is named %s; the time-out only reports, the thread still runs: %s\n",
               stuck.getThreadID(), name.c_str(), stuck.isThreadOver() ? "no" : "yes");
    }

    // A stop request is seen within one small step of work.
    stuck.destroyThread();
    sampler.destroyThread();
    reporter.destroyThread();
    archiver.destroyThread();
    if (!lite.isThreadOver()) lite.destroyThread();
    // The library's own "TimerManager" thread stays; the demo's threads are gone.
    std::list<CThreadManager::ThreadInfo> infos;
    manager->getThreadsInfo(infos);
    printf("threads still registered after stopping them:");
    for (const CThreadManager::ThreadInfo& info : infos) printf(" %s", info.name);
    printf("\n");
}

}  // namespace KernaTool
