// A small user of the installed library: prints through the print path with a listener, guards a
// counter with a Tessaran::Kerna::CMutex from two threads, and uses the static companion library
// (an interval set, an older thread and semaphore) and the older global interface side by side
// with the new one.
#include <kerna/kerna.h>
#include <kerna/legacy.h>

#include <cstdio>
#include <thread>

namespace {

int g_lines = 0;
bool countLine(const char*) {
    ++g_lines;
    return true;
}

// The new CMutex and CGuard, brought in here by using-declarations, which hide the global ones of
// <kerna/legacy.h> in this block. (A using-directive would not: under it an unqualified CMutex
// names both classes and is ambiguous.)
int countWithNewMutex() {
    using Tessaran::Kerna::CGuard;
    using Tessaran::Kerna::CMutex;
    CMutex mutex;
    int counter = 0;
    auto work = [&] {
        for (int i = 0; i < 1000; ++i) {
            CGuard guard(mutex);
            ++counter;
        }
    };
    std::thread a(work), b(work);
    a.join();
    b.join();
    return counter;
}

// The interval set comes from the companion library kerna_source.
int intervals() {
    Tessaran::Utils::CIntervalSet set;
    set.insert(std::make_pair(5, 10));
    set.insert(std::make_pair(10, 12));  // touches [5, 10): merged
    set.insert(std::make_pair(20, 25));
    set.erase(std::make_pair(21, 22));  // splits [20, 25)
    return static_cast<int>(set.size());
}

// An older thread (companion library too) that posts an older semaphore from its body.
class Poster : public ::CThread {
public:
    explicit Poster(::CSemaphore& done) : ::CThread("Poster"), m_done(done) {}
    ~Poster() override {
        if (!isThreadOver()) destroyThread();
    }

protected:
    void threadProc() override { m_done.post(); }

private:
    ::CSemaphore& m_done;
};

bool olderThreadRuns() {
    ::CSemaphore done(0);
    Poster poster(done);
    return IThreadManager::instance() != nullptr && poster.createThread() && done.pend() == 0;
}

}  // namespace

int main() {
    Tessaran::Kerna::attachPrint(Tessaran::Kerna::TFunction1<bool, const char*>(&countLine));
    Tessaran::Kerna::logFilter(4, "Consumer", __FILE__, "main", __LINE__, "1.0",
                               "hello from a consumer\n");
    ::logWarn("and from the global short form\n");

    const int counter = countWithNewMutex();

    ::CMutex legacyMutex;  // the older global mutex
    bool legacyOk =
        legacyMutex.Enter() && legacyMutex.TryEnter() && legacyMutex.Leave() && legacyMutex.Leave();

    const int intervalCount = intervals();
    legacyOk = legacyOk && olderThreadRuns();
    std::printf("counter=%d lines=%d intervals=%d legacy=%d\n", counter, g_lines, intervalCount,
                legacyOk);
    return (counter == 2000 && g_lines == 2 && intervalCount == 3 && legacyOk) ? 0 : 1;
}
