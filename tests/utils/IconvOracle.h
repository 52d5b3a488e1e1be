// IconvOracle.h: glibc iconv as an independent oracle for the charset tests.

#ifndef KERNA_TESTS_UTILS_ICONVORACLE_H_
#define KERNA_TESTS_UTILS_ICONVORACLE_H_

#include <iconv.h>

#include <cerrno>
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

    /// Converts all of `in`; false when iconv refuses any of it (invalid or incomplete input,
    /// or a character without mapping).
    bool convert(const std::string& in, std::string* out) {
        out->clear();
        iconv(m_cd, nullptr, nullptr, nullptr, nullptr);
        char* inPtr = const_cast<char*>(in.data());
        size_t inLeft = in.size();
        char buffer[4096];
        for (;;) {
            char* outPtr = buffer;
            size_t outLeft = sizeof buffer;
            const size_t result =
                iconv(m_cd, inLeft ? &inPtr : nullptr, &inLeft, &outPtr, &outLeft);
            out->append(buffer, sizeof buffer - outLeft);
            if (result != static_cast<size_t>(-1)) {
                if (inLeft == 0) return true;
                continue;
            }
            if (errno != E2BIG) return false;
        }
    }

    std::string operator()(const std::string& in, bool* ok) {
        std::string out;
        *ok = convert(in, &out);
        return out;
    }

private:
    iconv_t m_cd;
};

}  // namespace KernaTest

#endif  // KERNA_TESTS_UTILS_ICONVORACLE_H_
