// ReferencePaths.h
//
// The switch that forces the library's reference paths where a faster path stands beside one
// (the one-atomic read holds of the readers-writer lock, the integer division of the monotonic
// clock). Both paths give the same results; tests and benchmarks flip the switch to compare
// them, and a user's diagnosis can rule the faster paths out.
#ifndef KERNA_SRC_BASE_REFERENCEPATHS_H_
#define KERNA_SRC_BASE_REFERENCEPATHS_H_

#include <atomic>

namespace Tessaran {
namespace Kerna {
namespace Detail {

extern std::atomic<bool> g_referencePathsOnly;

/// With `on` true the reference paths are taken from the next call on (a readers-writer lock
/// chooses at construction). Any thread may call it.
inline void setReferencePathsOnly(bool on) {
    g_referencePathsOnly.store(on, std::memory_order_relaxed);
}

inline bool referencePathsOnly() { return g_referencePathsOnly.load(std::memory_order_relaxed); }

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_BASE_REFERENCEPATHS_H_
