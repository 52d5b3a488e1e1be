// Semaphore.h
//
// The older global CSemaphore, a counting semaphore with a maximum of 2147483647 and results in
// the older form. A source-level interface: it is not exported from libkerna.so and comes with
// the static companion library kerna_source.
#ifndef KERNA_LEGACY_SEMAPHORE_H_
#define KERNA_LEGACY_SEMAPHORE_H_

class LegacySemaphoreInternal;

/// A counting semaphore. Any thread may pend and post.
class CSemaphore {
public:
    /// `initialCount` from 0 to 2147483647. A semaphore the system refuses is an internal error:
    /// the process ends through the assertion "m_internal->m_handle".
    explicit CSemaphore(int initialCount = 0);
    ~CSemaphore();
    CSemaphore(const CSemaphore&) = delete;
    CSemaphore& operator=(const CSemaphore&) = delete;

    /// Waits without limit for a count; 0 when one was taken (the system's wait result).
    int pend();
    /// Adds one count: non-zero on success, 0 at the maximum (unlike Tessaran::Kerna::CSemaphore,
    /// whose post gives 0 and -1).
    int post();

private:
    ::LegacySemaphoreInternal* m_internal;
};

#endif  // KERNA_LEGACY_SEMAPHORE_H_
