// UTF-8 to UCS-4 and back: utf8ToUCS4 and UCS4ToUtf8 on arbitrary bytes and output sizes.
#include "CharsetFuzz.h"
#include "kerna/utils/Charset.h"

using namespace Tessaran::Utils;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    CharsetFuzz::quietLog();
    CharsetFuzz::Input in(data, size);
    const int ucs4Size = in.number(4 * 1024);
    const int utf8Size = in.number(6 * 1024);
    auto src = CharsetFuzz::copy(in, false);
    const int srcLen = static_cast<int>(in.size());

    auto ucs4 = CharsetFuzz::block(ucs4Size);
    const int written =
        utf8ToUCS4(reinterpret_cast<char*>(src.get()), srcLen, ucs4.get(), ucs4Size);
    if (written < 0 || written > ucs4Size || written % 4 != 0) __builtin_trap();

    // The UCS-4 just made, and the raw bytes read as UCS-4 (any 32-bit values).
    auto utf8 = CharsetFuzz::block(utf8Size);
    int n = UCS4ToUtf8(reinterpret_cast<char*>(ucs4.get()), written, utf8.get(), utf8Size);
    if (n < 0 || n > utf8Size) __builtin_trap();
    n = UCS4ToUtf8(reinterpret_cast<char*>(src.get()), srcLen, utf8.get(), utf8Size);
    if (n < 0 || n > utf8Size) __builtin_trap();
    return 0;
}
