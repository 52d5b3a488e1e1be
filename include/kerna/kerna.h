// kerna.h
//
// Umbrella header of the Tessaran:: interface of libkerna: includes every public header.
#ifndef KERNA_KERNA_H_
#define KERNA_KERNA_H_

#include "kerna/kerna3/Defs.h"
#include "kerna/kerna3/Function.h"
#include "kerna/kerna3/FlexString.h"
#include "kerna/kerna3/PrintLog.h"
#include "kerna/kerna3/LogControl.h"
#include "kerna/kerna3/Mutex.h"
#include "kerna/kerna3/RecursiveMutex.h"
#include "kerna/kerna3/ReadWriteMutex.h"
#include "kerna/kerna3/Semaphore.h"
#include "kerna/kerna3/ThreadSpecific.h"
#include "kerna/kerna3/AtomicCount.h"
#include "kerna/kerna3/Process.h"
#include "kerna/kerna3/Error.h"
#include "kerna/kerna3/Time.h"
#include "kerna/kerna3/testing/SimulatedClock.h"
#include "kerna/kerna3/FlexString.h"
#include "kerna/kerna3/Timer.h"
#include "kerna/kerna3/Thread.h"
#include "kerna/kerna3/ThreadManager.h"
#include "kerna/kerna3/Time.h"
#include "kerna/memory/Buffer.h"
#include "kerna/memory/MemPool.h"
#include "kerna/memory/Packet.h"
#include "kerna/memory/PacketManager.h"
#include "kerna/memory/SharePacketHelper.h"
#include "kerna/utils/Charset.h"
#include "kerna/utils/IntervalSet.h"
#include "kerna/utils/Base16.h"
#include "kerna/utils/Base64.h"
#include "kerna/utils/StringUtil.h"
#include "kerna/utils/IpAddress.h"
#include "kerna/utils/Crc.h"
#include "kerna/utils/Md5.h"
#include "kerna/utils/Sha1.h"
#include "kerna/utils/Aes.h"
#include "kerna/utils/TripleDes.h"

#endif  // KERNA_KERNA_H_
