// UTF-8 to GBK: utf8TGb2312 (one pass) against its definition, utf8_mbstowcs then UniTGb2312,
// on arbitrary bytes and bounds; gb is gbLen + 1 bytes, as the function requires.
#include "CharsetFuzz.h"
#include "kerna/utils/Charset.h"

using namespace Tessaran::Utils;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    CharsetFuzz::Input in(data, size);
    const int gbLen = in.number(4 * 1024);
    const int utf8Len = in.number(static_cast<int>(in.size()) + 8) - 4;
    auto src = CharsetFuzz::copy(in, true);

    auto gb = CharsetFuzz::block(gbLen + 1);
    const int result = utf8TGb2312(src.get(), reinterpret_cast<char*>(gb.get()), utf8Len, gbLen);

    std::unique_ptr<unsigned short[]> values(new unsigned short[in.size() + 1]());
    const int count = utf8_mbstowcs(values.get(), src.get(), utf8Len);
    auto expected = CharsetFuzz::block(gbLen + 1);
    std::memcpy(expected.get(), gb.get(), gbLen + 1);  // bytes the definition leaves alone
    const int expectedResult =
        src[0] == 0
            ? 0
            : UniTGb2312(values.get(), count, reinterpret_cast<char*>(expected.get()), gbLen);
    if (result != expectedResult) __builtin_trap();
    if (src[0] != 0 && std::memcmp(gb.get(), expected.get(), gbLen + 1) != 0) __builtin_trap();

    // Value by value, with every bound.
    for (int i = 0; i < count; ++i) {
        unsigned char pair[2];
        const int n = uni2char(values[i], pair, 1 + i % 2);
        if (n != -1 && n != 1 && n != 2) __builtin_trap();
    }
    return 0;
}
