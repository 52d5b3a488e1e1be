// SharePacketHelper.cpp
//
// Share conversions are plain handle copies: no shared memory is involved.

#include <kerna/memory/SharePacketHelper.h>

namespace Tessaran {
namespace Memory {

CSharePacketHelper* CSharePacketHelper::instance() {
    static CSharePacketHelper helper;
    return &helper;
}

CPacket CSharePacketHelper::toDescribePacket(const CPacket& packet) { return CPacket(packet); }

CPacket CSharePacketHelper::toOriginalPacket(const CPacket& packet) { return CPacket(packet); }

bool CSharePacketHelper::initSharePacket(BaseArg* /*arg*/) { return false; }

}  // namespace Memory
}  // namespace Tessaran
