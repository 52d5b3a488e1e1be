// ReferencePaths.cpp - the switch that forces the reference paths (off at start).

#include "base/ReferencePaths.h"

namespace Tessaran {
namespace Kerna {
namespace Detail {

std::atomic<bool> g_referencePathsOnly{false};

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran
