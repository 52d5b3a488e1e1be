// Packet.h
//
// CPacket: a value handle on a reference-counted block of memory, a payload with a current
// size and a fixed capacity and an optional extra-data area beside it. Copying a handle shares
// the block. A packet owns memory from the packet manager, wraps a caller's buffer and calls
// back when the last handle goes, receives a caller's buffer later (attached), or is a view on
// a range of another packet that keeps the other packet alive.

#ifndef KERNA_MEMORY_PACKET_H_
#define KERNA_MEMORY_PACKET_H_

#include <kerna/kerna3/Defs.h>
#include <kerna/kerna3/Function.h>

#include <cstddef>

namespace Tessaran {
namespace Memory {

class PacketInternal;

/// A handle without a record is an invalid packet: every accessor gives 0, null or false.
/// Handles to one record may be copied and dropped on different threads (the count is
/// atomic); one handle, and the payload, carry no lock.
class KERNA_API CPacket {
public:
    /// An invalid packet.
    CPacket();

    /// An owned packet of `size` payload bytes (size() reports `size`, bytes not cleared)
    /// and `extraSize` bytes of extra data, from the packet manager. Under a pool policy the
    /// capacity is that of the whole real block. Invalid when the memory can't be had
    /// (logged, fail callback called) or under policyExternal (level 6 line).
    CPacket(size_t size, size_t extraSize);

    /// An external packet over the caller's `buffer`: size and capacity `size`. When the
    /// last handle goes, `fn` (if not empty) is called with the buffer and the size of that
    /// moment. Invalid for a null buffer; an invalid packet never calls `fn`.
    CPacket(void* buffer, size_t size, Kerna::TFunction2<void, void*, size_t> fn);

    /// The same with an extra-data area of `extraSize` bytes from the heap.
    CPacket(void* buffer, size_t size, size_t extraSize, Kerna::TFunction2<void, void*, size_t> fn);

    /// An attached packet: size and capacity `size`, no buffer until putBuffer stores one
    /// (nothing is copied). When the last handle goes and a buffer was stored, `fn` (if not
    /// empty) is called with `arg` and the capacity.
    CPacket(unsigned int size, Kerna::TFunction2<void, void*, size_t> fn, void* arg, size_t extraSize);

    /// A view on `size` bytes of `parent` from `offset`: shares the parent's memory (no
    /// copy) and holds a handle on the parent until the view's record goes. Refused (invalid,
    /// level 3 line) unless offset < parent.size() and offset + size <= parent.size().
    CPacket(const CPacket& parent, size_t offset, size_t size, size_t extraSize);

    /// Shares `other`'s record.
    CPacket(const CPacket& other);

    /// Drops this handle's reference.
    virtual ~CPacket();

    /// Shares `other`'s record and drops the former one; nothing when both share already.
    CPacket& operator=(const CPacket& other);

    /// Bytes in use.
    size_t size() const;

    /// Appends up to capacity() - size() bytes of `data` and returns the count taken (an
    /// attached packet instead stores `data` as its buffer and `length` as its size).
    /// Never grows a packet. 0 for a null `data` (logged) or an invalid packet.
    size_t putBuffer(void* data, size_t length);

    /// First payload byte; null for an invalid packet or an attached one without buffer.
    unsigned char* getBuffer() const;

    /// Drops the reference and becomes invalid.
    void reset();

    /// True when the handle has a record.
    bool valid() const;

    /// Sets the size; false (and nothing changes) when `size` is above capacity().
    bool resize(size_t size);

    /// Bytes available at getBuffer().
    size_t capacity() const;

    /// The extra-data area; null whenever its size is 0.
    void* getExtraData() const;

    /// The extra-data size asked for by the creator.
    size_t getExtraSize() const;

private:
    PacketInternal* m_internal;
};

/// Stores the callback told of every failed packet allocation, with the status 0x1000000d
/// (MallocFailStatus), and logs at level 4. The callback runs on the failing thread under the
/// slot's lock (other threads' failures wait for it). It may make packets: a failure inside
/// the callback on the same thread logs its lines and gives an invalid packet, but does not
/// call the callback again. A source-level interface: not exported from libkerna.so; it comes
/// with the static companion library kerna_source.
void setPacketFailCallback(Kerna::TFunction1<void, int> callback);

}  // namespace Memory
}  // namespace Tessaran

#endif  // KERNA_MEMORY_PACKET_H_
