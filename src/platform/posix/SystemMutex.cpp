// SystemMutex.cpp
//
// Only POSIX code; no library logic. The system mutex of the older CMutex: a recursive pthread
// mutex with its owner and depth kept beside it, so that a leave by a thread that does not own it
// is refused before it reaches pthread_mutex_unlock (which would refuse it with EPERM, but an
// unlock by a wrong thread is an error to the thread sanitizer and undefined for other types).
#include "platform/SystemMutex.h"

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <new>

#include "platform/Tls.h"

namespace Tessaran {
namespace Kerna {
namespace Detail {
namespace Platform {

namespace {

struct State {
    pthread_mutex_t mutex;
    std::atomic<uint32_t> owner;  ///< thread id of the owner, 0 when free; written by the owner
    uint32_t depth;               ///< entries of the owner; only the owner touches it
};

static_assert(sizeof(State) <= 48, "system mutex storage too small");

State* state(unsigned char* storage) { return reinterpret_cast<State*>(storage); }

}  // namespace

SystemMutex* SystemMutex::create() {
    SystemMutex* mutex = new (std::nothrow) SystemMutex;
    if (mutex == nullptr) return nullptr;
    pthread_mutexattr_t attr;
    bool ok = pthread_mutexattr_init(&attr) == 0;
    if (ok) {
        State* s = new (mutex->m_storage) State;
        s->owner.store(0, std::memory_order_relaxed);
        s->depth = 0;
        ok = pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE) == 0 &&
             pthread_mutex_init(&s->mutex, &attr) == 0;
        pthread_mutexattr_destroy(&attr);
    }
    if (!ok) {
        ::operator delete(mutex);  // the pthread mutex was never made: no destructor
        return nullptr;
    }
    return mutex;
}

SystemMutex::~SystemMutex() { pthread_mutex_destroy(&state(m_storage)->mutex); }

namespace {
bool entered(State* s, int result) {
    if (result != 0) return false;
    s->owner.store(currentThreadId(), std::memory_order_relaxed);
    ++s->depth;
    return true;
}
}  // namespace

bool SystemMutex::enter() {
    State* s = state(m_storage);
    return entered(s, pthread_mutex_lock(&s->mutex));
}

bool SystemMutex::tryEnter() {
    State* s = state(m_storage);
    return entered(s, pthread_mutex_trylock(&s->mutex));
}

bool SystemMutex::leave() {
    State* s = state(m_storage);
    // Only the owner finds its own id here: another thread reads 0 or the owner's id.
    if (s->owner.load(std::memory_order_relaxed) != currentThreadId()) return false;
    if (--s->depth == 0) s->owner.store(0, std::memory_order_relaxed);
    return pthread_mutex_unlock(&s->mutex) == 0;
}

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran
