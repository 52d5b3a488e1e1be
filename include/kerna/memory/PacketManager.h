// PacketManager.h
//
// CPacketManager: the process-wide memory source behind every packet. A program picks a
// policy, optional memory operators and pool parameters with config() before the first use;
// from the first use on they are frozen. Under a pool policy the manager runs a buddy
// allocator over one region taken from the configured malloc operator; under the system
// policy every request goes straight to the operators.

#ifndef KERNA_MEMORY_PACKETMANAGER_H_
#define KERNA_MEMORY_PACKETMANAGER_H_

#include <kerna/kerna3/Defs.h>
#include <kerna/kerna3/Function.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace Tessaran {
namespace Memory {

class PacketManagerInternal;

/// The exported facade of the packet pool manager. Reached through instance(); not copyable.
class KERNA_API CPacketManager {
public:
    /// Where packet memory comes from.
    enum Policy {
        policyKeep = 0,      ///< config() only: keep the stored policy.
        policySystem = 1,    ///< The default: every request goes to the memory operators.
        policyPool = 2,      ///< Buddy pool; one pool block holds payload, extra data and record.
        policyPoolData = 3,  ///< Buddy pool for payloads; extra data and record on the heap.
        policyExternal = 4   ///< No own memory: only packets over a caller's buffer exist.
    };

    /// Pool parameters. chunkSize: at least 1024 and a power of two; totalSize: a multiple of
    /// chunkSize; alignSize: at least 4, used as the largest power of two not above it.
    struct PoolParameter {
        uint64_t totalSize = 2097152;
        uint64_t chunkSize = 1024;
        uint64_t alignSize = 4;
    };

    /// Memory operators; by default the run-time library's malloc, free and memcpy.
    struct MemoryOperator {
        MemoryOperator() : malloc(&std::malloc), free(&std::free), memcpy(&std::memcpy) {}
        Kerna::TFunction1<void*, size_t> malloc;
        Kerna::TFunction1<void, void*> free;
        Kerna::TFunction3<void*, void*, const void*, size_t> memcpy;
    };

    /// Stores settings for the manager that the first use will build. A non-zero `policy`
    /// replaces the stored one; a non-null `param` or `memop` replaces the stored group (a
    /// bad group ends the process through the assertion path). After the first use nothing
    /// changes and a warning is logged. Takes no lock: meant for start-up, before threads.
    static void config(Policy policy, MemoryOperator* memop, PoolParameter* param);

    /// Copies out the stored policy and parameters. Any time; takes no lock.
    static void getConfig(Policy& policy, PoolParameter& param);

    /// The process-wide facade, created on first call (which freezes the configuration).
    static CPacketManager* instance();

    /// The region as the malloc operator returned it (unaligned); null without a region.
    unsigned char* getPoolBuffer();

    /// Memory from the policy's source; null when there is none. The block's real size
    /// (a power-of-two number of chunks under a pool policy) is not passed back.
    void* malloc(size_t size);

    /// Gives back what malloc returned; null is ignored. Under a pool policy a pointer
    /// below the region ends the process through the assertion "id >= 0"; any other
    /// pointer that is not the start of a live block is refused with a level 2 line.
    void free(void* p);

    /// Copies `size` bytes. Under a pool policy only region-to-region copies reach the
    /// configured memcpy operator; all others use the run-time library's memcpy.
    void* memcpy(void* dst, const void* src, size_t size);

    /// totalSize under a pool policy (2 or 3), else 0.
    uint64_t getBufferSize();

    /// Bytes in free blocks under a pool policy (2 or 3), else 0.
    uint64_t getFreeSize();

    /// Switches the map of live blocks by allocating thread on or off; off also empties it.
    void enableNodesStatistics(bool enable);

    /// Logs (level 4) the live blocks by thread when statistics are on, then the free lists
    /// under policy 2, a "SYS Policy" line under 1 and 3, nothing under 4.
    void dumpNodes();

    /// Always false, with a level 2 line: the advise mode does not exist.
    bool advisePacket();

    /// Clears the pointer; the internal object stays. The process-wide facade is never
    /// destroyed: it stays valid up to the end of the process.
    ~CPacketManager();

    CPacketManager(const CPacketManager&) = delete;
    CPacketManager& operator=(const CPacketManager&) = delete;

private:
    friend class PacketManagerInternal;
    explicit CPacketManager(PacketManagerInternal* internal);
    PacketManagerInternal* m_internal;
};

}  // namespace Memory
}  // namespace Tessaran

#endif  // KERNA_MEMORY_PACKETMANAGER_H_
