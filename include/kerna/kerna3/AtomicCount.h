// AtomicCount.h
//
// Detail::atomic_count: a 32-bit signed counter with full-fence increment and decrement.
#ifndef KERNA_KERNA3_ATOMICCOUNT_H_
#define KERNA_KERNA3_ATOMICCOUNT_H_

#include <cstdint>

#include "kerna/kerna3/Defs.h"

namespace Tessaran {
namespace Kerna {
namespace Detail {

/// A 32-bit counter (the interface says `long`; the width stays 32 bits, values wrap as such).
class KERNA_API atomic_count {
public:
    explicit atomic_count(long value);
    atomic_count(const atomic_count&) = delete;
    atomic_count& operator=(const atomic_count&) = delete;

    /// Atomic, full fence; returns the new value.
    long operator++();
    /// Atomic, full fence; returns the new value.
    long operator--();
    /// A plain read with no ordering of its own.
    operator long() const;

private:
    int32_t m_value;
};

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_KERNA3_ATOMICCOUNT_H_
