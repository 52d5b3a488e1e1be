// Tls.h
//
// Private platform interface: thread-local slots and thread and process ids.
#ifndef KERNA_SRC_PLATFORM_TLS_H_
#define KERNA_SRC_PLATFORM_TLS_H_

#include <cstdint>

namespace Tessaran {
namespace Kerna {
namespace Detail {
namespace Platform {

const uint32_t tlsOutOfIndexes = 0xFFFFFFFFu;

/// A new slot index, or tlsOutOfIndexes.
uint32_t tlsAlloc();
void tlsFree(uint32_t index);
/// False if the platform refuses.
bool tlsSet(uint32_t index, const void* value);
void* tlsGet(uint32_t index);

/// The kernel's id of the calling thread (cached per thread: reading it is cheap).
uint32_t currentThreadId();
/// Reads the calling thread's id afresh (in a forked child, whose thread has a new one).
void refreshCurrentThreadId();
/// The process id.
uint32_t currentProcessId();

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_PLATFORM_TLS_H_
