// FunctionReuse.h
//
// The process-wide thread-local slot behind getCurrentFunctionReuse, made at library start.
#ifndef KERNA_SRC_SYNC_FUNCTIONREUSE_H_
#define KERNA_SRC_SYNC_FUNCTIONREUSE_H_

#include "kerna/kerna3/ThreadSpecific.h"

namespace Tessaran {
namespace Kerna {
namespace Detail {

/// The slot that holds each thread's function-reuse value.
CThreadSpecific& functionReuseSlot();

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_SYNC_FUNCTIONREUSE_H_
