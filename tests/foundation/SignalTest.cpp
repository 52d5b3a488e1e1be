// Tests of the signals: every result code of attach and detach, slot order by position, a
// delegate that detaches itself, attaches that move slots during an invocation, removal of all
// reuse tags, and detach with wait from another thread.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "kerna/kerna3/Semaphore.h"
#include "kerna/kerna3/SignalTemplate.h"
#include "support/LogCapture.h"

using namespace Tessaran::Kerna;
using KernaTest::LogCapture;

namespace {

typedef TSignal1<int> Signal;
typedef Signal::Proc Proc;

const char kInvokeMoved[] =
    "the index of the current proc in the slotsList has changed when operator() released mutex\n";
const char kInvokeLost[] = "operator() index is abnormal, can not find back old proc\n";
const char kDetachMoved[] =
    "the index of the current proc in the slotsList has changed when detach() released mutex\n";

// A listener that records its name in a shared call list and can act during its call.
struct Listener {
    std::vector<std::string>* calls;
    std::string name;
    std::function<void()> during;
    void on(int) {
        calls->push_back(name);
        if (during) during();
    }
    Proc proc() { return Proc(&Listener::on, this); }
};

void noop(int) {}
void other(int) {}

}  // namespace

TEST(TSignal, ResultCodesOfAttachAndDetach) {
    Signal signal(8);
    std::vector<std::string> calls;
    std::vector<Listener> listeners(9, Listener{&calls, "", nullptr});
    EXPECT_EQ(signal.attach(Proc(static_cast<void (*)(int)>(nullptr))), -4);
    EXPECT_EQ(signal.attach(Proc(&noop)), 1);
    EXPECT_EQ(signal.attach(Proc(&noop)), -2);
    EXPECT_EQ(signal.attach(listeners[0].proc().anyReuse()), -5);
    EXPECT_EQ(signal.attach(Proc(&other), 3), -3);  // no such position
    for (int i = 0; i < 7; ++i) EXPECT_EQ(signal.attach(listeners[i].proc()), i + 2);
    EXPECT_EQ(signal.attach(listeners[8].proc()), -3);  // a ninth one: no slot free
    EXPECT_TRUE(signal.isAttached(Proc(&noop)));
    EXPECT_FALSE(signal.isAttached(Proc()));

    EXPECT_EQ(signal.detach(Proc()), -4);
    EXPECT_EQ(signal.detach(Proc(&other)), -1);
    EXPECT_EQ(signal.detach(Proc(&noop)), 7);
    EXPECT_FALSE(signal.isAttached(Proc(&noop)));
    EXPECT_EQ(signal.detach(Proc(&noop)), -1);
    EXPECT_EQ(signal.attach(Proc(&noop), Signal::positionBack), 8);
}

TEST(TSignal, PositionsDecideTheOrderOfCalls) {
    Signal signal(4);
    std::vector<std::string> calls;
    Listener a{&calls, "a", nullptr}, b{&calls, "b", nullptr}, c{&calls, "c", nullptr},
        d{&calls, "d", nullptr};
    EXPECT_EQ(signal.attach(a.proc()), 1);                         // slot 0
    EXPECT_EQ(signal.attach(b.proc(), Signal::positionBack), 2);   // slot 3
    EXPECT_EQ(signal.attach(c.proc(), Signal::positionFront), 3);  // c, a, -, b
    EXPECT_EQ(signal.attach(d.proc(), Signal::positionBack), 4);   // c, a, b, d
    signal(1);
    EXPECT_EQ(calls, (std::vector<std::string>{"c", "a", "b", "d"}));
    EXPECT_EQ(signal.attach(Proc(&noop), Signal::positionFront), -3);
}

TEST(TSignal, DelegateThatDetachesItselfLetsTheOthersRun) {
    LogCapture log(6, true);
    Signal signal(4);
    std::vector<std::string> calls;
    Listener first{&calls, "first", nullptr}, second{&calls, "second", nullptr};
    int detachResult = 0;
    first.during = [&] { detachResult = signal.detach(first.proc(), true); };  // no wait for itself
    signal.attach(first.proc());
    signal.attach(second.proc());
    signal(7);
    EXPECT_EQ(detachResult, 1);
    EXPECT_EQ(calls, (std::vector<std::string>{"first", "second"}));
    EXPECT_EQ(log.messages(), (std::vector<std::string>{kInvokeMoved, kInvokeLost}));
    signal(8);
    EXPECT_EQ(calls.back(), "second");
    EXPECT_EQ(calls.size(), 3u);
}

TEST(TSignal, AttachesDuringAnInvocationMoveSlotsWithoutDoubleCalls) {
    LogCapture log(6, true);
    Signal signal(6);
    std::vector<std::string> calls;
    Listener a{&calls, "a", nullptr}, b{&calls, "b", nullptr}, c{&calls, "c", nullptr};
    Listener front{&calls, "front", nullptr}, back{&calls, "back", nullptr};
    // While b runs, one delegate goes in front (ahead of the invocation: not called now) and one
    // behind all (called in this invocation); the invocation finds b at its new index.
    b.during = [&] {
        EXPECT_EQ(signal.attach(front.proc(), Signal::positionFront), 4);
        EXPECT_EQ(signal.attach(back.proc(), Signal::positionBack), 5);
    };
    signal.attach(a.proc());
    signal.attach(b.proc());
    signal.attach(c.proc());
    signal(1);
    EXPECT_EQ(calls, (std::vector<std::string>{"a", "b", "c", "back"}));
    EXPECT_EQ(log.messages(), (std::vector<std::string>{kInvokeMoved}));
    calls.clear();
    b.during = nullptr;
    signal(2);
    EXPECT_EQ(calls, (std::vector<std::string>{"front", "a", "b", "c", "back"}));
}

TEST(TSignal, AnyReuseDetachRemovesEveryTag) {
    Signal signal(8);
    std::vector<std::string> calls;
    Listener l{&calls, "l", nullptr};
    EXPECT_EQ(signal.attach(l.proc().withReuse(16)), 1);
    EXPECT_EQ(signal.attach(Proc(&noop)), 2);
    EXPECT_EQ(signal.attach(l.proc().withReuse(17)), 3);
    EXPECT_EQ(signal.attach(l.proc().withReuse(17)), -2);
    EXPECT_EQ(signal.detach(l.proc().anyReuse()), 1);
    EXPECT_EQ(signal.detach(l.proc().anyReuse()), -1);
    signal(0);
    EXPECT_TRUE(calls.empty());
}

TEST(TSignal, DetachWithWaitFromAnotherThreadWaitsForTheRunningCall) {
    LogCapture log(6);
    Signal signal(4);
    std::vector<std::string> calls;
    CSemaphore entered, leave;
    std::atomic<bool> returned{false};
    Listener slow{&calls, "slow", nullptr};
    slow.during = [&] {
        entered.post();
        leave.pend(10000);
        returned = true;
    };
    signal.attach(slow.proc());
    std::thread invoker([&] { signal(1); });
    ASSERT_EQ(entered.pend(10000), 0);
    std::atomic<int> detached{-100};
    std::atomic<bool> returnedAtDetach{false};
    std::thread detacher([&] {
        const int r = signal.detach(slow.proc(), true);
        returnedAtDetach = returned.load();
        detached = r;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    // The slot moves while the detacher sleeps between its looks: it finds it again.
    Listener front{&calls, "front", nullptr};
    EXPECT_EQ(signal.attach(front.proc(), Signal::positionFront), 2);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(detached.load(), -100);
    leave.post();
    invoker.join();
    detacher.join();
    EXPECT_EQ(detached.load(), 1);
    EXPECT_TRUE(returnedAtDetach.load());
    EXPECT_TRUE(log.hasMessage(kDetachMoved));
    EXPECT_TRUE(log.hasMessage(kInvokeMoved));
}
