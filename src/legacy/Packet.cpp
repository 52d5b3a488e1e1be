// Packet.cpp
//
// The older global CPacket, a wrapper of one heap Tessaran::Memory::CPacket, and IPacketManager
// with its one implementation, the global CPacketManager, which forwards every operation to the
// new pool manager. The header size of the older interface is one process-wide value.
#include <kerna/legacy/Packet.h>
#include <kerna/memory/Packet.h>
#include <kerna/memory/PacketManager.h>

#include <atomic>
#include <cstring>
#include <new>

#include "base/ProcessObject.h"

namespace Memory = Tessaran::Memory;

namespace {

// The extra-data size that every CPacket made with a size asks for; IPacketManager::config
// changes it. Read by packets on any thread.
std::atomic<uint32_t> g_headerSize{128};

// A wrapper never holds an invalid handle: a construction that gave one is undone.
Memory::CPacket* keepValid(Memory::CPacket* packet) {
    if (packet != nullptr && !packet->valid()) {
        delete packet;
        return nullptr;
    }
    return packet;
}

Memory::CPacket* copyOf(const Memory::CPacket& packet) {
    return packet.valid() ? new Memory::CPacket(packet) : nullptr;
}

}  // namespace

CPacket::CPacket() : m_packet(nullptr) {}

CPacket::CPacket(uint32_t size)
    : m_packet(keepValid(new Memory::CPacket(size, g_headerSize.load(std::memory_order_relaxed)))) {
}

CPacket::CPacket(unsigned int size, TFunction2<void, void*, size_t> fn, void* arg)
    : m_packet(keepValid(
          new Memory::CPacket(size, fn, arg, g_headerSize.load(std::memory_order_relaxed)))) {}

CPacket::CPacket(const ::CPacket& other)
    : m_packet(other.m_packet != nullptr ? new Memory::CPacket(*other.m_packet) : nullptr) {}

CPacket::CPacket(const Memory::CPacket& packet) : m_packet(copyOf(packet)) {}

CPacket::~CPacket() { delete m_packet; }

::CPacket& CPacket::operator=(const ::CPacket& other) {
    if (other.m_packet == nullptr) {
        delete m_packet;
        m_packet = nullptr;
    } else if (m_packet == nullptr) {
        m_packet = new Memory::CPacket(*other.m_packet);
    } else {
        *m_packet = *other.m_packet;
    }
    return *this;
}

CPacket::operator Memory::CPacket() const {
    return m_packet != nullptr ? *m_packet : Memory::CPacket();
}

uint32_t CPacket::GetSize() const {
    return m_packet != nullptr ? static_cast<uint32_t>(m_packet->capacity()) : 0;
}

uint32_t CPacket::GetLength() const {
    return m_packet != nullptr ? static_cast<uint32_t>(m_packet->size()) : 0;
}

uint32_t CPacket::SetLength(uint32_t length) {
    return m_packet != nullptr && m_packet->resize(length) ? 1 : 0;
}

uint32_t CPacket::GetLeft() const {
    return m_packet != nullptr ? static_cast<uint32_t>(m_packet->capacity() - m_packet->size()) : 0;
}

uint32_t CPacket::PutBuffer(void* data, uint32_t length) {
    return m_packet != nullptr ? static_cast<uint32_t>(m_packet->putBuffer(data, length)) : 0;
}

unsigned char* CPacket::GetBuffer() const {
    return m_packet != nullptr ? m_packet->getBuffer() : nullptr;
}

unsigned char* CPacket::GetHeader() const {
    return m_packet != nullptr ? static_cast<unsigned char*>(m_packet->getExtraData()) : nullptr;
}

uint32_t CPacket::GetHeaderSize() const {
    return m_packet != nullptr ? static_cast<uint32_t>(m_packet->getExtraSize()) : 0;
}

void CPacket::ClearHeader() {
    if (m_packet == nullptr) return;
    void* header = m_packet->getExtraData();
    if (header != nullptr) std::memset(header, 0, m_packet->getExtraSize());
}

bool CPacket::Valid() const { return m_packet != nullptr; }

bool CPacket::Invalid() const { return m_packet == nullptr; }

// ---- the manager ---------------------------------------------------------------------------

namespace {

/// The one implementation of IPacketManager: no data, every operation forwarded.
class CPacketManager final : public IPacketManager {
public:
    uint64_t GetBufferSize() override {
        return Memory::CPacketManager::instance()->getBufferSize();
    }
    uint64_t GetFreeSize() override { return Memory::CPacketManager::instance()->getFreeSize(); }
    void DumpNodes() override { Memory::CPacketManager::instance()->dumpNodes(); }

    void published() {}
    void atProcessExit() {}
};

}  // namespace

IPacketManager::~IPacketManager() {}

IPacketManager* IPacketManager::instance() {
    return Tessaran::Kerna::Detail::ProcessObject<CPacketManager>::get();
}

void IPacketManager::config(int totalSize, int chunkSize, int headerSize) {
    Memory::CPacketManager::PoolParameter parameter;
    parameter.totalSize = static_cast<uint64_t>(static_cast<int64_t>(totalSize));
    parameter.chunkSize = static_cast<uint64_t>(static_cast<int64_t>(chunkSize));
    parameter.alignSize = 4;
    g_headerSize.store(static_cast<uint32_t>(headerSize), std::memory_order_relaxed);
    Memory::CPacketManager::config(Memory::CPacketManager::policyPoolData, nullptr, &parameter);
}
