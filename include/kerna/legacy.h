// legacy.h
//
// Umbrella header of the older global-namespace interface: CTime and CTimeRecord, CMutex, CGuard,
// CPacket, IPacketManager, CSemaphore, CThread, IThreadManager, CTimer, ITimerManager, CObject,
// CFile, CFileFind, CFSOperation with hookFileSystemTable, the delegates, and the global short
// log functions. A program may include it beside
// <kerna/kerna.h>: the global names and the Tessaran:: ones stand apart, and neither header
// brings one set into the other's scope. Where both sets are visible, a name that both have
// (CMutex, CGuard, CTime, CThread, CSemaphore, CTimer, the short log functions) is ambiguous
// under `using namespace Tessaran::Kerna`; a program names the new one qualified or brings it in
// with a using-declaration (`using Tessaran::Kerna::CMutex;`), which hides the global one in its
// scope. The delegates (TFunction0 to TFunction5) and SystemTime are the same entities under
// both names and never clash.
//
// The thread, timer, semaphore and file classes are source-level interfaces: a program that uses
// them links the static companion library kerna_source beside libkerna.so.
#ifndef KERNA_LEGACY_H_
#define KERNA_LEGACY_H_

#include "kerna/legacy/File.h"
#include "kerna/legacy/FileFind.h"
#include "kerna/legacy/FileSystem.h"
#include "kerna/legacy/Function.h"
#include "kerna/legacy/LogShortForms.h"
#include "kerna/legacy/Mutex.h"
#include "kerna/legacy/Packet.h"
#include "kerna/legacy/Semaphore.h"
#include "kerna/legacy/Thread.h"
#include "kerna/legacy/Time.h"
#include "kerna/legacy/Timer.h"

#endif  // KERNA_LEGACY_H_
