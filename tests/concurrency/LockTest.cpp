// Tests of the locks: re-entry, the hand-over order of the readers-writer lock in both modes,
// semaphore limits and time-outs, thread-local slots, the atomic counter and systemCall.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "sync/ReadWriteMutexInternal.h"
#include "kerna/kerna3/AtomicCount.h"
#include "kerna/kerna3/Mutex.h"
#include "kerna/kerna3/Process.h"
#include "kerna/kerna3/RecursiveMutex.h"
#include "kerna/kerna3/ReadWriteMutex.h"
#include "kerna/kerna3/Semaphore.h"
#include "kerna/kerna3/ThreadSpecific.h"
#include "support/LogCapture.h"

using namespace Tessaran::Kerna;
using KernaTest::LogCapture;

namespace Tessaran {
namespace Kerna {
// Reads and steers the counters of a readers-writer lock.
class RWMutexInspector {
public:
    static int32_t waitingWriters(CReadWriteMutex& m) { return read(m, &RWMutexInternal::waitingWriters); }
    static int32_t waitingReaders(CReadWriteMutex& m) { return read(m, &RWMutexInternal::waitingReaders); }
    /// Writer-first `state` with its waiters bit (bit 32), read under the gate.
    static uint64_t state(CReadWriteMutex& m) {
        m.m_internal->gate.enter();
        const uint64_t s = m.m_internal->state.load();
        m.m_internal->gate.leave();
        return s;
    }
    /// Default mode: readers inside and announced writers.
    static uint64_t readCount(CReadWriteMutex& m) { return m.m_internal->readCount.load(); }
    static bool fastPath(CReadWriteMutex& m) { return m.m_internal->fastPath; }
    /// Default mode: true when another thread keeps `lock`.
    static bool lockKeptByOther(CReadWriteMutex& m) {
        if (!m.m_internal->lock.tryEnter()) return true;
        m.m_internal->lock.leave();
        return false;
    }
    /// Default mode: leaves `lock` once from the calling thread.
    static void leaveLock(CReadWriteMutex& m) { m.m_internal->lock.leave(); }
    /// Writer-first: the gate steps of a leaving writer with no writer waiting (state back to
    /// 0), without the wake that follows them: the moment before that writer signals.
    static void writerLeftGateNotYetSignalled(CReadWriteMutex& m) {
        m.m_internal->gate.enter();
        m.m_internal->state.fetch_sub(rwWriterInside);
        m.m_internal->gate.leave();
    }

private:
    static int32_t read(CReadWriteMutex& m, int32_t RWMutexInternal::*field) {
        m.m_internal->gate.enter();
        const int32_t v = m.m_internal->*field;
        m.m_internal->gate.leave();
        return v;
    }
};
}  // namespace Kerna
}  // namespace Tessaran

namespace {

// Polls `condition` for up to ten seconds.
template <typename F>
bool eventually(F condition) {
    for (int i = 0; i < 10000; ++i) {
        if (condition()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return condition();
}

}  // namespace

TEST(CMutex, HolderReentersAndOthersBlock) {
    CMutex m;
    EXPECT_TRUE(m.enter());
    EXPECT_TRUE(m.tryEnter());  // the holder gets it again
    bool other = true;
    std::thread([&] { other = m.tryEnter(); }).join();
    EXPECT_FALSE(other);
    EXPECT_TRUE(m.leave());
    std::thread([&] { other = m.tryEnter(); }).join();
    EXPECT_FALSE(other);  // still held once
    EXPECT_TRUE(m.leave());
    std::thread([&] {
        other = m.tryEnter();
        if (other) m.leave();
    }).join();
    EXPECT_TRUE(other);
}

TEST(CRecursiveMutex, NestedEntersNeedAsManyLeaves) {
    CRecursiveMutex m;
    std::atomic<int> inside{0};
    m.enter();
    m.enter();
    m.enter();
    std::thread t([&] {
        CRecursiveGuard g(m);
        inside = 1;
    });
    m.leave();
    m.leave();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(inside.load(), 0);  // one enter is still open
    m.leave();
    t.join();
    EXPECT_EQ(inside.load(), 1);
}

TEST(CRecursiveMutex, ExcludesUnderContention) {
    CRecursiveMutex m;
    int counter = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 20000; ++i) {
                CRecursiveGuard g(m);
                CRecursiveGuard again(m);
                ++counter;
            }
        });
    }
    for (std::thread& t : threads) t.join();
    EXPECT_EQ(counter, 80000);
}

// Every readers-writer test runs twice: with the one-exchange read paths and with the reference
// steps only (the lock chooses at construction); both must show the same behaviour.
class CReadWriteMutexPaths : public testing::TestWithParam<bool> {
protected:
    void SetUp() override { Detail::setReferencePathsOnly(GetParam()); }
    void TearDown() override { Detail::setReferencePathsOnly(false); }
    static void expectPathTaken(CReadWriteMutex& rw) {
        EXPECT_EQ(RWMutexInspector::fastPath(rw), !GetParam());
    }
};

INSTANTIATE_TEST_SUITE_P(Paths, CReadWriteMutexPaths, testing::Values(false, true),
                         [](const testing::TestParamInfo<bool>& param) {
                             return param.param ? "ReferenceOnly" : "FastReads";
                         });

TEST_P(CReadWriteMutexPaths, DefaultModeReadersShareWriterExcludes) {
    CReadWriteMutex rw;
    expectPathTaken(rw);
    rw.enterReading();
    rw.enterReading();
    std::atomic<bool> writerIn{false};
    std::thread writer([&] {
        rw.enterWriting();
        writerIn = true;
        rw.leave();
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(writerIn.load());
    EXPECT_TRUE(rw.leave());
    EXPECT_TRUE(rw.leave());
    writer.join();
    EXPECT_TRUE(writerIn.load());
    // A writer may also take a read hold; its first leave gives up the read hold.
    rw.enterWriting();
    rw.enterReading();
    EXPECT_EQ(RWMutexInspector::readCount(rw), RWMutexInternal::kWriterAnnounced + 1);
    EXPECT_TRUE(rw.leave());
    EXPECT_EQ(RWMutexInspector::readCount(rw), RWMutexInternal::kWriterAnnounced);
    EXPECT_TRUE(rw.leave());
    EXPECT_EQ(RWMutexInspector::readCount(rw), 0u);
}

// A leave from a thread that holds nothing while another writes clears `writing`, but `lock`
// stays with the writer, and so new readers keep waiting.
TEST_P(CReadWriteMutexPaths, DefaultModeStrangersLeaveKeepsReadersOut) {
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "ThreadSanitizer reports the stranger's unlock, the misuse under test";
#endif
    CReadWriteMutex rw;
    std::atomic<int> step{0};
    std::thread writer([&] {
        rw.enterWriting();
        step = 1;
        while (step.load() != 2) std::this_thread::yield();
        RWMutexInspector::leaveLock(rw);  // what the writer's own leave can no longer do
    });
    ASSERT_TRUE(eventually([&] { return step.load() == 1; }));
    EXPECT_TRUE(rw.leave());  // the stranger's leave: `writing` goes to 0
    std::atomic<bool> readerIn{false};
    std::thread reader([&] {
        rw.enterReading();
        readerIn = true;
        rw.leave();
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(readerIn.load());
    step = 2;
    writer.join();
    reader.join();
    EXPECT_TRUE(readerIn.load());
}

TEST_P(CReadWriteMutexPaths, DefaultModeMisuseIsLogged) {
    LogCapture capture;
    {
        CReadWriteMutex rw;
        EXPECT_FALSE(rw.leave());
        rw.enterReading();
        rw.enterReading();
    }
    {
        CReadWriteMutex rw;
        rw.enterWriting();
    }
    // With int as the underlying type, 7 is a value of RWPriority, which the constructor refuses.
    static_assert(std::is_same<std::underlying_type<RWPriority>::type, int>::value, "");
    CReadWriteMutex bad(static_cast<RWPriority>(7));
    expectPathTaken(bad);
    bad.enterWriting();
    bad.enterReading();  // priorityDefault: a writer may read
    EXPECT_TRUE(bad.leave());
    EXPECT_TRUE(bad.leave());
    std::vector<std::string> messages = capture.messages();
    ASSERT_EQ(messages.size(), 4u);
    EXPECT_EQ(messages[0], "No lock, maybe err\n");
    EXPECT_EQ(messages[1], "has lock Read count:2, maybe err\n");
    EXPECT_EQ(messages[2], "has lock write, maybe err\n");
    EXPECT_NE(messages[3].find(" Input rwpriority level error, priorityDefault used!\n"), std::string::npos);
    EXPECT_EQ(messages[3].rfind("this:0x", 0), 0u) << messages[3];
    const std::vector<std::string> lines = capture.lines();
    EXPECT_NE(lines[3].find(" warn "), std::string::npos);
    EXPECT_NE(lines[0].find(" error "), std::string::npos);
}

// In both modes a writer that waits for the readers inside holds back a reader that comes after
// it, which enters only after the writer has left. Default mode: the waiting writer keeps `lock`.
// Writer-first: the writer is counted as waiting and the reader as blocked.
TEST_P(CReadWriteMutexPaths, WaitingWriterHoldsBackNewReaders) {
    for (RWPriority mode : {priorityDefault, priorityWriter}) {
        SCOPED_TRACE(mode);
        const bool writerFirst = mode == priorityWriter;
        CReadWriteMutex rw(mode);
        expectPathTaken(rw);
        if (writerFirst) {
            EXPECT_FALSE(rw.leave());  // nothing held: false, silently
        }
        rw.enterReading();
        std::atomic<int> order{0};
        std::atomic<int> writerAt{0}, readerAt{0};
        std::thread writer([&] {
            rw.enterWriting();
            writerAt = ++order;
            rw.leave();
        });
        ASSERT_TRUE(eventually([&] {
            return writerFirst ? RWMutexInspector::waitingWriters(rw) == 1
                               : RWMutexInspector::lockKeptByOther(rw);
        }));
        std::thread reader([&] {
            rw.enterReading();
            readerAt = ++order;
            rw.leave();
        });
        if (writerFirst) {
            ASSERT_TRUE(eventually([&] { return RWMutexInspector::waitingReaders(rw) == 1; }));
        } else {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        EXPECT_EQ(order.load(), 0);
        EXPECT_TRUE(rw.leave());  // last reader out: the writer goes first
        writer.join();
        reader.join();
        EXPECT_EQ(writerAt.load(), 1);
        EXPECT_EQ(readerAt.load(), 2);
        EXPECT_EQ(writerFirst ? RWMutexInspector::state(rw) : RWMutexInspector::readCount(rw), 0u);
    }
}

TEST_P(CReadWriteMutexPaths, WriterFirstHandsOverWriterToWriterThenAllReaders) {
    CReadWriteMutex rw(priorityWriter);
    rw.enterWriting();
    std::atomic<int> order{0};
    std::atomic<int> secondWriterAt{0};
    std::atomic<int> readersIn{0}, readersMaxTogether{0};
    std::atomic<bool> releaseReaders{false};
    std::thread writer2([&] {
        rw.enterWriting();
        secondWriterAt = ++order;
        rw.leave();
    });
    ASSERT_TRUE(eventually([&] { return RWMutexInspector::waitingWriters(rw) == 1; }));
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i) {
        readers.emplace_back([&] {
            rw.enterReading();
            ++order;
            const int now = ++readersIn;
            int seen = readersMaxTogether.load();
            while (now > seen && !readersMaxTogether.compare_exchange_weak(seen, now)) {
            }
            while (!releaseReaders.load()) std::this_thread::yield();
            rw.leave();
        });
    }
    ASSERT_TRUE(eventually([&] { return RWMutexInspector::waitingReaders(rw) == 3; }));
    EXPECT_TRUE(rw.leave());  // hands straight to writer2
    writer2.join();
    EXPECT_EQ(secondWriterAt.load(), 1);
    // All three readers are released together and hold the lock at the same time.
    ASSERT_TRUE(eventually([&] { return readersIn.load() == 3; }));
    EXPECT_EQ(readersMaxTogether.load(), 3);
    releaseReaders = true;
    for (std::thread& t : readers) t.join();
    EXPECT_EQ(RWMutexInspector::state(rw), 0u);
}

// A reader that enters while others are blocked and no writer is about (here: the last writer
// has left the gate but not yet signalled) wakes the blocked ones itself.
TEST_P(CReadWriteMutexPaths, WriterFirstEnteringReaderWakesBlockedReaders) {
    CReadWriteMutex rw(priorityWriter);
    rw.enterWriting();
    std::atomic<bool> blockedIn{false};
    std::thread blocked([&] {
        rw.enterReading();
        blockedIn = true;
    });
    ASSERT_TRUE(eventually([&] { return RWMutexInspector::waitingReaders(rw) == 1; }));
    RWMutexInspector::writerLeftGateNotYetSignalled(rw);
    EXPECT_FALSE(blockedIn.load());
    rw.enterReading();  // no writer about: enters, and signals the blocked reader
    const bool woken = eventually([&] { return blockedIn.load(); });
    EXPECT_TRUE(woken) << "the blocked reader was left waiting";
    if (!woken) {  // wake it the ordinary way, through a writer, so that the test ends
        rw.leave();
        rw.enterWriting();
        rw.leave();
        rw.enterReading();
    }
    blocked.join();
    EXPECT_EQ(RWMutexInspector::waitingReaders(rw), 0);
    EXPECT_EQ(RWMutexInspector::state(rw), 2u);
    EXPECT_TRUE(rw.leave());
    EXPECT_TRUE(rw.leave());
    EXPECT_EQ(RWMutexInspector::state(rw), 0u);
}

// Readers and writers of both modes from four threads: a writer is alone inside, readers see
// a value that does not change under them, and the counters end at rest.
TEST_P(CReadWriteMutexPaths, StressBothModes) {
    for (RWPriority mode : {priorityDefault, priorityWriter}) {
        SCOPED_TRACE(mode);
        CReadWriteMutex rw(mode);
        int value = 0;
        std::atomic<int> writersIn{0};
        std::atomic<bool> bad{false};
        std::atomic<int> ready{0};
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t) {
            threads.emplace_back([&, t] {
                ++ready;
                while (ready.load() < 4) std::this_thread::yield();  // all four at once
                for (int i = 0; i < 20000; ++i) {
                    if ((i + t) % 4 == 0) {
                        rw.enterWriting();
                        if (++writersIn != 1) bad = true;
                        const int v = ++value;
                        if (v != value) bad = true;
                        --writersIn;
                        rw.leave();
                    } else {
                        rw.enterReading();
                        if (writersIn.load() != 0) bad = true;
                        const int v = value;
                        if (v != value) bad = true;
                        rw.leave();
                    }
                }
            });
        }
        for (std::thread& t : threads) t.join();
        EXPECT_FALSE(bad.load());
        EXPECT_EQ(value, 20000);
        EXPECT_EQ(RWMutexInspector::state(rw), 0u);
        EXPECT_EQ(RWMutexInspector::readCount(rw), 0u);
    }
}

TEST(CSemaphore, CountsAndLimits) {
    CSemaphore s(0);
    EXPECT_EQ(s.tryPend(), -1);
    EXPECT_EQ(s.pend(0), -1);
    EXPECT_EQ(s.post(), 0);
    EXPECT_EQ(s.tryPend(), 0);
    EXPECT_EQ(s.tryPend(), -1);
    CSemaphore full(2147483647);
    EXPECT_EQ(full.post(), -1);  // at the maximum: refused, nothing changes
    EXPECT_EQ(full.tryPend(), 0);
    EXPECT_EQ(full.post(), 0);
}

TEST(CSemaphore, TimedWaitTimesOutAndPostWakes) {
    CSemaphore s;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(s.pend(50), -1);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(45));
    std::thread poster([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        s.post();
    });
    EXPECT_EQ(s.pend(10000), 0);
    poster.join();
    std::thread poster2([&] { s.post(); });
    EXPECT_EQ(s.pend(), 0);
    poster2.join();
}

#if GTEST_HAS_DEATH_TEST
TEST(CSemaphoreDeathTest, RefusedSemaphoreIsAnAssertion) {
    EXPECT_DEATH(CSemaphore(-1), "assertion \\(m_internal->m_handle\\) failed in");
}
#endif

TEST(CThreadSpecific, ValuesArePerThread) {
    CThreadSpecific slot;
    ASSERT_TRUE(slot.valid());
    int a = 0, b = 0;
    EXPECT_TRUE(slot.setValue(&a));
    void* seen = reinterpret_cast<void*>(1);
    std::thread([&] {
        void* v = reinterpret_cast<void*>(1);
        EXPECT_TRUE(slot.getValue(&v));
        EXPECT_EQ(v, nullptr);
        EXPECT_TRUE(slot.setValue(&b));
        EXPECT_TRUE(slot.getValue(&v));
        EXPECT_EQ(v, &b);
    }).join();
    EXPECT_TRUE(slot.getValue(&seen));
    EXPECT_EQ(seen, &a);
    EXPECT_FALSE(slot.getValue(nullptr));
}

TEST(AtomicCount, ThirtyTwoBitsUnderContention) {
    Detail::atomic_count c(0);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 50000; ++i) ++c;
            for (int i = 0; i < 25000; ++i) --c;
        });
    }
    for (std::thread& t : threads) t.join();
    EXPECT_EQ(static_cast<long>(c), 100000);
    Detail::atomic_count wrap(2147483647L);
    EXPECT_EQ(++wrap, -2147483647L - 1);  // 32 bits wide, also where long is 64
    EXPECT_EQ(--wrap, 2147483647L);
}

TEST(SystemCall, LengthLimitsAndFailures) {
    LogCapture capture;
    EXPECT_EQ(systemCall(nullptr), 1);
    // 259 characters run: "true" padded with blanks.
    std::string ok = "true" + std::string(255, ' ');
    ASSERT_EQ(ok.size(), 259u);
    EXPECT_EQ(systemCall(ok.c_str()), 0);
    std::string tooLong = ok + " ";
    EXPECT_EQ(systemCall(tooLong.c_str()), -1);
    EXPECT_EQ(systemCall("kerna-no-such-program-xyz --flag"), -1);
    std::vector<std::string> messages = capture.messages();
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_EQ(messages[0], "systemCall's input parameter is too long, command:" + tooLong + "\n");
    EXPECT_EQ(messages[1], "systemCall CreateProcessA cmd:kerna-no-such-program-xyz --flag failed\n");
}

TEST(SystemCall, RunsWithoutShellAndWaits) {
    char dir[] = "/tmp/kerna-syscall-XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    const std::string file = std::string(dir) + "/made by touch";
    EXPECT_EQ(systemCall(("touch \"" + file + "\"").c_str()), 0);
    FILE* f = fopen(file.c_str(), "r");
    EXPECT_NE(f, nullptr);  // the child has finished when systemCall returns
    if (f) fclose(f);
    std::remove(file.c_str());
    std::remove(dir);
    EXPECT_EQ(getCurrectProcessID(), static_cast<unsigned long long>(getpid()));
}
