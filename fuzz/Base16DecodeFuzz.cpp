// Fuzzes base16Decode on input without a terminator and with room of every kind: the call must
// read and write only within the given lengths, and a successful decode must encode back to the
// input in upper case.
#include <cctype>
#include <cstdint>
#include <cstring>
#include <memory>

#include "kerna/kerna3/PrintLog.h"
#include "kerna/utils/Base16.h"

using namespace Tessaran::Utils;

namespace {
void discard(const char*) {}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static bool once = [] {
        Tessaran::Kerna::setLogPrinter(Tessaran::Kerna::TFunction1<void, const char*>(&discard));
        Tessaran::Kerna::setPrintLogLevel(6);
        return true;
    }();
    (void)once;
    if (size == 0) return 0;
    // The first byte picks the room: exact, one short, or generous.
    const int roomKind = data[0] % 3;
    ++data;
    --size;
    std::unique_ptr<char[]> src(new char[size ? size : 1]);
    std::memcpy(src.get(), data, size);
    const size_t exact = size / 2;
    const size_t room = roomKind == 0 ? exact : roomKind == 1 ? (exact ? exact - 1 : 0) : exact + 7;
    std::unique_ptr<unsigned char[]> dst(new unsigned char[room ? room : 1]);
    const size_t n = base16Decode(src.get(), size, room ? dst.get() : nullptr, room);
    if (n == 0) return 0;
    if (n != exact || room < exact) __builtin_trap();
    std::unique_ptr<char[]> text(new char[2 * n + 1]);
    if (base16Encode(dst.get(), n, text.get(), 2 * n + 1) != 2 * n + 1) __builtin_trap();
    for (size_t i = 0; i < 2 * n; ++i) {
        if (text[i] != std::toupper(static_cast<unsigned char>(src[i]))) __builtin_trap();
    }
    return 0;
}
