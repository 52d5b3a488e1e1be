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

/// Registers routines run around every fork of the process: `prepare` in the forking thread
/// before the fork, `parent` in it after, `child` in the child's only thread. Routines of later
/// registrations prepare first and finish last. False (errno set) if refused.
bool registerForkHandlers(void (*prepare)(), void (*parent)(), void (*child)());

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_PLATFORM_PROCESS_H_
