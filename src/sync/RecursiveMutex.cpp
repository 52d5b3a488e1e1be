// RecursiveMutex.cpp
//
// CRecursiveMutex: a plain platform lock with the holder's id and nesting count beside it.
// `owner` is read without the lock (only the calling thread's own id can match it) and written
// with an atomic exchange; `count` is touched only by the holder.
//
// Every object is in one list, so that in a forked child the mutexes the forking thread holds
// name it by its new id: it can enter them again and leave them as before the fork.
#include "kerna/kerna3/RecursiveMutex.h"

#include <atomic>

#include "platform/Fork.h"
#include "platform/Lock.h"
#include "platform/Tls.h"

namespace Tessaran {
namespace Kerna {

class RecursiveMutexInternal {
public:
    Detail::Platform::PlainLock lock;
    int32_t count = 0;
    std::atomic<uint32_t> owner{0};
    RecursiveMutexInternal* prev = nullptr;  // the list of all objects, under its own lock
    RecursiveMutexInternal* next = nullptr;
};

namespace {

struct AllRecursiveMutexes {
    Detail::Platform::PlainLock lock;
    RecursiveMutexInternal* first = nullptr;
};

AllRecursiveMutexes& allMutexes() {
    static AllRecursiveMutexes* all = new AllRecursiveMutexes;  // never destroyed
    return *all;
}

void lockAll() { allMutexes().lock.enter(); }
void unlockAll() { allMutexes().lock.leave(); }

void ownersAfterForkInChild() {
    AllRecursiveMutexes& all = allMutexes();
    all.lock.resetAfterFork();
    const uint32_t former = Detail::Platform::threadIdBeforeFork();
    const uint32_t self = Detail::Platform::currentThreadId();
    for (RecursiveMutexInternal* m = all.first; m != nullptr; m = m->next) {
        // Held by the forking thread: held by it still. Held by a thread that did not come
        // along: held for good, and a new thread that happens to get the same id must not
        // take it for its own.
        const uint32_t owner = m->owner.load(std::memory_order_relaxed);
        if (owner == former) {
            m->owner.store(self);
        } else if (owner != 0) {
            m->owner.store(0);
        }
    }
}

std::atomic<bool> g_forkHandlersAdded{false};

void joinAll(RecursiveMutexInternal* m) {
    // Registered outside every lock; the library makes its first object at load.
    if (!g_forkHandlersAdded.load(std::memory_order_acquire) &&
        !g_forkHandlersAdded.exchange(true)) {
        Detail::Platform::addForkHandlers(Detail::Platform::forkRankRecursive, lockAll, unlockAll,
                                          ownersAfterForkInChild);
    }
    AllRecursiveMutexes& all = allMutexes();
    all.lock.enter();
    m->next = all.first;
    if (all.first != nullptr) all.first->prev = m;
    all.first = m;
    all.lock.leave();
}

void leaveAll(RecursiveMutexInternal* m) {
    AllRecursiveMutexes& all = allMutexes();
    all.lock.enter();
    if (m->prev != nullptr) {
        m->prev->next = m->next;
    } else {
        all.first = m->next;
    }
    if (m->next != nullptr) m->next->prev = m->prev;
    all.lock.leave();
}

}  // namespace

CRecursiveMutex::CRecursiveMutex() : m_internal(new RecursiveMutexInternal) { joinAll(m_internal); }

CRecursiveMutex::~CRecursiveMutex() {
    leaveAll(m_internal);
    delete m_internal;
}

bool CRecursiveMutex::enter() {
    const uint32_t self = Detail::Platform::currentThreadId();
    if (m_internal->owner.load(std::memory_order_relaxed) != self) {
        m_internal->lock.enter();
        m_internal->owner.exchange(self);
        m_internal->count = 1;
    } else {
        ++m_internal->count;
    }
    return true;
}

bool CRecursiveMutex::leave() {
    if (--m_internal->count != 0) return true;
    m_internal->owner.exchange(0);
    m_internal->lock.leave();
    return true;
}

}  // namespace Kerna
}  // namespace Tessaran
