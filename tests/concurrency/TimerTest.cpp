// Tests of the timers. Two kinds: with the manager frozen (the test holds the manager's lock and
// sets its `now`), the list order, the grid arithmetic, the limits and dumpTimers are checked
// exactly; with the manager running, calls are checked by order and counts with generous bounds.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <future>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "threads/TimerInternal.h"
#include "kerna/kerna3/Semaphore.h"
#include "kerna/kerna3/Thread.h"
#include "kerna/kerna3/ThreadManager.h"
#include "kerna/kerna3/Time.h"
#include "kerna/kerna3/Timer.h"
#include "support/LogCapture.h"

using namespace Tessaran::Kerna;
using KernaTest::LogCapture;

namespace {

TimerManagerInternal& manager() { return *TimerManagerInternal::instance(); }

// Holds the manager's lock for its life, so the manager thread stands still between passes;
// sets `now` to a chosen value and puts the real one back before letting go.
class FrozenManager {
public:
    FrozenManager() : m_guard(manager().mutex), m_realNow(manager().now) {}
    ~FrozenManager() { manager().now = m_realNow; }
    void setNow(uint64_t now) { manager().now = now; }
    uint64_t realNow() const { return m_realNow; }
    std::vector<TimerInternal*> list() {
        std::vector<TimerInternal*> out;
        for (TimerInternal* t = manager().timerHead; t; t = t->next) out.push_back(t);
        return out;
    }

private:
    CRecursiveGuard m_guard;
    uint64_t m_realNow;
};

// A callback target that counts calls, records the thread and can be held inside its call.
class Probe {
public:
    void onValue(unsigned long value) { enter(value); }
    void onPointer(void* value) { enter(reinterpret_cast<uintptr_t>(value)); }

    std::atomic<int> calls{0};
    std::atomic<int> inside{0};
    std::atomic<int> maxInside{0};
    std::atomic<unsigned long> lastValue{0};
    std::atomic<int> threadId{0};
    std::atomic<bool> hold{false};
    CSemaphore entered;

    bool waitCalls(int n, int limitMs = 10000) {
        for (int i = 0; i < limitMs && calls.load() < n; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return calls.load() >= n;
    }

private:
    void enter(unsigned long value) {
        const int now = ++inside;
        if (now > maxInside.load()) maxInside.store(now);
        lastValue = value;
        threadId = CThread::getCurrentThreadID();
        ++calls;
        entered.post();
        while (hold.load()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        --inside;
    }
};

TFunction1<void, unsigned long> valueProc(Probe& p) { return TFunction1<void, unsigned long>(&Probe::onValue, &p); }

std::string pointerText(const void* p) {
    char text[32];
    std::snprintf(text, sizeof text, "%p", p);
    return text;
}

template <typename F>
bool eventually(F condition, int limitMs = 10000) {
    for (int i = 0; i < limitMs; ++i) {
        if (condition()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return condition();
}

}  // namespace

TEST(CTimer, DelayZeroRunsAtOnceOnAWorker) {
    Probe p;
    CTimer t("zero");
    EXPECT_TRUE(t.start(valueProc(p), 0, 0, 0x10000002AUL, 0));  // low 32 bits reach the callback
    ASSERT_EQ(p.entered.pend(10000), 0);
    EXPECT_EQ(p.lastValue.load(), 42u);
    EXPECT_NE(p.threadId.load(), CThread::getCurrentThreadID());
    EXPECT_TRUE(t.isCalled());
    EXPECT_FALSE(t.isStarted());
    t.stopAndWait();
    EXPECT_FALSE(t.isRunning());
    EXPECT_EQ(p.calls.load(), 1);
}

TEST(CTimer, PointerOverloadAndReplacement) {
    Probe p;
    CTimer t("pointer");
    int marker = 0;
    // The value overload is replaced by the pointer one: only the pointer callback runs.
    t.start(valueProc(p), 100000, 0, 1, 0);
    EXPECT_TRUE(t.start(TFunction1<void, void*>(&Probe::onPointer, &p), 0, 0, &marker, 0));
    ASSERT_EQ(p.entered.pend(10000), 0);
    t.stopAndWait();
    EXPECT_EQ(p.lastValue.load(), reinterpret_cast<uintptr_t>(&marker));
    EXPECT_EQ(p.calls.load(), 1);
}

TEST(CTimer, EqualDueTimesFireNewestFirst) {
    std::mutex lock;
    std::vector<int> order;
    struct Recorder {
        std::mutex* lock;
        std::vector<int>* order;
        void on(unsigned long v) {
            std::lock_guard<std::mutex> g(*lock);
            order->push_back(static_cast<int>(v));
        }
    } rec{&lock, &order};
    CTimer t1("t1"), t2("t2"), t3("t3");
    // With one worker at a time the calls come in hand-over order.
    CTimerManager::instance()->setRunningThreadLimit(1);
    {
        FrozenManager frozen;  // all three get the same due time
        t1.start(TFunction1<void, unsigned long>(&Recorder::on, &rec), 20, 0, 1, 0);
        t2.start(TFunction1<void, unsigned long>(&Recorder::on, &rec), 20, 0, 2, 0);
        t3.start(TFunction1<void, unsigned long>(&Recorder::on, &rec), 20, 0, 3, 0);
    }
    ASSERT_TRUE(eventually([&] {
        std::lock_guard<std::mutex> g(lock);
        return order.size() == 3;
    }));
    CTimerManager::instance()->setRunningThreadLimit(0);
    t1.stopAndWait();
    t2.stopAndWait();
    t3.stopAndWait();
    EXPECT_EQ(order, (std::vector<int>{3, 2, 1}));
}

namespace {
// A timer record driven by hand while the manager is frozen.
struct RawTimer {
    explicit RawTimer(Probe& p, const char* name, uint32_t period) {
        t.procValue = valueProc(p);
        t.period = period;
        std::strncpy(t.name, name, sizeof t.name - 1);
    }
    ~RawTimer() {
        eventually([&] { return t.thread.load() == nullptr; });
    }
    TimerInternal t;
};
}  // namespace

TEST(TimerManager, HandOverKeepsPeriodicTimersOnTheirGridAndLosesTicks) {
    Probe p;
    p.hold = true;
    RawTimer raw(p, "grid", 100);
    {
        FrozenManager frozen;
        raw.t.nextTime = 1000;
        raw.t.started = true;
        manager().insert(&raw.t);
        frozen.setNow(1001);
        EXPECT_TRUE(manager().handOver(&raw.t, false));
        EXPECT_EQ(raw.t.nextTime, 1100u);
        EXPECT_EQ(raw.t.callTime, 1001u);
        EXPECT_NE(raw.t.thread.load(), nullptr);
        frozen.setNow(1101);  // due again while the callback runs: the tick is lost
        EXPECT_FALSE(manager().handOver(&raw.t, false));
        EXPECT_EQ(raw.t.nextTime, 1200u);
        EXPECT_EQ(raw.t.callTime, 1001u);
        frozen.setNow(1350);  // two grid points passed: both skipped
        EXPECT_FALSE(manager().handOver(&raw.t, false));
        EXPECT_EQ(raw.t.nextTime, 1400u);
        frozen.setNow(1400);  // at the due time exactly counts as passed
        EXPECT_FALSE(manager().handOver(&raw.t, false));
        EXPECT_EQ(raw.t.nextTime, 1500u);
        EXPECT_TRUE(raw.t.started.load());
        manager().unlink(&raw.t);
    }
    ASSERT_EQ(p.entered.pend(10000), 0);
    p.hold = false;
}

TEST(TimerManager, RunningLimitHoldsBackUnlessForced) {
    Probe p1, p2, p3;
    p1.hold = true;
    RawTimer first(p1, "first", 0), second(p2, "second", 0), third(p3, "third", 0);
    CTimerManager::instance()->setRunningThreadLimit(1);
    {
        FrozenManager frozen;
        const int runningBefore = manager().runningCount;
        ASSERT_EQ(runningBefore, 0);
        frozen.setNow(5000);
        first.t.nextTime = 4000;
        second.t.nextTime = 4000;
        third.t.nextTime = 4500;
        for (TimerInternal* t : {&third.t, &second.t, &first.t}) {
            t->started = true;
            manager().insert(t);
        }
        EXPECT_TRUE(manager().handOver(&first.t, false));
        EXPECT_TRUE(manager().limitReached());
        EXPECT_FALSE(manager().handOver(&second.t, false));  // held back, still armed in place
        EXPECT_TRUE(second.t.started.load());
        EXPECT_EQ(frozen.list().front(), &second.t);
        EXPECT_FALSE(second.t.called.load());
        EXPECT_TRUE(manager().handOver(&third.t, true));  // forced past the limit
        EXPECT_TRUE(third.t.called.load());
        EXPECT_EQ(manager().runningCount, 2);
        manager().unlink(&second.t);
    }
    ASSERT_EQ(p1.entered.pend(10000), 0);
    ASSERT_EQ(p3.entered.pend(10000), 0);
    p1.hold = false;
    EXPECT_TRUE(eventually([&] { return first.t.thread.load() == nullptr && third.t.thread.load() == nullptr; }));
    CTimerManager::instance()->setRunningThreadLimit(0);
    EXPECT_EQ(p2.calls.load(), 0);
}

TEST(TimerManager, HeadOfListHoldsUpThoseBehindUnderTheLimit) {
    Probe slow, other;
    slow.hold = true;
    CTimer a("slow"), b("other");
    CTimerManager::instance()->setRunningThreadLimit(1);
    ASSERT_TRUE(a.start(valueProc(slow), 0, 0, 0, 0));
    ASSERT_EQ(slow.entered.pend(10000), 0);
    EXPECT_FALSE(b.start(valueProc(other), 0, 0, 0, 0));  // limit reached: stays armed
    EXPECT_TRUE(b.isStarted());
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(other.calls.load(), 0);
    slow.hold = false;
    EXPECT_TRUE(other.waitCalls(1));  // fires once a worker has come back
    CTimerManager::instance()->setRunningThreadLimit(0);
    a.stopAndWait();
    b.stopAndWait();
}

TEST(TimerManager, DumpTimersExactText) {
    LogCapture capture;
    PrintOptions o = {};
    o.noColor = o.noTime = o.noThread = o.noLine = o.noModule = o.noVersion = o.noLevel = true;
    setPrintOptions(o);
    Probe p;
    CTimer periodic("periodic"), once("a one-shot timer name!");
    {
        FrozenManager frozen;
        frozen.setNow(1000);
        CTimerManager::instance()->dumpTimers();
        periodic.start(valueProc(p), 100, 100, 0, 50);
        periodic.setPeriodTime(200);  // next tick moves by the difference: 1100 -> 1200
        once.start(valueProc(p), 150, 0, 0, 0);
        periodic.enableStat(true);
        CTimerManager::instance()->dumpTimers();
        once.stop(false);
        periodic.stop(false);
        periodic.setPeriodTime(50);  // idle: 1200 - 200 + 50
        periodic.start(valueProc(p), 7, 0, 0, 0);
        periodic.stop(false);
    }
    const std::string header = "[ Timer:]            Name            NextTime RunningTime Period   Used/Timeout State\n";
    const std::string rule = "[ Timer:]____________________________________________________________________________\n";
    const std::vector<std::string> expected = {
        "[ Timer:]Timers: ( 1000 Milli-Seconds Elapsed )\n", header, rule, "[ Timer:]\n",
        "[ Timer:]Timers: ( 1000 Milli-Seconds Elapsed )\n", header, rule,
        "[ Timer:]  a one-shot timer name!        1150           0      0      0/     0 Idle\n",
        "[ Timer:]                periodic        1200           0    200      0/    50 Idle\n",
        "[ Timer:]\n"};
    EXPECT_EQ(capture.lines(), expected);
    EXPECT_EQ(p.calls.load(), 0);
}

TEST(CTimer, NamesAreCutAt31) {
    CTimer t("0123456789012345678901234567890123456789");
    EXPECT_STREQ(t.getName(), "0123456789012345678901234567890");
    t.setName(nullptr);
    EXPECT_STREQ(t.getName(), "");
    t.setName("short");
    EXPECT_STREQ(t.getName(), "short");
}

TEST(CTimer, StopCallNowRunsAPendingOneShotOnly) {
    Probe once, dropped, periodic;
    CTimer a("a"), b("b"), c("c");
    EXPECT_FALSE(a.stop(true));  // never started
    ASSERT_TRUE(a.start(valueProc(once), 600000, 0, 0, 0));
    EXPECT_TRUE(a.stop(true));
    EXPECT_TRUE(once.waitCalls(1));
    EXPECT_TRUE(a.isCalled());
    ASSERT_TRUE(b.start(valueProc(dropped), 600000, 0, 0, 0));
    EXPECT_TRUE(b.stop(false));
    EXPECT_FALSE(b.isStarted());
    ASSERT_TRUE(c.start(valueProc(periodic), 600000, 600000, 0, 0));
    EXPECT_TRUE(c.stop(true));  // a periodic timer is only stopped
    a.stopAndWait();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(dropped.calls.load(), 0);
    EXPECT_EQ(periodic.calls.load(), 0);
    EXPECT_EQ(once.calls.load(), 1);
}

TEST(CTimer, SlowPeriodicCallbackLosesTicksButNeverOverlaps) {
    struct Slow {
        std::atomic<int> calls{0}, inside{0}, maxInside{0};
        std::vector<unsigned long long> at;
        std::mutex lock;
        void on(unsigned long) {
            const int now = ++inside;
            if (now > maxInside) maxInside = now;
            {
                std::lock_guard<std::mutex> g(lock);
                at.push_back(CTime::getCurrentMilliSecond());
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(350));
            ++calls;
            --inside;
        }
    } slow;
    CTimer t("slow100");
    ASSERT_TRUE(t.start(TFunction1<void, unsigned long>(&Slow::on, &slow), 100, 100, 0, 0));
    ASSERT_TRUE(eventually([&] { return slow.calls.load() >= 3; }, 20000));
    t.stopAndWait();
    EXPECT_EQ(slow.maxInside.load(), 1);
    std::lock_guard<std::mutex> g(slow.lock);
    for (size_t i = 1; i < slow.at.size(); ++i) {
        // Calls start at least 350 ms apart (the previous call has to end) and the next one
        // comes at the next grid point after it: about 400 ms, bounded loosely.
        EXPECT_GE(slow.at[i] - slow.at[i - 1], 350u);
        EXPECT_LT(slow.at[i] - slow.at[i - 1], 3000u);
    }
}

TEST(TimerManager, IdleLimitTrimsOnTheNextReturn) {
    std::vector<Probe> probes(5);
    std::vector<std::unique_ptr<CTimer>> timers;
    for (Probe& p : probes) p.hold = true;
    for (int i = 0; i < 5; ++i) {
        timers.emplace_back(new CTimer(("idle" + std::to_string(i)).c_str()));
        ASSERT_TRUE(timers.back()->start(valueProc(probes[i]), 0, 0, 0, 0));
    }
    for (Probe& p : probes) ASSERT_EQ(p.entered.pend(10000), 0);
    for (Probe& p : probes) p.hold = false;
    for (auto& t : timers) t->stopAndWait();
    int idle = 0;
    ASSERT_TRUE(eventually([&] {
        CRecursiveGuard g(manager().mutex);
        idle = manager().idleCount;
        return manager().runningCount == 0;
    }));
    EXPECT_GE(idle, 5);
    CTimerManager::instance()->limitIdlePooled(2);
    {
        CRecursiveGuard g(manager().mutex);
        EXPECT_EQ(manager().idleCount, idle);  // no effect before a worker returns
    }
    Probe last;
    // Before, each worker cut from the pool was asked twice to end, and the second time logged
    // "CThread::cancelThread() thread:[Pooled] not exist!".
    LogCapture capture(4);
    ASSERT_TRUE(timers[0]->start(valueProc(last), 0, 0, 0, 0));
    timers[0]->stopAndWait();
    EXPECT_TRUE(eventually([&] {
        CRecursiveGuard g(manager().mutex);
        return manager().runningCount == 0 && manager().idleCount == 2;
    }));
    EXPECT_TRUE(eventually([&] {  // the cut workers have ended: two pooled threads are left
        std::list<CThreadManager::ThreadInfo> threads;
        CThreadManager::instance()->getThreadsInfo(threads);
        return std::count_if(threads.begin(), threads.end(), [](const CThreadManager::ThreadInfo& t) {
                   return std::string(t.name) == "[Pooled]";
               }) == 2;
    }));
    for (const std::string& m : capture.messages()) EXPECT_EQ(m.find("not exist"), std::string::npos) << m;
    CRecursiveGuard g(manager().mutex);
    int counted = 0;
    for (CTimerThread* w = manager().idleHead; w; w = w->next) ++counted;
    EXPECT_EQ(counted, 2);
    manager().idleLimit = -1;
}

TEST(CTimer, CallbacksMayRestartAndStopTheirOwnTimer) {
    struct SelfRestart {
        CTimer* timer = nullptr;
        std::atomic<int> calls{0};
        std::atomic<int> zeroDelayResult{-1};
        void on(unsigned long) {
            const int n = ++calls;
            timer->stopAndWait();  // from its own callback: returns at once
            if (n == 1) {
                // Still in this callback: a hand-over now finds the call running, so the tick is
                // spent without a call.
                zeroDelayResult = timer->start(TFunction1<void, unsigned long>(&SelfRestart::on, this), 0, 0, 0, 0);
                timer->start(TFunction1<void, unsigned long>(&SelfRestart::on, this), 20, 0, 0, 0);
            }
        }
    } self;
    CTimer t("self");
    self.timer = &t;
    ASSERT_TRUE(t.start(TFunction1<void, unsigned long>(&SelfRestart::on, &self), 0, 0, 0, 0));
    ASSERT_TRUE(eventually([&] { return self.calls.load() >= 2; }));
    t.stopAndWait();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(self.calls.load(), 2);
    EXPECT_EQ(self.zeroDelayResult.load(), 0);
}

TEST(TimerManager, NoWorkerThreadKeepsTheTimerArmed) {
    LogCapture capture;
    // Keep every idle worker busy, then let no new one start.
    int idle;
    {
        CRecursiveGuard g(manager().mutex);
        idle = manager().idleCount;
    }
    std::vector<Probe> busy(static_cast<size_t>(idle));
    std::vector<std::unique_ptr<CTimer>> holders;
    for (int i = 0; i < idle; ++i) {
        busy[i].hold = true;
        holders.emplace_back(new CTimer("holder"));
        ASSERT_TRUE(holders.back()->start(valueProc(busy[i]), 0, 0, 0, 0));
    }
    manager().failWorkerStart(true);
    Probe p;
    CTimer t("starved");
    EXPECT_FALSE(t.start(valueProc(p), 0, 0, 0, 0));
    EXPECT_TRUE(t.isStarted());
    EXPECT_FALSE(t.isCalled());
    std::this_thread::sleep_for(std::chrono::milliseconds(60));  // the manager retries and fails too
    EXPECT_EQ(p.calls.load(), 0);
    EXPECT_TRUE(t.isStarted());
    manager().failWorkerStart(false);
    EXPECT_TRUE(p.waitCalls(1));
    for (Probe& b : busy) b.hold = false;
    for (auto& h : holders) h->stopAndWait();
    t.stopAndWait();
    EXPECT_EQ(p.calls.load(), 1);
    bool logged = false;
    for (const std::string& m : capture.messages()) {
        if (m.find(" Timer:starved no worker thread could be started, the timer stays armed\n") != std::string::npos)
            logged = true;
    }
    EXPECT_TRUE(logged);
}

TEST(TimerStress, TwoThreadsArmStopAndRearmWhileTimersFire) {
    // Every one-shot arm is accounted for: it fires once, or is stopped or replaced while still
    // armed, or comes due while the timer's previous call runs and is spent without a call (the
    // manager counts those). No timer's callback ever overlaps itself.
    const int timerCount = 200;
    const unsigned maxArms = 1u << 18;
    struct Book {
        std::vector<std::atomic<int>> inside;
        std::vector<std::atomic<int>> fired;
        std::atomic<bool> overlap{false};
        Book(size_t arms, size_t timers) : inside(timers), fired(arms) {}
        void on(unsigned long v) {
            const unsigned index = static_cast<unsigned>(v >> 20), gen = static_cast<unsigned>(v & 0xFFFFF);
            if (++inside[index] > 1) overlap = true;
            ++fired[gen];
            std::this_thread::yield();
            --inside[index];
        }
    };
    Book book(maxArms, timerCount);
    std::vector<std::unique_ptr<CTimer>> timers;
    for (int i = 0; i < timerCount; ++i) timers.emplace_back(new CTimer("stress"));
    std::vector<char> oneShot(maxArms, 0), resolved(maxArms, 0);
    std::vector<unsigned> armGen(timerCount, 0);  // 0: no one-shot arm pending
    unsigned nextGen = 1;
    uint64_t lostBefore;
    {
        CRecursiveGuard g(manager().mutex);
        lostBefore = manager().lostOneShots;
    }
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    auto worker = [&](unsigned seed) {
        std::mt19937 rng(seed);
        while (std::chrono::steady_clock::now() < until) {
            const int i = static_cast<int>(rng() % timerCount);
            const bool periodic = (i % 10) == 0;
            const bool arm = rng() % 3 != 0;
            const unsigned delay = rng() % 30, period = 5 + rng() % 20;
            // Under the manager's lock, "was it armed" and the call are one step.
            CRecursiveGuard g(manager().mutex);
            CTimer& t = *timers[i];
            const bool wasArmed = t.isStarted();
            if (arm) {
                if (nextGen >= maxArms) break;
                const unsigned gen = nextGen++;
                if (wasArmed && armGen[i] != 0) resolved[armGen[i]] = 1;  // replaced
                armGen[i] = periodic ? 0 : gen;
                oneShot[gen] = !periodic;
                t.start(TFunction1<void, unsigned long>(&Book::on, &book), delay, periodic ? period : 0,
                        (static_cast<unsigned long>(i) << 20) | (periodic ? 0 : gen), 0);
            } else if (t.stop(false) && armGen[i] != 0) {
                resolved[armGen[i]] = 1;
                armGen[i] = 0;
            }
        }
    };
    std::thread a(worker, 1u), b(worker, 2u);
    a.join();
    b.join();
    {
        CRecursiveGuard g(manager().mutex);
        for (int i = 0; i < timerCount; ++i) {
            if (timers[i]->stop(false) && armGen[i] != 0) resolved[armGen[i]] = 1;
        }
    }
    for (auto& t : timers) t->stopAndWait();
    uint64_t lost;
    {
        CRecursiveGuard g(manager().mutex);
        lost = manager().lostOneShots - lostBefore;
    }
    EXPECT_FALSE(book.overlap.load());
    uint64_t missing = 0;
    int doubled = 0;
    for (unsigned g = 1; g < nextGen; ++g) {
        if (!oneShot[g]) continue;
        const int accounted = book.fired[g].load() + resolved[g];
        if (accounted > 1) ++doubled;
        if (accounted == 0) ++missing;
    }
    EXPECT_EQ(doubled, 0);
    EXPECT_EQ(missing, lost);
    EXPECT_GT(nextGen, 1000u);
}

namespace {

// A listener that hands each timer line it is waiting for to another thread, which arms and
// stops a timer (and so needs the manager's lock), and waits for it at most 10 s.
struct Relay {
    CTimer* other = nullptr;
    Probe* release = nullptr;  // let go once a line has been relayed
    std::atomic<int> relayed{0};
    std::atomic<int> kinds{0};  // a bit for each kind of line relayed
    std::atomic<int> timedOut{0};
    std::mutex lock;
    std::vector<std::thread> helpers;  // joined by the test, never by the listener

    bool onLine(const char* line) {
        const std::string text = line;
        if (text.find("Timers: (") == std::string::npos &&
            text.find("wait callback exit!") == std::string::npos &&
            text.find("no worker thread could be started") == std::string::npos) {
            return true;
        }
        auto done = std::make_shared<std::promise<void>>();
        std::future<void> finished = done->get_future();
        CTimer* timer = other;
        {
            std::lock_guard<std::mutex> g(lock);
            helpers.emplace_back([timer, done] {
                Probe never;
                timer->start(valueProc(never), 600000, 0, 0, 0);
                timer->stop(false);
                done->set_value();
            });
        }
        if (finished.wait_for(std::chrono::seconds(10)) == std::future_status::ready) {
            ++relayed;
            kinds |= text.find("Timers: (") != std::string::npos       ? 1
                     : text.find("wait callback exit!") != std::string::npos ? 2
                                                                             : 4;
        } else {
            ++timedOut;
        }
        if (release != nullptr) release->hold = false;
        return true;
    }
    void joinHelpers() {
        std::lock_guard<std::mutex> g(lock);
        for (std::thread& t : helpers) t.join();
        helpers.clear();
    }
};

}  // namespace

// Before, dumpTimers, stopAndWait's line and the hand-over's no-worker line were printed with the
// manager's lock held: a listener that waited for another thread that arms or stops a timer hung
// the timer system (here: timed out after 10 s).
TEST(CTimer, ListenersMayWaitForAnotherThreadThatNeedsTheTimerLock) {
    LogCapture capture(4);
    CTimer other("other");
    Relay relay;
    relay.other = &other;
    const TFunction1<bool, const char*> listener(&Relay::onLine, &relay);
    ASSERT_TRUE(attachPrint(listener));

    CTimerManager::instance()->dumpTimers();

    Probe busy;
    busy.hold = true;
    relay.release = &busy;
    CTimer waited("waited");
    ASSERT_TRUE(waited.start(valueProc(busy), 0, 0, 0, 0));
    ASSERT_EQ(busy.entered.pend(10000), 0);
    waited.stopAndWait();  // its line is relayed, then the callback is let go

    manager().startAfresh();  // no idle worker, and none can start
    manager().failWorkerStart(true);
    Probe starved;
    CTimer noWorker("noWorker");
    EXPECT_FALSE(noWorker.start(valueProc(starved), 0, 0, 0, 0));
    manager().failWorkerStart(false);
    noWorker.stopAndWait();
    // The manager's own pass may also have found no worker. It prints the lines of a pass before
    // its next pass reads the clock: once `now` has moved, no such line is on its way to the
    // listener, which goes at the end of this test.
    uint64_t seen;
    {
        CRecursiveGuard g(manager().mutex);
        seen = manager().now;
    }
    ASSERT_TRUE(eventually([&] {
        CRecursiveGuard g(manager().mutex);
        return manager().now > seen;
    }));

    EXPECT_TRUE(detachPrint(listener));
    relay.joinHelpers();
    EXPECT_EQ(relay.timedOut.load(), 0);
    // The no-worker line may come twice: the manager's own pass can find the timer armed and
    // no worker either before the test lets workers start again. Each kind came at least once.
    EXPECT_GE(relay.relayed.load(), 3);
    EXPECT_EQ(relay.kinds, 7);
}

TEST(CTimer, StopAndWaitWaitsForTheRunningCallbackAndSaysSoOnce) {
    LogCapture capture(4);
    Probe p;
    p.hold = true;
    CTimer t("waited");
    ASSERT_TRUE(t.start(valueProc(p), 0, 0, 0, 0));
    ASSERT_EQ(p.entered.pend(10000), 0);
    std::atomic<bool> returned{false};
    std::thread stopper([&] {
        t.stopAndWait();
        returned = true;
    });
    const std::string line = "this:" + pointerText(&t) + " CTimer::Stop Timer:waited wait callback exit!\n";
    ASSERT_TRUE(eventually([&] { return capture.hasMessage(line); }));
    // While the callback is held it cannot return, however long the test waits here.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(returned.load());
    EXPECT_TRUE(t.isRunning());
    p.hold = false;
    stopper.join();
    EXPECT_FALSE(t.isRunning());
    const std::vector<std::string> messages = capture.messages();
    EXPECT_EQ(std::count(messages.begin(), messages.end(), line), 1);
}

TEST(TimerManager, EnableStatMeasuresCallbackTimeForDumpTimers) {
    struct Sleeper {
        std::atomic<int> calls{0};
        void on(unsigned long) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            ++calls;
        }
    } measured, unmeasured;
    CTimer a("measured"), b("unmeasured");
    ASSERT_TRUE(a.start(TFunction1<void, unsigned long>(&Sleeper::on, &measured), 10, 30, 0, 0));
    a.enableStat(true);  // after start, which clears it
    ASSERT_TRUE(b.start(TFunction1<void, unsigned long>(&Sleeper::on, &unmeasured), 10, 30, 0, 0));
    ASSERT_TRUE(eventually([&] { return measured.calls.load() >= 3 && unmeasured.calls.load() >= 3; }));
    std::vector<std::string> rows;
    {
        LogCapture capture(4);
        CTimerManager::instance()->dumpTimers();
        rows = capture.messages();
    }
    a.stopAndWait();
    b.stopAndWait();
    // Name, next time, run time in ms, period, used/timeout, state.
    std::map<std::string, unsigned long long> runTime;
    for (const std::string& row : rows) {
        char name[32] = {};
        unsigned long long next = 0, run = 0;
        unsigned period = 0, timeout = 0;
        int used = 0;
        if (std::sscanf(row.c_str(), "%31s %llu %llu %u %d/%u", name, &next, &run, &period, &used, &timeout) == 6) {
            runTime[name] = run;
            EXPECT_EQ(period, 30u) << row;
        }
    }
    ASSERT_EQ(runTime.count("measured"), 1u);
    ASSERT_EQ(runTime.count("unmeasured"), 1u);
    EXPECT_GE(runTime["measured"], 40u);  // at least two calls of at least 20 ms ended
    EXPECT_EQ(runTime["unmeasured"], 0u);
}
