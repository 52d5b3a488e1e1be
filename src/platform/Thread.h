// Thread.h - the platform threads under CThread.
//
// A started thread is represented by a ThreadHandle: a reference-counted record that outlives
// the thread object's implementation, so that a thread which has finished its body can still
// report its exit code and be waited on, and so that closing the handle never races with the
// thread's own last steps. Declarations only; no OS types. The code is in posix/Thread.cpp.

#ifndef KERNA_SRC_PLATFORM_THREAD_H_
#define KERNA_SRC_PLATFORM_THREAD_H_

namespace Tessaran {
namespace Kerna {
namespace Detail {
namespace Platform {

/// Opaque record of one started thread.
class ThreadHandle;

/// Body of a platform thread; runs once, with the argument given to startThread.
using ThreadEntry = void (*)(void* argument);

/// Exit code of a thread whose body has not ended yet.
constexpr unsigned int kThreadStillActive = 259;

/// Smallest stack handed to the platform; smaller non-zero sizes are raised to it.
constexpr int kThreadMinimumStack = 16384;

/// Starts a detached thread that runs entry(argument). stackSize 0 takes the platform's default,
/// a negative size is refused with EINVAL. Returns once the new thread has published its
/// identifier (threadIdOf is valid at once). On failure returns null, stores the platform's
/// error in *error and in errno. The caller owns one reference to the handle.
ThreadHandle* startThread(ThreadEntry entry, void* argument, int stackSize, int* error);

/// Takes one more reference to the handle, for a caller that uses it outside the lock under
/// which it found it.
void retainThread(ThreadHandle* handle);

/// Drops the caller's reference; the record goes when the thread has also finished with it.
void closeThread(ThreadHandle* handle);

/// The identifier of the thread behind the handle.
int threadIdOf(const ThreadHandle* handle);

/// kThreadStillActive while the thread's body runs, then 0.
unsigned int threadExitCode(ThreadHandle* handle);

/// Waits at most milliSeconds for the thread to end, on the monotonic clock (first busily for a
/// few microseconds if the thread started on another processor than the caller's).
/// True when the thread has ended, false when the time ran out.
bool waitThread(ThreadHandle* handle, unsigned int milliSeconds);

/// Gives the thread one of the levels 15, 2, 1, 0, -1, -2, -15 (higher runs first).
/// Returns 0 or the platform's error; EPERM and EACCES mean the system refused the change
/// for lack of privilege, and the thread keeps the priority it had.
int setThreadPriority(ThreadHandle* handle, int level);

/// Kills the thread: the thread unwinds at its next cancellation point, running destructors.
/// Returns 0, or ESRCH when the thread has already ended (nothing is killed then).
int killThread(ThreadHandle* handle);

/// For a thread started by startThread that waits for its creator's next step: busy-waits about
/// 20 microseconds for ready(context) while the creator was last seen on another processor, and
/// returns whether it became true; false at once on the same processor. The caller then sleeps
/// on its lock as usual.
bool briefWaitForCreator(bool (*ready)(void*), void* context);

/// Lets a pending kill of the calling thread take effect now.
void testCancel();

/// Stops pending and future kills of the calling thread from taking effect (used by the
/// clean-up that runs while a thread unwinds, which must not be interrupted).
void disableCancel();

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_PLATFORM_THREAD_H_
