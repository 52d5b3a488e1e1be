// Fuzzes the Base64 decoders: Ex2 on input without a terminator (reading nothing past its
// length), Ex and the int forms on the same text terminated. All must agree with the length
// functions, write within the sizes those give, and decoding the re-encoded output must give it
// back.
#include <cstdint>
#include <cstring>
#include <memory>

#include "kerna/kerna3/PrintLog.h"
#include "kerna/utils/Base64.h"

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
    const char* text = reinterpret_cast<const char*>(data);
    std::unique_ptr<char[]> exact(new char[size ? size : 1]);
    std::memcpy(exact.get(), text, size);

    const size_t room2 = base64DecodeLenEx2(exact.get(), size);
    std::unique_ptr<char[]> out2(new char[room2]);
    const size_t n2 = base64DecodeEx2(out2.get(), exact.get(), size);
    if (n2 >= room2 || out2[n2] != '\0') __builtin_trap();

    std::unique_ptr<char[]> terminated(new char[size + 1]);
    std::memcpy(terminated.get(), text, size);
    terminated[size] = '\0';
    const size_t room = base64DecodeLenEx(terminated.get());
    if (room != room2) __builtin_trap();  // a zero byte is outside the alphabet as well
    std::unique_ptr<char[]> out(new char[room]);
    const size_t n = base64DecodeEx(out.get(), terminated.get());
    if (n != n2 || std::memcmp(out.get(), out2.get(), n) != 0) __builtin_trap();
    if (base64DecodeLen(terminated.get()) != static_cast<int>(room)) __builtin_trap();
    if (base64Decode(out.get(), terminated.get()) != static_cast<int>(n)) __builtin_trap();

    // Round trip of the decoded bytes.
    std::unique_ptr<char[]> again(new char[base64EncodeLenEx(n)]);
    const size_t written = base64EncodeEx(again.get(), out.get(), n);
    if (written != base64EncodeLenEx(n)) __builtin_trap();
    std::unique_ptr<char[]> back(new char[base64DecodeLenEx(again.get())]);
    if (base64DecodeEx(back.get(), again.get()) != n || std::memcmp(back.get(), out.get(), n) != 0) __builtin_trap();
    return 0;
}
