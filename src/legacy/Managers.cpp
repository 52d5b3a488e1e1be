// Managers.cpp
//
// The older thread and timer managers: interfaces whose one implementation each forwards to the
// Tessaran::Kerna manager of the same name. The objects themselves live in libkerna.so
// (LegacyObjects.h).
#include <kerna/kerna3/ThreadManager.h>
#include <kerna/kerna3/Timer.h>
#include <kerna/legacy/Thread.h>
#include <kerna/legacy/Timer.h>

#include "legacy/LegacyObjects.h"

IThreadManager::~IThreadManager() {}

IThreadManager* IThreadManager::instance() { return Tessaran::Kerna::Detail::olderThreadManager(); }

CThreadManager::CThreadManager() {}
CThreadManager::~CThreadManager() {}

void CThreadManager::registerMainThread() {
    Tessaran::Kerna::CThreadManager::instance()->registerMainThread();
}

void CThreadManager::dumpThreads() { Tessaran::Kerna::CThreadManager::instance()->dumpThreads(); }

bool CThreadManager::unregisterThread(int) { return true; }

ITimerManager::~ITimerManager() {}

ITimerManager* ITimerManager::instance() { return Tessaran::Kerna::Detail::olderTimerManager(); }

CTimerManager::CTimerManager() {}
CTimerManager::~CTimerManager() {}

void CTimerManager::dumpTimers() { Tessaran::Kerna::CTimerManager::instance()->dumpTimers(); }
