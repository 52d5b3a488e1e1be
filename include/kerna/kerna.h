// kerna.h
//
// Umbrella header of the Tessaran:: interface of libkerna: includes every public header.
#ifndef KERNA_KERNA_H_
#define KERNA_KERNA_H_

#include "kerna/kerna3/Defs.h"
#include "kerna/kerna3/Function.h"
#include "kerna/kerna3/PrintLog.h"
#include "kerna/kerna3/Mutex.h"
#include "kerna/kerna3/RecursiveMutex.h"
#include "kerna/kerna3/ReadWriteMutex.h"
#include "kerna/kerna3/Semaphore.h"
#include "kerna/kerna3/ThreadSpecific.h"
#include "kerna/kerna3/AtomicCount.h"
#include "kerna/kerna3/Process.h"
#include "kerna/kerna3/testing/SimulatedClock.h"

#endif  // KERNA_KERNA_H_
