// SignalTemplate.h
//
// The signals TSignal0 to TSignal5: fixed-capacity, lock-protected lists of delegates of one
// signature, and an invocation that calls every attached delegate in slot order, so that one
// event reaches several listeners. The lock is let go around every delegate call: a delegate may
// attach and detach on its own signal, and the invocation finds its place again when the slots
// move meanwhile. A signal allocates only when it is constructed.
#ifndef KERNA_KERNA3_SIGNALTEMPLATE_H_
#define KERNA_KERNA3_SIGNALTEMPLATE_H_

#include <cstdint>

#include "kerna/kerna3/Defs.h"
#include "kerna/kerna3/Function.h"
#include "kerna/kerna3/Mutex.h"
#include "kerna/kerna3/PrintLog.h"
#include "kerna/kerna3/Thread.h"

namespace Tessaran {
namespace Kerna {
namespace Detail {

/// The logic shared by TSignal0 to TSignal5; `Proc` is the matching TFunctionN<void, Args...>.
template <typename Proc, typename... Args>
class SignalBase {
public:
    /// Where attach puts a delegate: the lowest free slot, behind all, or in front of all.
    enum SlotPosition { positionAny = 0, positionBack = 1, positionFront = 2 };

    /// One slot: the delegate, 0 free or 1 attached, and how many invocations are inside it now.
    struct SignalSlot {
        Proc proc;
        uint32_t state;
        unsigned char running;
    };

    /// All `capacity` slots free (a negative capacity counts as 0).
    explicit SignalBase(int capacity)
        : m_slotCapacity(capacity > 0 ? capacity : 0),
          m_slotCount(0),
          m_slots(new SignalSlot[m_slotCapacity > 0 ? m_slotCapacity : 1]()),
          m_invokerThread(-1) {}
    /// Frees the slots; does not wait for running delegates (stop invoking first).
    ~SignalBase() { delete[] m_slots; }
    SignalBase(const SignalBase&) = delete;
    SignalBase& operator=(const SignalBase&) = delete;

    /// Attaches `proc` at `position`. Returns the new number of attached delegates; -2 if `proc`
    /// is attached already, -3 if no slot is free or `position` is unknown, -4 for an empty
    /// `proc`, -5 for an anyReuse() form. Two threads attaching one delegate at the same moment
    /// may both succeed.
    int attach(const Proc& proc, int position = positionAny) {
        if (proc.empty()) return -4;
        if (proc.m_kind == Proc::kindAnyReuse) return -5;
        if (isAttached(proc)) return -2;
        CGuard guard(m_mutex);
        int target = -1;
        if (position == positionAny || position == positionFront) {
            for (int i = 0; i < m_slotCapacity && target < 0; ++i) {
                if (m_slots[i].state == 0 && m_slots[i].running == 0) target = i;
            }
        } else if (position == positionBack) {
            for (int i = m_slotCapacity - 1; i >= 0 && target < 0; --i) {
                if (m_slots[i].state == 0 && m_slots[i].running == 0) target = i;
            }
        } else {
            return -3;
        }
        if (target < 0) return -3;
        if (position == positionBack) {
            for (int i = target; i + 1 < m_slotCapacity; ++i) m_slots[i] = m_slots[i + 1];
            target = m_slotCapacity - 1;
        } else if (position == positionFront) {
            for (int i = target; i > 0; --i) m_slots[i] = m_slots[i - 1];
            target = 0;
        }
        m_slots[target].proc = proc;
        m_slots[target].state = 1;
        m_slots[target].running = 0;
        return ++m_slotCount;
    }

    /// Detaches `proc`. Returns the new number of attached delegates; -1 if no attached slot
    /// matches (or the slot was lost while waiting), -4 for an empty `proc`. An anyReuse() form
    /// removes every tag of its target. With `wait`, from a thread other than the last invoker,
    /// returns only after the running calls of the slot have ended (polling every 10 ms).
    int detach(const Proc& proc, bool wait = false) {
        if (proc.empty()) return -4;
        int moved = 0;
        bool lost = false;
        bool found = false;
        int result = -1;
        {
            CGuard guard(m_mutex);
            const int self = CThread::getCurrentThreadID();
            for (int i = 0; i < m_slotCapacity; ++i) {
                if (m_slots[i].state != 1 || !(m_slots[i].proc == proc)) continue;
                if (wait && m_slots[i].running != 0 && self != m_invokerThread) {
                    while (m_slots[i].running != 0 && m_slots[i].state == 1) {
                        m_mutex.leave();
                        CThread::sleep(10);
                        m_mutex.enter();
                        if (m_slots[i].proc == proc) continue;
                        ++moved;  // an attach at the front or back moved the slot
                        i = find(proc);
                        if (i < 0) break;
                    }
                    if (i < 0) {
                        lost = true;
                        break;
                    }
                }
                m_slots[i].state = 0;
                m_slots[i].proc = Proc();
                m_slots[i].running = 0;
                --m_slotCount;
                found = true;
                if (proc.m_kind != Proc::kindAnyReuse) break;
            }
            if (found && !lost) result = m_slotCount;
        }
        // Lines only now that the lock is left.
        for (int k = 0; k < moved; ++k) {
            note(4, "detach",
                 "the index of the current proc in the slotsList has changed when detach() "
                 "released mutex\n");
        }
        if (lost) note(3, "detach", "detach index is abnormal, can not find back old proc\n");
        return lost ? -1 : result;
    }

    /// True if any slot, free or attached, holds a delegate equal to `proc`; false for an empty
    /// one.
    bool isAttached(const Proc& proc) {
        if (proc.empty()) return false;
        CGuard guard(m_mutex);
        return find(proc) >= 0;
    }

    /// Calls every attached delegate in slot order with copies of the arguments, the lock left
    /// during each call. A delegate attached behind the current one during the invocation is
    /// called by it, one attached in front is not; none is called twice because slots moved.
    void operator()(Args... args) {
        m_mutex.enter();
        m_invokerThread = CThread::getCurrentThreadID();
        bool moved = false;
        bool lost = false;
        for (int i = 0; i < m_slotCapacity; ++i) {
            if (m_slots[i].state != 1) continue;
            const Proc call = m_slots[i].proc;
            const Proc witness = m_slots[i].proc;
            ++m_slots[i].running;
            m_mutex.leave();
            flush(moved, lost);
            call(args...);
            m_mutex.enter();
            if (!(m_slots[i].proc == witness)) {
                moved = true;
                const int now = find(witness);
                if (now < 0) {
                    lost = true;
                    continue;  // its slot has gone: go on with the next index
                }
                i = now;
            }
            if (m_slots[i].running > 0) --m_slots[i].running;
        }
        m_mutex.leave();
        flush(moved, lost);
    }

protected:
    int32_t m_slotCapacity;   ///< number of slots, fixed at construction
    int32_t m_slotCount;      ///< slots attached
    SignalSlot* m_slots;      ///< the slots
    CMutex m_mutex;           ///< guards all of the above; never held across a delegate call
    int32_t m_invokerThread;  ///< thread that last entered the invocation; -1 until then

private:
    /// The index of the first slot whose delegate equals `proc`, or -1. Under m_mutex.
    int find(const Proc& proc) const {
        for (int i = 0; i < m_slotCapacity; ++i) {
            if (m_slots[i].proc == proc) return i;
        }
        return -1;
    }

    /// Prints the lines an invocation noted while it held the lock.
    static void flush(bool& moved, bool& lost) {
        if (moved) {
            note(4, "operator()",
                 "the index of the current proc in the slotsList has changed when operator() "
                 "released mutex\n");
        }
        if (lost)
            note(3, "operator()", "operator() index is abnormal, can not find back old proc\n");
        moved = lost = false;
    }

    static void note(int level, const char* operation, const char* text) {
        static const char* const names[] = {
            "Tessaran::Kerna::TSignal0::", "Tessaran::Kerna::TSignal1::",
            "Tessaran::Kerna::TSignal2::", "Tessaran::Kerna::TSignal3::",
            "Tessaran::Kerna::TSignal4::", "Tessaran::Kerna::TSignal5::"};
        char function[64];
        int n = 0;
        for (const char* p = names[sizeof...(Args) < 6 ? sizeof...(Args) : 5]; *p; ++p)
            function[n++] = *p;
        for (const char* p = operation; *p && n < 63; ++p) function[n++] = *p;
        function[n] = '\0';
        logFilter(level, "Unknown", "SignalTemplate", function, __LINE__, "Unknown", "%s", text);
    }
};

}  // namespace Detail

/// A signal without arguments. Any thread may attach, detach and invoke.
class TSignal0 : public Detail::SignalBase<TFunction0<void> > {
public:
    typedef TFunction0<void> Proc;
    explicit TSignal0(int capacity) : Detail::SignalBase<Proc>(capacity) {}
};

/// A signal with one argument; see TSignal0.
template <typename A1>
class TSignal1 : public Detail::SignalBase<TFunction1<void, A1>, A1> {
public:
    typedef TFunction1<void, A1> Proc;
    explicit TSignal1(int capacity) : Detail::SignalBase<Proc, A1>(capacity) {}
};

/// A signal with two arguments; see TSignal0.
template <typename A1, typename A2>
class TSignal2 : public Detail::SignalBase<TFunction2<void, A1, A2>, A1, A2> {
public:
    typedef TFunction2<void, A1, A2> Proc;
    explicit TSignal2(int capacity) : Detail::SignalBase<Proc, A1, A2>(capacity) {}
};

/// A signal with three arguments; see TSignal0.
template <typename A1, typename A2, typename A3>
class TSignal3 : public Detail::SignalBase<TFunction3<void, A1, A2, A3>, A1, A2, A3> {
public:
    typedef TFunction3<void, A1, A2, A3> Proc;
    explicit TSignal3(int capacity) : Detail::SignalBase<Proc, A1, A2, A3>(capacity) {}
};

/// A signal with four arguments; see TSignal0.
template <typename A1, typename A2, typename A3, typename A4>
class TSignal4 : public Detail::SignalBase<TFunction4<void, A1, A2, A3, A4>, A1, A2, A3, A4> {
public:
    typedef TFunction4<void, A1, A2, A3, A4> Proc;
    explicit TSignal4(int capacity) : Detail::SignalBase<Proc, A1, A2, A3, A4>(capacity) {}
};

/// A signal with five arguments; see TSignal0.
template <typename A1, typename A2, typename A3, typename A4, typename A5>
class TSignal5
    : public Detail::SignalBase<TFunction5<void, A1, A2, A3, A4, A5>, A1, A2, A3, A4, A5> {
public:
    typedef TFunction5<void, A1, A2, A3, A4, A5> Proc;
    explicit TSignal5(int capacity) : Detail::SignalBase<Proc, A1, A2, A3, A4, A5>(capacity) {}
};

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_KERNA3_SIGNALTEMPLATE_H_
