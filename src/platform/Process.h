// Process.h
//
// Private platform interface: starting a program and waiting for it; work around a fork.
#ifndef KERNA_SRC_PLATFORM_PROCESS_H_
#define KERNA_SRC_PLATFORM_PROCESS_H_

namespace Tessaran {
namespace Kerna {
namespace Detail {
namespace Platform {

/// Starts the program named by the first word of `commandLine` (words split at blanks, "..."
/// groups; looked up on PATH), with no descriptor beyond 0-2 inherited, the caller's environment
/// and directory, and waits for it. False (errno set) if it could not start.
bool runProcessAndWait(const char* commandLine);

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_PLATFORM_PROCESS_H_
