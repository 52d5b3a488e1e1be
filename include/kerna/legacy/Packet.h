// Packet.h
//
// The older global CPacket and IPacketManager, over Tessaran::Memory::CPacket and
// Tessaran::Memory::CPacketManager. A global CPacket wraps one heap handle of the new class (none
// for an invalid packet) and asks every packet it creates with a size for an extra-data area of
// the process-wide header size (128 bytes until IPacketManager::config changes it), which the
// older interface calls the header. Sizes and results are 32-bit.
#ifndef KERNA_LEGACY_PACKET_H_
#define KERNA_LEGACY_PACKET_H_

#include <cstddef>
#include <cstdint>

#include "kerna/kerna3/Defs.h"
#include "kerna/legacy/Function.h"

namespace Tessaran {
namespace Memory {
class CPacket;
}  // namespace Memory
}  // namespace Tessaran

/// A packet of the older interface. Invalid when it wraps nothing: then every getter gives 0 or
/// null, PutBuffer and SetLength give 0 and ClearHeader does nothing. A fresh packet's length
/// equals the size asked for, so SetLength(0) comes before PutBuffer fills it from the start.
/// One object has no lock; wrappers of one block may live on different threads.
class KERNA_API CPacket {
public:
    /// An invalid packet.
    CPacket();
    /// A packet of `size` bytes with a header of the process-wide header size, from the packet
    /// manager; invalid when the memory can't be had (reported as for the new class).
    CPacket(uint32_t size);
    /// An attached packet of `size` bytes with a header of the process-wide header size: no
    /// buffer until PutBuffer stores one; `fn` gets `arg` and the size when the last wrapper goes.
    CPacket(unsigned int size, TFunction2<void, void*, size_t> fn, void* arg);
    /// A wrapper sharing `other`'s block; invalid when `other` is.
    CPacket(const ::CPacket& other);
    /// A wrapper sharing the block of a new-class packet; invalid when `packet` is.
    CPacket(const Tessaran::Memory::CPacket& packet);
    /// Drops this wrapper's reference.
    ~CPacket();

    /// Shares `other`'s block (making a handle if this packet was invalid); an invalid `other`
    /// makes this packet invalid and drops its reference.
    ::CPacket& operator=(const ::CPacket& other);
    /// A new-class handle on the same block, or an invalid one.
    operator Tessaran::Memory::CPacket() const;

    /// The capacity (not the length).
    uint32_t GetSize() const;
    /// The length: bytes in use.
    uint32_t GetLength() const;
    /// Sets the length: 1, or 0 (and nothing changes) when `length` is above GetSize().
    uint32_t SetLength(uint32_t length);
    /// GetSize() - GetLength().
    uint32_t GetLeft() const;
    /// Appends up to GetLeft() bytes of `data`; the count taken.
    uint32_t PutBuffer(void* data, uint32_t length);
    /// The first payload byte.
    unsigned char* GetBuffer() const;
    /// The header: the packet's extra-data area; null when its size is 0.
    unsigned char* GetHeader() const;
    /// The header's size as asked for when the packet was made.
    uint32_t GetHeaderSize() const;
    /// Zeroes the header; the payload stays.
    void ClearHeader();
    /// True when the packet wraps a block.
    bool Valid() const;
    /// True when the packet wraps nothing.
    bool Invalid() const;

private:
    Tessaran::Memory::CPacket* m_packet;
};

/// The older face of the packet pool manager.
class KERNA_API IPacketManager {
public:
    virtual ~IPacketManager();
    /// The pool's total size (0 unless a pool policy runs).
    virtual uint64_t GetBufferSize() = 0;
    /// Bytes in free pool blocks (0 unless a pool policy runs).
    virtual uint64_t GetFreeSize() = 0;
    /// Prints the pool's nodes as Tessaran::Memory::CPacketManager::dumpNodes does.
    virtual void DumpNodes() = 0;

    /// The one manager of the older interface, made on first call; it forwards to
    /// Tessaran::Memory::CPacketManager::instance().
    static IPacketManager* instance();

    /// Stores `headerSize` as the header size of every later CPacket made with a size, then asks
    /// the packet manager for the pool policy with payloads in the pool (policyPoolData) over
    /// `totalSize` bytes in chunks of `chunkSize`, aligned to 4. The header size changes even
    /// when the manager refuses because it runs already (its refusal line is printed then).
    static void config(int totalSize, int chunkSize, int headerSize);
};

#endif  // KERNA_LEGACY_PACKET_H_
