// Tls.cpp
//
// Only POSIX code; no library logic. Thread-local slots on pthread keys (no destructor, as the
// slots hold plain values), and thread and process ids. The thread id is the kernel's (gettid),
// cached per thread since the system call costs more than a whole log line should.
#include "platform/Tls.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Tessaran {
namespace Kerna {
namespace Detail {
namespace Platform {

uint32_t tlsAlloc() {
    pthread_key_t key;
    if (pthread_key_create(&key, nullptr) != 0) return tlsOutOfIndexes;
    return static_cast<uint32_t>(key);
}

void tlsFree(uint32_t index) { pthread_key_delete(static_cast<pthread_key_t>(index)); }

bool tlsSet(uint32_t index, const void* value) {
    return pthread_setspecific(static_cast<pthread_key_t>(index), value) == 0;
}

void* tlsGet(uint32_t index) { return pthread_getspecific(static_cast<pthread_key_t>(index)); }

namespace {
thread_local uint32_t t_threadId = 0;
}  // namespace

uint32_t currentThreadId() {
    if (t_threadId == 0) t_threadId = static_cast<uint32_t>(syscall(SYS_gettid));
    return t_threadId;
}

void refreshCurrentThreadId() { t_threadId = static_cast<uint32_t>(syscall(SYS_gettid)); }

uint32_t currentProcessId() { return static_cast<uint32_t>(getpid()); }

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran
