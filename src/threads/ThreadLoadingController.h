// ThreadLoadingController.h - CThreadLoadingController, the process-wide duty-cycle counter.
//
// A thread ("ThreadLoadingControl", priority 1, realtime policy) that keeps, per entry, a pair
// of wanted shares of running and standing still and counts ticks of 1 ms against them, so that
// over one cycle the counters rise in step with the ratio of the shares. Its thread runs only
// while it holds entries. No path of the library adds entries; CThread::load only checks its
// argument. A process-wide object: never freed; at exit its thread stops and is not started
// again. In a forked child its thread does not run until the next addEntry.

#ifndef KERNA_SRC_THREADS_THREADLOADINGCONTROLLER_H_
#define KERNA_SRC_THREADS_THREADLOADINGCONTROLLER_H_

#include "base/ProcessObject.h"
#include "kerna/kerna3/Mutex.h"
#include "kerna/kerna3/Thread.h"

#include <cstdint>
#include <map>

namespace Tessaran {
namespace Kerna {

class CThreadLoadingController : public CThread {
public:
    /// One entry's shares and the ticks counted in the current cycle.
    struct Entry {
        int32_t runShare;
        int32_t stopShare;
        int32_t runTicks;
        int32_t stopTicks;
    };

    /// The process-wide object, made on first use (the library makes it at load time).
    static CThreadLoadingController* instance();

    /// Stores an entry with both tick counters at 0, replacing one under the same key, and
    /// starts the thread if it is over. False, with a line at level 2, for a negative runShare
    /// or a stopShare below 1 (its cycle would never close).
    bool addEntry(unsigned long long key, int runShare, int stopShare);

    /// Removes the entry under key; stops the thread when the last entry has gone.
    /// False if there was no such entry.
    bool removeEntry(unsigned long long key);

    /// Copies the entry under key. False if there is none.
    bool getEntry(unsigned long long key, Entry& entry);

    /// One tick over all entries in key order: the counter that lags behind its share gains 1
    /// (a tie goes to stopTicks); a cycle that has reached both shares starts again at 0.
    void tick();

    CThreadLoadingController();
    void published() {}
    /// Stops the thread; it is not started again.
    void atProcessExit();

protected:
    void threadProc() override;

private:
    static void afterForkInChild();

    CMutex m_mutex;
    std::map<unsigned long long, Entry> m_entries;
    bool m_exited = false;  // under m_mutex
};

namespace Detail {
template <>
struct ProcessObjectName<CThreadLoadingController> {
    static constexpr const char* value = "Tessaran::Kerna::CThreadLoadingController::instance";
};
}  // namespace Detail

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_THREADS_THREADLOADINGCONTROLLER_H_
