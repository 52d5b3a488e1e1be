// AtomicCount.cpp
//
// Detail::atomic_count: full-fence 32-bit increments and decrements.
#include "kerna/kerna3/AtomicCount.h"

namespace Tessaran {
namespace Kerna {
namespace Detail {

atomic_count::atomic_count(long value) : m_value(static_cast<int32_t>(value)) {}

long atomic_count::operator++() { return __atomic_add_fetch(&m_value, 1, __ATOMIC_SEQ_CST); }

long atomic_count::operator--() { return __atomic_sub_fetch(&m_value, 1, __ATOMIC_SEQ_CST); }

atomic_count::operator long() const { return __atomic_load_n(&m_value, __ATOMIC_RELAXED); }

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran
