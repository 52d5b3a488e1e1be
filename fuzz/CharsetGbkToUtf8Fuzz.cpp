// GBK to UTF-8: Gb2312TUtf8 (one pass) against its definition, Gb2312ToUni then utf8_wcstombs,
// on arbitrary bytes and bounds; char2uni at every position with every bound.
#include "CharsetFuzz.h"
#include "kerna/utils/Charset.h"

using namespace Tessaran::Utils;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    CharsetFuzz::Input in(data, size);
    const int utf8Size = in.number(8 * 1024);
    const int uniLen = in.number(static_cast<int>(in.size()) + 1);
    auto src = CharsetFuzz::copy(in, true);
    char* gb = reinterpret_cast<char*>(src.get());
    const size_t length = std::strlen(gb);

    auto utf8 = CharsetFuzz::block(utf8Size);
    const int written = Gb2312TUtf8(gb, utf8.get(), utf8Size);

    std::unique_ptr<unsigned short[]> values(new unsigned short[length + 1]);
    Gb2312ToUni(gb, values.get(), static_cast<int>(length + 1));
    auto expected = CharsetFuzz::block(utf8Size);
    if (utf8Size > 0) std::memset(expected.get(), 0, utf8Size);
    const int expectedWritten =
        length == 0 ? 0 : utf8_wcstombs(expected.get(), values.get(), utf8Size);
    if (written != expectedWritten) __builtin_trap();
    if (length > 0 && utf8Size > 0 && std::memcmp(utf8.get(), expected.get(), utf8Size) != 0)
        __builtin_trap();

    // An exact-size value array with the bound from the input.
    std::unique_ptr<unsigned short[]> bounded(new unsigned short[uniLen > 0 ? uniLen : 0]);
    const int n = Gb2312ToUni(gb, bounded.get(), uniLen);
    if (n < 0 || n > uniLen) __builtin_trap();

    for (size_t pos = 0; pos < in.size(); ++pos) {
        unsigned short v;
        const int bound = static_cast<int>(in.size() - pos < 2 ? in.size() - pos : 2);
        const int used = char2uni(src.get() + pos, bound, &v);
        if (used != -1 && (used < 1 || used > bound)) __builtin_trap();
    }
    return 0;
}
