// legacy.h
//
// Umbrella header of the older global-namespace interface (CTime, CMutex, CGuard, CPacket,
// IPacketManager) and the global-namespace short log functions.
#ifndef KERNA_LEGACY_H_
#define KERNA_LEGACY_H_

#include "kerna/legacy/LogShortForms.h"

#endif  // KERNA_LEGACY_H_
