// UTF-8 to Windows-1252: utf8_to_cp1252 on arbitrary bytes with an exact-size output.
#include "CharsetFuzz.h"
#include "kerna/utils/Charset.h"

using namespace Tessaran::Utils;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    CharsetFuzz::Input in(data, size);
    const int dstSize = in.number(static_cast<int>(in.size()));
    auto src = CharsetFuzz::copy(in, false);
    const int srcLen = static_cast<int>(in.size());
    auto dst = CharsetFuzz::block(dstSize);
    const int n = utf8_to_cp1252(src.get(), srcLen, dst.get(), dstSize);
    if (n < 0 || n > dstSize) __builtin_trap();
    return 0;
}
