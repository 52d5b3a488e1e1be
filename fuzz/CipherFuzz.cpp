// Fuzzes the cipher entry points with fuzzed modes, key lengths, vectors and data lengths on
// buffers of exactly that length: no read or write outside them, decryption by a second object
// gives the input back whenever encryption accepted it, and a stream split at a fuzzed point
// gives the same output as one call.
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "kerna/kerna3/PrintLog.h"
#include "kerna/utils/Aes.h"
#include "kerna/utils/TripleDes.h"
#include "utils/Accel.h"

using namespace Tessaran::Utils;

namespace {
void discard(const char*) {}

std::unique_ptr<unsigned char[]> copyOf(const uint8_t* p, size_t n) {
    std::unique_ptr<unsigned char[]> b(new unsigned char[n ? n : 1]);
    if (n) std::memcpy(b.get(), p, n);
    return b;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static bool once = [] {
        Tessaran::Kerna::setLogPrinter(Tessaran::Kerna::TFunction1<void, const char*>(&discard));
        Tessaran::Kerna::setPrintLogLevel(6);
        return true;
    }();
    (void)once;
    if (size < 4) return 0;
    const uint8_t select = data[0], keyChoice = data[1], split = data[2];
    const bool reference = (data[3] & 0x80) != 0;
    data += 4;
    size -= 4;
    Detail::setReferenceOnly(reference);
    std::vector<unsigned char> key(32), iv(16);
    for (size_t i = 0; i < 32; ++i) key[i] = static_cast<unsigned char>(keyChoice * 31 + i);
    for (size_t i = 0; i < 16; ++i) iv[i] = static_cast<unsigned char>(select + i);
    auto in = copyOf(data, size);
    auto out = copyOf(data, size);
    auto back = copyOf(data, size);

    if (select & 1) {
        // AES: modes 0 to 5 (5 is outside the table), key sizes of the table and one outside it.
        const int mode = (select >> 1) % 6;
        static const int kBits[] = {128, 192, 256, 100};
        const int bits = kBits[(select >> 4) % 4];
        const unsigned char* ivp = (select & 0x40) ? nullptr : iv.data();
        CAes enc(static_cast<CAes::EncMode>(mode), key.data(), static_cast<CAes::KeyBits>(bits), ivp);
        CAes dec(static_cast<CAes::EncMode>(mode), key.data(), static_cast<CAes::KeyBits>(bits), ivp);
        CAes pieces(static_cast<CAes::EncMode>(mode), key.data(), static_cast<CAes::KeyBits>(bits), ivp);
        const bool ok = enc.encrypt(out.get(), in.get(), size);
        if (!ok) return 0;
        if (!dec.decrypt(back.get(), out.get(), size) || std::memcmp(back.get(), in.get(), size) != 0) __builtin_trap();
        // In pieces (whole blocks for ECB and CBC), in place.
        size_t first = size ? split % (size + 1) : 0;
        if (mode <= 1) first -= first % 16;
        auto inPlace = copyOf(data, size);
        if (!pieces.encrypt(inPlace.get(), inPlace.get(), first) ||
            !pieces.encrypt(inPlace.get() + first, inPlace.get() + first, size - first) ||
            std::memcmp(inPlace.get(), out.get(), size) != 0)
            __builtin_trap();
    } else {
        // Triple DES: key lengths 0 to 30, both block types, with and without a vector.
        const size_t keyLength = (select >> 1) % 31;
        const CTripleDes::BlockType type = (select & 0x40) ? CTripleDes::blockType16 : CTripleDes::blockType8;
        const unsigned char* ivp = (select & 0x80) ? nullptr : iv.data();
        CTripleDes des(key.data(), keyLength, type, ivp);
        const bool ok = des.encrypt(out.get(), in.get(), size);
        if (!ok) return 0;
        if (!des.decrypt(back.get(), out.get(), size) || std::memcmp(back.get(), in.get(), size) != 0) __builtin_trap();
    }
    return 0;
}
