// Packet.cpp
//
// CPacket and its record OldPacketInternal. The record sits inside the memory it describes
// where it can: an owned packet under the system or pool policy is one allocation holding
// payload, extra data and record (the record at the block's end); a view, and an owned packet
// whose payload alone is in the pool, keep extra data and record in one auxiliary heap block.
// External and attached records come from new.

#include <kerna/memory/Packet.h>

#include <kerna/kerna3/Mutex.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

#include "base/Log.h"
#include "memory/PacketFailSlot.h"
#include "memory/PacketInternal.h"
#include "memory/PacketManagerInternal.h"

namespace Tessaran {
namespace Memory {

using Kerna::CGuard;
using Kerna::CMutex;
typedef Kerna::TFunction2<void, void*, size_t> ReleaseFn;
typedef Kerna::TFunction1<void, int> FailFn;

namespace {

const int kMallocFailStatus = 0x1000000d;

// Sizes in the messages are printed in 32 bits.
unsigned long msgSize(uint64_t v) { return (unsigned long)(uint32_t)v; }

struct FailSlot {
    CMutex lock;
    FailFn callback;
};

// Made on first use, never destroyed: a packet may fail during process exit.
FailSlot& failSlot() {
    static FailSlot* s = new FailSlot();
    return *s;
}

// True on a thread while it runs the fail callback. A failure inside the callback (an alarm
// packet asked for while the pool is exhausted) still logs its lines and yields an invalid
// packet, but raises nothing: the callback is never entered again from itself.
thread_local bool t_inFailCallback = false;

// Tells the fail callback, if one is set; the slot's lock is held during the call. The call
// goes to a copy, so that the callback may replace the slot's delegate.
void raiseFailStatus() {
    if (t_inFailCallback) return;
    FailSlot& s = failSlot();
    CGuard guard(s.lock);
    if (s.callback.empty()) return;
    const FailFn callback = s.callback;
    struct Inside {
        Inside() { t_inFailCallback = true; }
        ~Inside() { t_inFailCallback = false; }
    } inside;
    callback(kMallocFailStatus);
}

}  // namespace

void Detail::storePacketFailCallback(const FailFn& callback) {
    {
        FailSlot& s = failSlot();
        CGuard guard(s.lock);
        s.callback = callback;
    }
    KERNA_LOG(4, "set MallocFailStatus callback success!\n");
}

class OldPacketInternal final : public PacketInternal {
public:
    enum Kind : uint8_t { kindOwned = 0, kindView = 1, kindExternal = 2 };

    static PacketInternal* create(size_t size, size_t extraSize);
    static PacketInternal* create(const CPacket& parent, size_t offset, size_t size, size_t extraSize);
    static PacketInternal* createExternal(void* buffer, size_t size, size_t extraSize, const ReleaseFn& fn);
    static PacketInternal* createAttached(unsigned int size, const ReleaseFn& fn, void* arg, size_t extraSize);

    void destroy() override;
    int32_t addRef() override { return m_refCount.fetch_add(1, std::memory_order_relaxed) + 1; }
    int32_t release() override {
        int32_t n = m_refCount.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (n == 0) destroy();
        return n;
    }
    size_t putBuffer(void* data, size_t length) override;
    unsigned char* getBuffer() override { return m_buffer; }
    uint64_t size() override { return m_size; }
    bool resize(uint64_t size) override {
        if (size > m_capacity) return false;
        m_size = size;
        return true;
    }
    uint64_t capacity() override { return m_capacity; }
    void* getExtraData() override { return m_extraSize == 0 ? nullptr : m_extraData; }
    uint64_t getExtraSize() override { return m_extraSize; }

private:
    OldPacketInternal()
        : m_refCount(1),
          m_buffer(nullptr),
          m_size(0),
          m_capacity(0),
          m_extraData(nullptr),
          m_extraSize(0),
          m_kind(kindOwned),
          m_parent(nullptr),
          m_attached(false),
          m_attachArg(nullptr) {}
    ~OldPacketInternal();

    // A record on the heap with `extraSize` bytes of extra data beside it (for packets whose
    // buffer is not in a pool block); null, logged, when memory can't be had.
    static OldPacketInternal* newWithExtraData(size_t extraSize) {
        OldPacketInternal* r = new (std::nothrow) OldPacketInternal();
        if (r == nullptr || extraSize == 0) return r;
        r->m_extraData = std::malloc(extraSize);
        if (r->m_extraData == nullptr) {
            delete r;
            KERNA_LOG(2, "PacketInternal::create(): malloc failured! size:%lu\n", msgSize(extraSize));
            raiseFailStatus();
            return nullptr;
        }
        return r;
    }

    // Bytes set aside for the record inside a block: the object and the slack to place it
    // on its own alignment wherever the block's end falls (sizes are aligned to 4 only).
    static uint64_t recordSize() { return sizeof(OldPacketInternal) + alignof(OldPacketInternal) - 1; }

    // Builds a record in the last recordSize() bytes before `areaEnd`.
    static OldPacketInternal* placeAt(unsigned char* areaEnd) {
        uintptr_t at = reinterpret_cast<uintptr_t>(areaEnd) - sizeof(OldPacketInternal);
        at &= ~uintptr_t(alignof(OldPacketInternal) - 1);
        return new (reinterpret_cast<void*>(at)) OldPacketInternal();
    }

    std::atomic<int32_t> m_refCount;
    unsigned char* m_buffer;
    uint64_t m_size;
    uint64_t m_capacity;
    void* m_extraData;
    uint64_t m_extraSize;
    uint8_t m_kind;
    CPacket* m_parent;
    ReleaseFn m_releaseCallback;
    bool m_attached;
    ReleaseFn m_attachCallback;
    void* m_attachArg;
};

OldPacketInternal::~OldPacketInternal() {
    if (m_attached) {
        std::free(m_extraData);
        if (m_buffer != nullptr && !m_attachCallback.empty()) m_attachCallback(m_attachArg, size_t(m_capacity));
    } else if (m_kind == kindView) {
        delete m_parent;  // releases the parent
    } else if (m_kind == kindExternal) {
        if (!m_releaseCallback.empty()) m_releaseCallback(m_buffer, size_t(m_size));
    }
}

PacketInternal* OldPacketInternal::create(size_t size, size_t extraSize) {
    PacketManagerInternal* manager = PacketManagerInternal::instance();
    const int policy = PacketManagerInternal::getPolicy();
    // Sizes that would wrap are requests no source can satisfy.
    const uint64_t controlSize =
        extraSize > UINT64_MAX - recordSize() ? UINT64_MAX : manager->alignUp(extraSize + recordSize());

    if (policy == CPacketManager::policySystem || policy == CPacketManager::policyPool) {
        const uint64_t payload = manager->alignUp(size);
        void* block = nullptr;
        size_t total = 0;
        if (payload != UINT64_MAX && controlSize != UINT64_MAX && payload <= UINT64_MAX - controlSize) {
            total = size_t(payload + controlSize);
            block = manager->malloc(total);
        }
        if (block == nullptr) {
            KERNA_LOG(3, "PacketInternal::create(): NO enough, need size:%lu ext:%lu\n", msgSize(size),
                      msgSize(extraSize));
            raiseFailStatus();
            return nullptr;
        }
        unsigned char* base = static_cast<unsigned char*>(block);
        OldPacketInternal* r = placeAt(base + total);
        r->m_buffer = base;
        r->m_size = size;
        r->m_capacity = total - controlSize;
        r->m_extraData = base + r->m_capacity;
        r->m_extraSize = extraSize;
        return r;
    }

    if (policy == CPacketManager::policyPoolData) {
        size_t capacity = size;
        void* payload = nullptr;
        if (size != 0) {
            payload = manager->malloc(capacity);
            if (payload == nullptr) {
                KERNA_LOG(3, "PacketInternal::create(): 2 NO enough, need size:%lu ext:%lu\n", msgSize(size),
                          msgSize(extraSize));
                raiseFailStatus();
                return nullptr;
            }
        }
        void* aux = controlSize == UINT64_MAX ? nullptr : std::malloc(size_t(controlSize));
        if (aux == nullptr) {
            manager->free(payload);
            KERNA_LOG(2, "PacketInternal::create(): malloc failured! size:%lu\n", msgSize(controlSize));
            raiseFailStatus();
            return nullptr;
        }
        OldPacketInternal* r = placeAt(static_cast<unsigned char*>(aux) + controlSize);
        r->m_buffer = static_cast<unsigned char*>(payload);
        r->m_size = size;
        r->m_capacity = payload == nullptr ? 0 : capacity;
        r->m_extraData = aux;
        r->m_extraSize = extraSize;
        return r;
    }

    KERNA_LOG(6, "tracepoint:\n");
    return nullptr;
}

PacketInternal* OldPacketInternal::create(const CPacket& parent, size_t offset, size_t size, size_t extraSize) {
    PacketManagerInternal* manager = PacketManagerInternal::instance();
    const size_t parentSize = parent.size();
    if (!(offset < parentSize && size <= parentSize - offset)) {
        KERNA_LOG(3, "PacketInternal::create() offset or size is invalid!! huge_size:%lu, offset:%lu, size:%lu\n",
                  msgSize(parentSize), msgSize(offset), msgSize(size));
        return nullptr;
    }
    const uint64_t controlSize =
        extraSize > UINT64_MAX - recordSize() ? UINT64_MAX : manager->alignUp(extraSize + recordSize());
    void* aux = controlSize == UINT64_MAX ? nullptr : std::malloc(size_t(controlSize));
    CPacket* parentCopy = aux == nullptr ? nullptr : new (std::nothrow) CPacket(parent);
    if (parentCopy == nullptr) {
        std::free(aux);
        KERNA_LOG(2, "PacketInternal::create(): malloc failured! size:%lu\n", msgSize(controlSize));
        raiseFailStatus();
        return nullptr;
    }
    OldPacketInternal* r = placeAt(static_cast<unsigned char*>(aux) + controlSize);
    unsigned char* parentBuffer = parent.getBuffer();
    r->m_kind = kindView;
    r->m_buffer = parentBuffer == nullptr ? nullptr : parentBuffer + offset;
    r->m_size = size;
    r->m_capacity = size;
    r->m_extraData = aux;
    r->m_extraSize = extraSize;
    r->m_parent = parentCopy;
    return r;
}

PacketInternal* OldPacketInternal::createExternal(void* buffer, size_t size, size_t extraSize, const ReleaseFn& fn) {
    PacketManagerInternal::instance();
    PacketManagerInternal::getPolicy();
    if (buffer == nullptr) {
        KERNA_LOG(2, "PacketInternal::create(): external buffer is NULL! size:%lu\n", msgSize(size));
        return nullptr;
    }
    OldPacketInternal* r = newWithExtraData(extraSize);
    if (r == nullptr) return nullptr;
    r->m_kind = kindExternal;
    r->m_buffer = static_cast<unsigned char*>(buffer);
    r->m_size = size;
    r->m_capacity = size;
    r->m_extraSize = extraSize;
    r->m_releaseCallback = fn;
    return r;
}

PacketInternal* OldPacketInternal::createAttached(unsigned int size, const ReleaseFn& fn, void* arg,
                                                  size_t extraSize) {
    PacketManagerInternal::instance();
    PacketManagerInternal::getPolicy();
    OldPacketInternal* r = newWithExtraData(extraSize);
    if (r == nullptr) return nullptr;
    r->m_attached = true;
    r->m_size = size;
    r->m_capacity = size;
    r->m_extraSize = extraSize;
    r->m_attachCallback = fn;
    r->m_attachArg = arg;
    return r;
}

size_t OldPacketInternal::putBuffer(void* data, size_t length) {
    if (m_attached) {
        // The caller's buffer becomes the payload; nothing is copied.
        m_buffer = static_cast<unsigned char*>(data);
        m_size = length;
        return length;
    }
    const uint64_t room = m_size < m_capacity ? m_capacity - m_size : 0;
    const size_t n = size_t(length < room ? length : room);
    if (n == 0) return 0;
    if (data == nullptr || m_buffer == nullptr) {
        KERNA_LOG(2, "this:%p putBuffer data is NULL\n", static_cast<void*>(this));
        return 0;
    }
    unsigned char* to = m_buffer + m_size;
    const uintptr_t from = reinterpret_cast<uintptr_t>(data);
    if (from < reinterpret_cast<uintptr_t>(to) + n && reinterpret_cast<uintptr_t>(to) < from + n) {
        // The bytes to append overlap their destination (a part of this packet that reaches
        // behind its size): no copy operation may be given that, so they are moved here.
        std::memmove(to, data, n);
    } else {
        PacketManagerInternal::instance()->memcpy(to, data, n);
    }
    m_size += n;
    return n;
}

void OldPacketInternal::destroy() {
    if (m_attached) {
        delete this;
        return;
    }
    switch (m_kind) {
        case kindOwned: {
            PacketManagerInternal* manager = PacketManagerInternal::instance();
            if (PacketManagerInternal::getPolicy() == CPacketManager::policyPoolData) {
                void* extra = m_extraData;
                unsigned char* buffer = m_buffer;
                this->~OldPacketInternal();
                manager->free(buffer);
                std::free(extra);
            } else {
                // The record lies in the block: the block goes last.
                unsigned char* buffer = m_buffer;
                this->~OldPacketInternal();
                manager->free(buffer);
            }
            return;
        }
        case kindView: {
            void* extra = m_extraData;
            this->~OldPacketInternal();
            std::free(extra);
            return;
        }
        case kindExternal: {
            void* extra = m_extraData;
            delete this;
            std::free(extra);
            return;
        }
        default:
            KERNA_ASSERT_MSG(false, "PacketInternal::destroy(): unreachable!\n");
    }
}

// ---- CPacket ------------------------------------------------------------------------------

CPacket::CPacket() : m_internal(nullptr) {}

CPacket::CPacket(size_t size, size_t extraSize) : m_internal(OldPacketInternal::create(size, extraSize)) {}

CPacket::CPacket(void* buffer, size_t size, ReleaseFn fn)
    : m_internal(OldPacketInternal::createExternal(buffer, size, 0, fn)) {}

CPacket::CPacket(void* buffer, size_t size, size_t extraSize, ReleaseFn fn)
    : m_internal(OldPacketInternal::createExternal(buffer, size, extraSize, fn)) {}

CPacket::CPacket(unsigned int size, ReleaseFn fn, void* arg, size_t extraSize)
    : m_internal(OldPacketInternal::createAttached(size, fn, arg, extraSize)) {}

CPacket::CPacket(const CPacket& parent, size_t offset, size_t size, size_t extraSize)
    : m_internal(OldPacketInternal::create(parent, offset, size, extraSize)) {}

CPacket::CPacket(const CPacket& other) : m_internal(other.m_internal) {
    if (m_internal != nullptr) m_internal->addRef();
}

CPacket::~CPacket() {
    if (m_internal != nullptr) m_internal->release();
}

CPacket& CPacket::operator=(const CPacket& other) {
    if (m_internal == other.m_internal) return *this;
    // Take the new reference before dropping the old one: `other` may live inside the
    // record that the drop destroys (a view's parent handle).
    PacketInternal* old = m_internal;
    m_internal = other.m_internal;
    if (m_internal != nullptr) m_internal->addRef();
    if (old != nullptr) old->release();
    return *this;
}

size_t CPacket::size() const { return m_internal == nullptr ? 0 : size_t(m_internal->size()); }

size_t CPacket::putBuffer(void* data, size_t length) {
    return m_internal == nullptr ? 0 : m_internal->putBuffer(data, length);
}

unsigned char* CPacket::getBuffer() const { return m_internal == nullptr ? nullptr : m_internal->getBuffer(); }

void CPacket::reset() {
    if (m_internal == nullptr) return;
    PacketInternal* old = m_internal;
    m_internal = nullptr;
    old->release();
}

bool CPacket::valid() const { return m_internal != nullptr; }

bool CPacket::resize(size_t size) { return m_internal != nullptr && m_internal->resize(size); }

size_t CPacket::capacity() const { return m_internal == nullptr ? 0 : size_t(m_internal->capacity()); }

void* CPacket::getExtraData() const { return m_internal == nullptr ? nullptr : m_internal->getExtraData(); }

size_t CPacket::getExtraSize() const { return m_internal == nullptr ? 0 : size_t(m_internal->getExtraSize()); }

}  // namespace Memory
}  // namespace Tessaran
