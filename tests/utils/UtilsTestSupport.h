// UtilsTestSupport.h
//
// Shared helpers of utils_test: hexadecimal text to bytes and back, seeded random data, random
// splits of a length for feeding streams in pieces, and forcing the reference code paths. It
// brings the standard headers the digest and cipher tests use.
#ifndef KERNA_TESTS_UTILS_UTILSTESTSUPPORT_H_
#define KERNA_TESTS_UTILS_UTILSTESTSUPPORT_H_

#include <cstddef>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "utils/Accel.h"

namespace KernaTest {

using Bytes = std::vector<unsigned char>;

inline Bytes fromHex(const std::string& hex) {
    Bytes out;
    for (size_t i = 0; i + 1 < hex.size(); i += 2) out.push_back(static_cast<unsigned char>(std::stoul(hex.substr(i, 2), nullptr, 16)));
    return out;
}

inline std::string toHex(const unsigned char* p, size_t n) {
    static const char digits[] = "0123456789abcdef";
    std::string s;
    for (size_t i = 0; i < n; ++i) {
        s += digits[p[i] >> 4];
        s += digits[p[i] & 15];
    }
    return s;
}

inline std::string toHex(const Bytes& b) { return toHex(b.data(), b.size()); }

inline Bytes bytesOf(const std::string& s) { return Bytes(s.begin(), s.end()); }

inline const unsigned char* u8(const char* s) { return reinterpret_cast<const unsigned char*>(s); }

/// Forces the portable reference code (or the CPU's instructions) while it lives; objects choose
/// their path when they are made.
struct ReferenceOnly {
    explicit ReferenceOnly(bool on) { Tessaran::Utils::Detail::setReferenceOnly(on); }
    ~ReferenceOnly() { Tessaran::Utils::Detail::setReferenceOnly(false); }
};

inline Bytes randomBytes(std::mt19937& rng, size_t n) {
    Bytes b(n);
    for (auto& c : b) c = static_cast<unsigned char>(rng());
    return b;
}

/// Cuts `total` into random pieces (some of them empty) that add up to it.
inline std::vector<size_t> randomSplit(std::mt19937& rng, size_t total) {
    std::vector<size_t> parts;
    size_t left = total;
    while (left > 0) {
        const size_t limit = rng() % 4 == 0 ? 200 : 40;
        size_t piece = rng() % (limit + 1);
        if (piece > left) piece = left;
        parts.push_back(piece);
        left -= piece;
    }
    return parts;
}

/// Calls `feed(offset, length)` for random consecutive pieces of `total` bytes.
template <typename F>
void feedInPieces(std::mt19937& rng, size_t total, F feed) {
    size_t at = 0;
    for (size_t piece : randomSplit(rng, total)) {
        feed(at, piece);
        at += piece;
    }
}

/// Lengths for differential tests: every length 0 to 300 and some large ones.
inline std::vector<size_t> testLengths() {
    std::vector<size_t> lengths;
    for (size_t n = 0; n <= 300; ++n) lengths.push_back(n);
    for (size_t n : {1000u, 4095u, 4096u, 4097u, 65536u + 7u, 1u << 20}) lengths.push_back(n);
    return lengths;
}

}  // namespace KernaTest

#endif  // KERNA_TESTS_UTILS_UTILSTESTSUPPORT_H_
