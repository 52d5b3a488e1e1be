// legacy.h
//
// Umbrella header of the older global-namespace interface: CTime and CTimeRecord, CMutex, CGuard,
// CPacket, IPacketManager, CSemaphore, CThread, IThreadManager, CTimer, ITimerManager, CObject,
// the delegates, and the global short log functions. A program may include it beside
// <kerna/kerna.h>: the global names and the Tessaran:: ones stand apart, and a
// `using namespace Tessaran::Kerna` is the program's own choice of where the new names win.
//
// The thread, timer and semaphore classes are source-level interfaces: a program that uses them
// links the static companion library kerna_source beside libkerna.so.
#ifndef KERNA_LEGACY_H_
#define KERNA_LEGACY_H_

#include "kerna/legacy/Function.h"
#include "kerna/legacy/LogShortForms.h"
#include "kerna/legacy/Mutex.h"
#include "kerna/legacy/Packet.h"
#include "kerna/legacy/Semaphore.h"
#include "kerna/legacy/Thread.h"
#include "kerna/legacy/Time.h"
#include "kerna/legacy/Timer.h"

#endif  // KERNA_LEGACY_H_
