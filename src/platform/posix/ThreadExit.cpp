// ThreadExit.cpp
//
// Only POSIX code; no library logic. pthread_exit unwinds the calling thread's stack with a
// forced unwind, so destructors (among them the thread object's own end-of-body guard) run.
#include "platform/ThreadExit.h"

#include <pthread.h>

namespace Tessaran {
namespace Kerna {
namespace Detail {
namespace Platform {

void exitCurrentThread() { pthread_exit(nullptr); }

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran
