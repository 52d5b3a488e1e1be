// ReadWriteMutex.h
//
// CReadWriteMutex: many readers or one writer, in one of two modes fixed at construction.
// priorityDefault: readers pass one short lock; a writer keeps that lock and yields until the
// readers are gone. priorityWriter: a blocked writer holds back new readers, a leaving writer
// hands over to the next writer before any reader, and all blocked readers are released together.
#ifndef KERNA_KERNA3_READWRITEMUTEX_H_
#define KERNA_KERNA3_READWRITEMUTEX_H_

#include "kerna/kerna3/Defs.h"

namespace Tessaran {
namespace Kerna {

class RWMutexInternal;
class RWMutexInspector;

/// The two modes of CReadWriteMutex. The underlying type is int, so that any int value converts
/// to it (the constructor refuses the others).
enum RWPriority : int { priorityDefault = 0, priorityWriter = 1 };

/// Readers-writer lock. A thread must not ask for a write hold while it has a read hold (it would
/// wait for ever). In priorityDefault mode a writer may also take a read hold; its first leave()
/// gives up the read hold.
class KERNA_API CReadWriteMutex {
public:
    /// priorityDefault mode.
    CReadWriteMutex();
    /// A value other than 0 and 1 logs at level 3 and gives priorityDefault mode.
    explicit CReadWriteMutex(RWPriority priority);
    /// In priorityDefault mode, a lock still held is logged at level 2 (and a write hold left).
    ~CReadWriteMutex();
    CReadWriteMutex(const CReadWriteMutex&) = delete;
    CReadWriteMutex& operator=(const CReadWriteMutex&) = delete;

    /// Always true.
    bool enterReading();
    /// Always true.
    bool enterWriting();
    /// Releases a read hold if there is one, else a write hold; false if nothing was held
    /// (logged at level 2 in priorityDefault mode, silent in priorityWriter mode).
    bool leave();

private:
    friend class RWMutexInspector;  // the lock's own tests read its counters
    RWMutexInternal* m_internal;
};

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_KERNA3_READWRITEMUTEX_H_
