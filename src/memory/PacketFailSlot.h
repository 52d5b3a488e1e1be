// PacketFailSlot.h
//
// The slot of the packet fail callback. setPacketFailCallback is built twice, into libkerna.so
// and into the static companion library kerna_source, but the slot that the packet code reads
// lives in libkerna.so alone: libkerna.so exports the function below for the companion library's
// copy (declared in no installed header, meant for nothing else).
#ifndef KERNA_SRC_MEMORY_PACKETFAILSLOT_H_
#define KERNA_SRC_MEMORY_PACKETFAILSLOT_H_

#include "kerna/kerna3/Defs.h"
#include "kerna/kerna3/Function.h"

namespace Tessaran {
namespace Memory {
namespace Detail {

/// Replaces the callback in the slot under the slot's lock, logging
/// "set MallocFailStatus callback success!" at level 4.
KERNA_API void storePacketFailCallback(const Kerna::TFunction1<void, int>& callback);

}  // namespace Detail
}  // namespace Memory
}  // namespace Tessaran

#endif  // KERNA_SRC_MEMORY_PACKETFAILSLOT_H_
