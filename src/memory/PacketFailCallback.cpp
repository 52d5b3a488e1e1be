// PacketFailCallback.cpp
//
// setPacketFailCallback, a source-level interface: this unit is also part of the static
// companion library, and it stores into the one slot that libkerna.so keeps.
#include <kerna/memory/Packet.h>

#include "memory/PacketFailSlot.h"

namespace Tessaran {
namespace Memory {

void setPacketFailCallback(Kerna::TFunction1<void, int> callback) {
    Detail::storePacketFailCallback(callback);
}

}  // namespace Memory
}  // namespace Tessaran
