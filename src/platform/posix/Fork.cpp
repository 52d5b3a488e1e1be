// Fork.cpp
//
// Only POSIX code; no library logic. The fork handlers of the library on pthread_atfork,
// registered once, and the process lock. The table of handlers is written only under the
// process lock, which the prepare step takes first: no handler is added while a fork runs.
#include "platform/Fork.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>

#include "platform/Lock.h"
#include "platform/Tls.h"

namespace Tessaran {
namespace Kerna {
namespace Detail {
namespace Platform {

namespace {

struct Handlers {
    int rank;
    ForkStep prepare;
    ForkStep parent;
    ForkStep child;
};

const int maxHandlers = 32;

// Constant-initialised; filled in rank order under the process lock.
Handlers g_handlers[maxHandlers];
int g_handlerCount = 0;
pthread_once_t g_registerOnce = PTHREAD_ONCE_INIT;
std::atomic<uint32_t> g_threadIdBeforeFork{0};
uint32_t g_forkingThreadId = 0;  // written in prepare, read in the child

Lock& processLock() {
    static Lock* lock = new Lock;  // never destroyed: exit routines and late threads use it
    return *lock;
}

void prepareFork() {
    processLock().enter();
    g_forkingThreadId = currentThreadId();
    for (int i = 0; i < g_handlerCount; ++i) {
        if (g_handlers[i].prepare != nullptr) g_handlers[i].prepare();
    }
}

void afterForkInParent() {
    for (int i = g_handlerCount; i-- > 0;) {
        if (g_handlers[i].parent != nullptr) g_handlers[i].parent();
    }
    processLock().leave();
}

void afterForkInChild() {
    g_threadIdBeforeFork.store(g_forkingThreadId, std::memory_order_relaxed);
    refreshCurrentThreadId();
    // Held by this thread under its old identifier: a re-enterable lock can't be left so.
    processLock().resetAfterFork();
    for (int i = g_handlerCount; i-- > 0;) {
        if (g_handlers[i].child != nullptr) g_handlers[i].child();
    }
}

void registerWithSystem() { pthread_atfork(prepareFork, afterForkInParent, afterForkInChild); }

}  // namespace

bool addForkHandlers(int rank, ForkStep prepare, ForkStep parent, ForkStep child) {
    pthread_once(&g_registerOnce, registerWithSystem);
    processLock().enter();
    bool added = false;
    if (g_handlerCount < maxHandlers) {
        Handlers* end = g_handlers + g_handlerCount;
        Handlers* at = std::upper_bound(g_handlers, end, rank,
                                        [](int r, const Handlers& h) { return r < h.rank; });
        std::move_backward(at, end, end + 1);
        *at = Handlers{rank, prepare, parent, child};
        ++g_handlerCount;
        added = true;
    }
    processLock().leave();
    return added;
}

uint32_t threadIdBeforeFork() { return g_threadIdBeforeFork.load(std::memory_order_relaxed); }

void enterProcessLock() { processLock().enter(); }

void leaveProcessLock() { processLock().leave(); }

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran
