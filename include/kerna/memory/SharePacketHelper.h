// SharePacketHelper.h
//
// CSharePacketHelper: conversions between a packet and its shared form. No shared memory is
// involved: both conversions are plain handle copies.

#ifndef KERNA_MEMORY_SHAREPACKETHELPER_H_
#define KERNA_MEMORY_SHAREPACKETHELPER_H_

#include <kerna/kerna3/Defs.h>
#include <kerna/memory/Packet.h>

namespace Tessaran {
namespace Memory {

/// Argument record of initSharePacket; only named by this library.
struct BaseArg;

class KERNA_API CSharePacketHelper {
public:
    /// The one process-wide helper (a static object; touches no packet manager).
    static CSharePacketHelper* instance();

    /// A handle sharing `packet`'s record.
    CPacket toDescribePacket(const CPacket& packet);

    /// A handle sharing `packet`'s record.
    CPacket toOriginalPacket(const CPacket& packet);

    /// Always false; `arg` is not read.
    bool initSharePacket(BaseArg* arg);
};

}  // namespace Memory
}  // namespace Tessaran

#endif  // KERNA_MEMORY_SHAREPACKETHELPER_H_
