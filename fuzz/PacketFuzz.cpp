// PacketFuzz.cpp
//
// Turns its input into create/copy/view/reset/putBuffer/resize operations on eight packet
// slots over a small pool (16 chunks of 1024 bytes), writing every byte a packet says it owns.
// After each input, with every handle dropped: the pool is whole again, and every external and
// attached packet that got a buffer called back exactly once.

#include <kerna/memory/Packet.h>
#include <kerna/memory/PacketManager.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

using Tessaran::Kerna::TFunction2;
using Tessaran::Memory::CPacket;
using Tessaran::Memory::CPacketManager;

namespace {

const uint64_t kPoolSize = 16 * 1024;
int g_callbacks = 0;
unsigned char g_external[4096];

void onRelease(void*, size_t) { ++g_callbacks; }

enum Kind { kindNone, kindOwned, kindView, kindExternal, kindAttached };

struct Reader {
    const uint8_t* data;
    size_t size;
    size_t pos;
    bool more() const { return pos < size; }
    uint32_t byte() { return pos < size ? data[pos++] : 0; }
    uint32_t word() { return byte() | (byte() << 8); }
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    CPacketManager::PoolParameter param;
    param.totalSize = kPoolSize;
    param.chunkSize = 1024;
    CPacketManager::config(CPacketManager::policyPool, nullptr, &param);
    CPacketManager::instance();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    CPacketManager* m = CPacketManager::instance();
    int expectedCallbacks = 0;
    g_callbacks = 0;
    {
        CPacket slots[8];
        Kind kinds[8] = {};
        Reader in{data, size, 0};
        const TFunction2<void, void*, size_t> callback(&onRelease);
        while (in.more()) {
            const uint32_t op = in.byte();
            const int i = int(op >> 3) & 7;
            const int j = int(in.byte()) & 7;
            switch (op & 7) {
                case 0:
                    slots[i] = CPacket(in.word() % 20000, in.byte());
                    kinds[i] = slots[i].valid() ? kindOwned : kindNone;
                    break;
                case 1:
                    slots[i] = slots[j];
                    kinds[i] = kinds[j];
                    break;
                case 2: {
                    size_t offset = in.word();
                    size_t length = in.word();
                    CPacket view(slots[j], offset, length, in.byte());
                    bool ok = slots[j].valid() && offset < slots[j].size() && length <= slots[j].size() - offset;
                    if (view.valid() != ok) std::abort();
                    // A view of an attached packet without a buffer has none either.
                    slots[i] = view;
                    kinds[i] = view.valid() ? kindView : kindNone;
                    break;
                }
                case 3:
                    slots[i].reset();
                    kinds[i] = kindNone;
                    break;
                case 4: {
                    unsigned char bytes[64];
                    std::memset(bytes, int(op), sizeof bytes);
                    size_t before = slots[i].size();
                    size_t length = in.byte() % 65;
                    if (kinds[i] == kindAttached) break;  // attached packets store, not copy
                    size_t taken = slots[i].putBuffer(bytes, length);
                    size_t room = slots[i].capacity() - before;
                    if (taken != (length < room ? length : room)) std::abort();
                    break;
                }
                case 5: {
                    size_t newSize = in.word();
                    bool ok = slots[i].resize(newSize);
                    if (slots[i].valid() && ok != (newSize <= slots[i].capacity())) std::abort();
                    break;
                }
                case 6:
                    slots[i] = CPacket(g_external, in.word() % sizeof g_external, in.byte(), callback);
                    kinds[i] = kindExternal;
                    ++expectedCallbacks;
                    break;
                case 7: {
                    slots[i] = CPacket(unsigned(in.word() % sizeof g_external), callback, g_external, in.byte());
                    kinds[i] = kindAttached;
                    if (in.byte() & 1) {
                        slots[i].putBuffer(g_external, in.byte());
                        ++expectedCallbacks;
                    }
                    break;
                }
            }
            // Touch every byte each live packet owns.
            for (int k = 0; k < 8; ++k) {
                if (!slots[k].valid() || slots[k].getBuffer() == nullptr) continue;
                if (kinds[k] == kindOwned) std::memset(slots[k].getBuffer(), k, slots[k].capacity());
                if (kinds[k] == kindView || kinds[k] == kindExternal) {
                    std::memset(slots[k].getBuffer(), k, slots[k].size());
                }
                if (slots[k].getExtraData() != nullptr) {
                    std::memset(slots[k].getExtraData(), k, slots[k].getExtraSize());
                }
            }
            if (m->getFreeSize() > kPoolSize) std::abort();
        }
    }
    if (m->getFreeSize() != kPoolSize) std::abort();
    if (g_callbacks != expectedCallbacks) std::abort();
    return 0;
}
