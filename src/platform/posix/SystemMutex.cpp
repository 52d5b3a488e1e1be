// SystemMutex.cpp
//
// Only POSIX code; no library logic. The system mutex of the older CMutex: a recursive pthread
// mutex, whose unlock by a thread that does not own it fails with EPERM and changes nothing.
#include "platform/SystemMutex.h"

#include <pthread.h>

#include <new>

namespace Tessaran {
namespace Kerna {
namespace Detail {
namespace Platform {

static_assert(sizeof(pthread_mutex_t) <= 48, "system mutex storage too small");

namespace {
pthread_mutex_t* handle(unsigned char* storage) { return reinterpret_cast<pthread_mutex_t*>(storage); }
}  // namespace

SystemMutex* SystemMutex::create() {
    SystemMutex* mutex = new (std::nothrow) SystemMutex;
    if (mutex == nullptr) return nullptr;
    pthread_mutexattr_t attr;
    bool ok = pthread_mutexattr_init(&attr) == 0;
    if (ok) {
        ok = pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE) == 0 &&
             pthread_mutex_init(new (mutex->m_storage) pthread_mutex_t, &attr) == 0;
        pthread_mutexattr_destroy(&attr);
    }
    if (!ok) {
        ::operator delete(mutex);  // the pthread mutex was never made: no destructor
        return nullptr;
    }
    return mutex;
}

SystemMutex::~SystemMutex() { pthread_mutex_destroy(handle(m_storage)); }
bool SystemMutex::enter() { return pthread_mutex_lock(handle(m_storage)) == 0; }
bool SystemMutex::tryEnter() { return pthread_mutex_trylock(handle(m_storage)) == 0; }
bool SystemMutex::leave() { return pthread_mutex_unlock(handle(m_storage)) == 0; }

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran
