// Timer.h
//
// The older global CTimer, ITimerManager and CTimerManager, and CObject, the class whose member
// functions older code hands to CTimer::start. They hold no logic of their own: a global CTimer
// owns a Tessaran::Kerna::CTimer made with its name, and the global timer manager forwards to
// Tessaran::Kerna::CTimerManager. A source-level interface: not exported from libkerna.so; it
// comes with the static companion library kerna_source.
#ifndef KERNA_LEGACY_TIMER_H_
#define KERNA_LEGACY_TIMER_H_

#include "kerna/legacy/Function.h"

/// Base of the classes whose member functions older code hands to CTimer::start.
class CObject {};

class LegacyTimerInternal;

/// A timer of the older interface. Every operation behaves, reports and logs as the operation of
/// the same name of Tessaran::Kerna::CTimer; callbacks run on the new timer pool.
class CTimer {
public:
    /// At most 31 characters of `name` are kept (a null name is empty).
    explicit CTimer(const char* name);
    /// Stops the timer and waits for a running callback, then frees it.
    virtual ~CTimer();
    CTimer(const CTimer&) = delete;
    CTimer& operator=(const CTimer&) = delete;

    /// Arms the timer with `proc`, which gets `param` (its low 32 bits): first call `delay` ms
    /// from now, then every `period` ms (0: once), each under a watch-dog of `timeout` ms.
    bool start(TFunction1<void, unsigned long> proc, unsigned int delay, unsigned int period,
               unsigned long param, unsigned int timeout);
    /// The same with the member function `proc` of `object`.
    bool start(::CObject* object, void (::CObject::*proc)(unsigned long), unsigned int delay,
               unsigned int period, unsigned long param, unsigned int timeout);
    bool stop(bool callNow = false);
    bool stopAndWait();
    void setPeriodTime(unsigned int period);
    const char* getName();
    void setName(const char* name);
    bool isStarted();
    bool isCalled();
    bool isRunning();

private:
    ::LegacyTimerInternal* m_internal;
};

/// The older face of the timer manager.
class ITimerManager {
public:
    /// Prints the timer list at level 4, as Tessaran::Kerna::CTimerManager::dumpTimers.
    virtual void dumpTimers() = 0;
    virtual ~ITimerManager();

    /// The one global CTimerManager, made when the library is loaded.
    static ITimerManager* instance();
};

/// The implementation of ITimerManager: forwards to Tessaran::Kerna::CTimerManager::instance().
class CTimerManager : public ITimerManager {
public:
    void dumpTimers() override;

private:
    friend class LegacyTimerManagerObject;
    CTimerManager();
    ~CTimerManager() override;
};

#endif  // KERNA_LEGACY_TIMER_H_
