// Process.h
//
// Process helpers (starting a command and waiting for it, the process id) and the calling
// thread's function-reuse value, which a delegate with a reuse tag stores before its call.
#ifndef KERNA_KERNA3_PROCESS_H_
#define KERNA_KERNA3_PROCESS_H_

#include "kerna/kerna3/Defs.h"

namespace Tessaran {
namespace Kerna {

/// Starts `command` (program and arguments split at blanks, "..." groups; no shell, no inherited
/// descriptors) and waits for it. 0 when it ran (its exit code is not looked at), 1 for a null
/// command, -1 for a command of 260 characters or more (logged at level 2) or one that could not
/// start (logged at level 3).
KERNA_API int systemCall(const char* command);

/// The process id, widened to 64 bits.
KERNA_API unsigned long long getCurrectProcessID();

/// The reuse value the calling thread stored last, or 0.
KERNA_API unsigned int getCurrentFunctionReuse();

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_KERNA3_PROCESS_H_
