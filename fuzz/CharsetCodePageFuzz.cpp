// Code pages to UTF-8: the 18 `*_to_utf8` functions and cp1252_to_utf8 on arbitrary bytes, with
// exact-size outputs of any size, small ones included.
#include "CharsetFuzz.h"
#include "kerna/utils/Charset.h"

using namespace Tessaran::Utils;

namespace {

typedef int (*CodePageFunction)(unsigned char*, int&, const unsigned char*, int&);

const CodePageFunction kPages[] = {
    cp862_to_utf8,      cp874_to_utf8,      cp1250_to_utf8,     cp1251_to_utf8,
    iso8859_1_to_utf8,  iso8859_2_to_utf8,  iso8859_3_to_utf8,  iso8859_4_to_utf8,
    iso8859_5_to_utf8,  iso8859_6_to_utf8,  iso8859_7_to_utf8,  iso8859_8_to_utf8,
    iso8859_9_to_utf8,  iso8859_10_to_utf8, iso8859_13_to_utf8, iso8859_14_to_utf8,
    iso8859_15_to_utf8, iso8859_16_to_utf8,
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    CharsetFuzz::Input in(data, size);
    const int page = in.number(18);
    const int dstSize = in.number(static_cast<int>(in.size()) * 3 + 4);
    auto src = CharsetFuzz::copy(in, false);
    const int length = static_cast<int>(in.size());
    auto dst = CharsetFuzz::block(dstSize);

    if (page == 18) {
        const int rc = cp1252_to_utf8(dst.get(), dstSize, src.get(), length);
        if (rc != 0 && rc != -1 && rc <= dstSize) __builtin_trap();
        if (rc > 0 && rc > 3 * length) __builtin_trap();
        return 0;
    }
    int dstLen = dstSize;
    int srcLen = length;
    const int rc = kPages[page](dst.get(), dstLen, src.get(), srcLen);
    if (rc == 0) {
        if (srcLen < 0 || srcLen > length || dstLen < 0 || dstLen > dstSize) __builtin_trap();
    } else if (rc != -1 || dstLen != dstSize || srcLen != length) {
        __builtin_trap();
    }
    return 0;
}
