// The due order of the timer list against a model of its own: random start, stop,
// stopAndWait, setPeriodTime, limit changes and manager passes on a frozen manager, with the
// list (ties included), every due time, the flags and the results compared after each step. Run
// once through the ordered index and once with the reference walk forced, with a switch between
// the two in the middle of the run.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "base/ReferencePaths.h"
#include "kerna/kerna3/Timer.h"
#include "threads/TimerInternal.h"

using namespace Tessaran::Kerna;

namespace {

TimerManagerInternal& manager() { return *TimerManagerInternal::instance(); }

void nothing(unsigned long) {}
void nothingPointer(void*) {}

// What a timer is, as the rules tell it: armed timers stand in order of due time, and among
// equal due times the one put in last stands first. `put` counts every placing in the list.
struct ModelTimer {
    bool armed = false;
    bool called = false;
    bool running = false;  // handed over during this frozen span (its worker cannot come back)
    uint64_t next = 0;
    uint32_t period = 0;
    uint64_t put = 0;
};

struct Model {
    std::vector<ModelTimer> timers;
    uint64_t now = 0;
    uint64_t puts = 0;
    int limit = 0;
    int running = 0;

    void place(ModelTimer& t) {
        t.armed = true;
        t.put = ++puts;
    }
    std::vector<int> order() const {
        std::vector<int> out;
        for (int i = 0; i < static_cast<int>(timers.size()); ++i) {
            if (timers[i].armed) out.push_back(i);
        }
        std::sort(out.begin(), out.end(), [&](int a, int b) {
            const ModelTimer& x = timers[a];
            const ModelTimer& y = timers[b];
            return x.next != y.next ? x.next < y.next : x.put > y.put;
        });
        return out;
    }
    bool limited() const { return limit >= 1 && running >= limit; }
    bool handOver(ModelTimer& t, bool force) {
        if (limited() && !t.running && !force) return false;
        if (t.period != 0) {
            if (t.next <= now) t.next += t.period * ((now - t.next) / t.period + 1);
            place(t);
        } else {
            t.armed = false;
            t.called = true;
        }
        if (t.running) return false;
        t.running = true;
        ++running;
        return true;
    }
    bool dueHead() const {
        const std::vector<int> o = order();
        return !o.empty() && timers[o.front()].next < now;
    }
};

class TimerOrder : public ::testing::TestWithParam<bool> {
protected:
    void TearDown() override { Detail::setReferencePathsOnly(false); }
};

// Holds the manager's lock, so that its thread stands still between passes; puts the real
// `now` and no running limit back when it goes.
struct Frozen {
    CRecursiveGuard guard{manager().mutex};
    const uint64_t realNow = manager().now;
    ~Frozen() {
        manager().now = realNow;
        manager().runningLimit = 0;
    }
};

bool waitIdle() {
    for (int i = 0; i < 20000; ++i) {
        {
            CRecursiveGuard g(manager().mutex);
            if (manager().runningCount == 0) return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}

}  // namespace

TEST_P(TimerOrder, RandomArmingFollowsTheModel) {
    const bool reference = GetParam();
    const int count = 10;
    std::vector<std::unique_ptr<CTimer>> timers;
    for (int i = 0; i < count; ++i) timers.emplace_back(new CTimer(("order." + std::to_string(i)).c_str()));
    Model model;
    model.timers.resize(count);
    std::mt19937 rng(reference ? 1234u : 4321u);
    const int phases = 8, steps = 150;
    ASSERT_TRUE(waitIdle());
    for (int phase = 0; phase < phases; ++phase) {
        // The second half runs on the other path: the list is kept, the index is dropped or
        // built again from it.
        Detail::setReferencePathsOnly(phase < phases / 2 ? reference : !reference);
        ASSERT_TRUE(waitIdle());  // the workers of the span before have come back
        Frozen frozen;
        // The model's times lie far ahead of the real clock: none of its timers comes due when
        // the manager runs again between the spans.
        if (phase == 0) model.now = frozen.realNow + 1000000000ull;
        manager().now = model.now;
        ASSERT_EQ(manager().runningCount, 0);
        for (TimerInternal* t = manager().timerHead; t != nullptr; t = t->next) {
            ASSERT_EQ(std::string(t->name).compare(0, 6, "order."), 0) << "a timer left armed: " << t->name;
        }
        for (ModelTimer& t : model.timers) t.running = false;
        model.running = 0;
        model.limit = 0;
        manager().runningLimit = 0;
        for (int step = 0; step < steps; ++step) {
            const int i = static_cast<int>(rng() % count);
            ModelTimer& m = model.timers[i];
            CTimer& t = *timers[i];
            const unsigned op = rng() % 100;
            char what[96];
            if (op < 35) {
                const unsigned delay = rng() % 5, period = rng() % 3 == 0 ? 0 : rng() % 4 + 1;
                std::snprintf(what, sizeof what, "start(%u, %u) of %d", delay, period, i);
                const bool result = rng() % 2 != 0
                                        ? t.start(TFunction1<void, unsigned long>(&nothing), delay, period, 0, 0)
                                        : t.start(TFunction1<void, void*>(&nothingPointer), delay, period, nullptr, 0);
                m.next = model.now + delay;
                m.period = period;
                m.called = false;
                model.place(m);
                EXPECT_EQ(result, delay != 0 || model.handOver(m, false)) << what;
            } else if (op < 50) {
                const bool callNow = rng() % 2 != 0;
                std::snprintf(what, sizeof what, "stop(%d) of %d", callNow, i);
                bool expected = false;
                if (m.armed) {
                    m.armed = false;
                    expected = m.period == 0 && callNow ? model.handOver(m, true) : true;
                }
                EXPECT_EQ(t.stop(callNow), expected) << what;
            } else if (op < 58) {
                if (m.running) continue;  // it would wait for a worker that cannot come back
                std::snprintf(what, sizeof what, "stopAndWait of %d", i);
                m.armed = false;
                EXPECT_TRUE(t.stopAndWait()) << what;
            } else if (op < 70) {
                const unsigned period = rng() % 5;
                std::snprintf(what, sizeof what, "setPeriodTime(%u) of %d", period, i);
                t.setPeriodTime(period);
                m.next = (m.next > m.period ? m.next - m.period : 0) + period;
                m.period = period;
                if (m.armed) model.place(m);
            } else if (op < 80) {
                const unsigned by = rng() % 4;
                std::snprintf(what, sizeof what, "now + %u", by);
                model.now += by;
                manager().now = model.now;
            } else if (op < 97) {
                std::snprintf(what, sizeof what, "pass at %llu", static_cast<unsigned long long>(model.now));
                if (model.dueHead()) model.handOver(model.timers[model.order().front()], false);
                EXPECT_EQ(manager().handDue(), !model.limited() && model.dueHead()) << what;
            } else {
                model.limit = static_cast<int>(rng() % 3);
                std::snprintf(what, sizeof what, "running limit %d", model.limit);
                CTimerManager::instance()->setRunningThreadLimit(model.limit);
            }
            // The list against the model, ties included.
            std::vector<std::string> listed, expected;
            for (TimerInternal* p = manager().timerHead; p != nullptr; p = p->next) {
                listed.push_back(std::string(p->name) + "@" + std::to_string(p->nextTime));
            }
            for (int k : model.order()) {
                expected.push_back("order." + std::to_string(k) + "@" + std::to_string(model.timers[k].next));
            }
            ASSERT_EQ(listed, expected) << "after " << what << " (phase " << phase << ", step " << step << ")";
            ASSERT_TRUE(manager().indexHolds()) << "after " << what;
            for (int k = 0; k < count; ++k) {
                ASSERT_EQ(timers[k]->isStarted(), model.timers[k].armed) << k << " after " << what;
                ASSERT_EQ(timers[k]->isCalled(), model.timers[k].called) << k << " after " << what;
                ASSERT_EQ(timers[k]->isRunning(), model.timers[k].running) << k << " after " << what;
            }
            ASSERT_EQ(manager().runningCount, model.running) << "after " << what;
        }
        // Each span placed timers: the index is in use exactly when the walk is not forced.
        EXPECT_EQ(manager().indexInUse(), !Detail::referencePathsOnly());
    }
    ASSERT_TRUE(waitIdle());
    for (auto& t : timers) t->stop(false);
}

INSTANTIATE_TEST_SUITE_P(IndexAndWalk, TimerOrder, ::testing::Values(false, true),
                         [](const ::testing::TestParamInfo<bool>& param) {
                             return param.param ? std::string("ReferenceWalk") : std::string("Index");
                         });
