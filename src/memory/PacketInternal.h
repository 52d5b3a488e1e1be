// PacketInternal.h
//
// The record behind a CPacket: an abstract interface without data, so that a handle only
// needs the pointer. OldPacketInternal (Packet.cpp) is the one implementation.

#ifndef KERNA_SRC_MEMORY_PACKETINTERNAL_H_
#define KERNA_SRC_MEMORY_PACKETINTERNAL_H_

#include <cstddef>
#include <cstdint>

namespace Tessaran {
namespace Memory {

class PacketInternal {
public:
    /// Ends the record and gives its memory back.
    virtual void destroy() = 0;
    /// Count after the increment.
    virtual int32_t addRef() = 0;
    /// Count after the decrement; destroy() at 0.
    virtual int32_t release() = 0;
    virtual size_t putBuffer(void* data, size_t length) = 0;
    virtual unsigned char* getBuffer() = 0;
    virtual uint64_t size() = 0;
    virtual bool resize(uint64_t size) = 0;
    virtual uint64_t capacity() = 0;
    virtual void* getExtraData() = 0;
    virtual uint64_t getExtraSize() = 0;

protected:
    // Records end through destroy(), never through a delete of the interface.
    ~PacketInternal() {}
};

}  // namespace Memory
}  // namespace Tessaran

#endif  // KERNA_SRC_MEMORY_PACKETINTERNAL_H_
