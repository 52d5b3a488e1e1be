// UTF-8 to 16-bit values and back: utf8_mbtowc, utf8_mbstowcs, GetUnicodeFromUtf8,
// utf8_wctomb and utf8_wcstombs on arbitrary bytes and bounds.
#include <vector>

#include "CharsetFuzz.h"
#include "kerna/utils/Charset.h"

using namespace Tessaran::Utils;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    CharsetFuzz::Input in(data, size);
    const int outSize = in.number(8 * 1024);
    auto src = CharsetFuzz::copy(in, true);
    const int srcLen = static_cast<int>(in.size());

    // One value per source byte at most.
    std::unique_ptr<unsigned short[]> values(new unsigned short[srcLen + 1]);
    const int count = utf8_mbstowcs(values.get(), src.get(), srcLen);
    if (count < 0 || count > srcLen) __builtin_trap();
    values[count] = 0;

    // Sequence by sequence, with the exact rest as bound; the sum of the uses stays in bounds.
    for (int pos = 0; pos < srcLen;) {
        unsigned short v;
        const int used = utf8_mbtowc(&v, src.get() + pos, srcLen - pos);
        if (used == 0 || used > srcLen - pos || used > 6) __builtin_trap();
        pos += used > 0 ? used : 1;
        unsigned char one[3];
        const int n = utf8_wctomb(one, v, 3);
        if (used > 0 && (n < 1 || n > 3)) __builtin_trap();
    }
    int length = -1;
    GetUnicodeFromUtf8(reinterpret_cast<const char*>(src.get()), &length);
    if (length < 0 || length > 3) __builtin_trap();

    auto out = CharsetFuzz::block(outSize);
    const int written = utf8_wcstombs(out.get(), values.get(), outSize);
    if (written < 0 || written > outSize) __builtin_trap();
    return 0;
}
