// IconvOracle.h: glibc iconv as an independent oracle for the charset tests.

#ifndef KERNA_TESTS_UTILS_ICONVORACLE_H_
#define KERNA_TESTS_UTILS_ICONVORACLE_H_

#include <iconv.h>

#include <string>

namespace KernaTest {

/// One glibc conversion descriptor, reset before each use.
class IconvOracle {
public:
    IconvOracle(const char* from, const char* to) : m_cd(iconv_open(to, from)) {}
    ~IconvOracle() {
        if (ok()) iconv_close(m_cd);
    }
    IconvOracle(const IconvOracle&) = delete;
    IconvOracle& operator=(const IconvOracle&) = delete;

    bool ok() const { return m_cd != reinterpret_cast<iconv_t>(-1); }

    /// Converts `in` in one call; `*ok` is false when iconv refuses any of it (invalid or
    /// incomplete input, or a character without mapping). No conversion used by the tests makes
    /// more than three bytes of one, so the room of four times the input never runs out.
    std::string operator()(const std::string& in, bool* ok) {
        iconv(m_cd, nullptr, nullptr, nullptr, nullptr);
        std::string out(4 * in.size() + 16, '\0');
        char* inPtr = const_cast<char*>(in.data());
        char* outPtr = &out[0];
        size_t inLeft = in.size();
        size_t outLeft = out.size();
        *ok = iconv(m_cd, &inPtr, &inLeft, &outPtr, &outLeft) != static_cast<size_t>(-1);
        out.resize(out.size() - outLeft);
        return out;
    }

private:
    iconv_t m_cd;
};

}  // namespace KernaTest

#endif  // KERNA_TESTS_UTILS_ICONVORACLE_H_
