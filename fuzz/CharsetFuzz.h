// CharsetFuzz.h: shared pieces of the charset fuzz targets. Output buffers are heap blocks of
// exactly the size given to the function, so AddressSanitizer reports any write past it.
#ifndef KERNA_FUZZ_CHARSETFUZZ_H_
#define KERNA_FUZZ_CHARSETFUZZ_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "kerna/kerna3/PrintLog.h"

namespace CharsetFuzz {

inline void discard(const char*) {}

/// Log lines (the UCS-4 family warns) go through the whole print path but not to the console.
inline void quietLog() {
    static const bool once = [] {
        Tessaran::Kerna::setLogPrinter(Tessaran::Kerna::TFunction1<void, const char*>(&discard));
        return true;
    }();
    (void)once;
}

/// Takes the first bytes of the input as parameters.
class Input {
public:
    Input(const uint8_t* data, size_t size) : m_data(data), m_size(size) {}
    /// A value from the next two bytes, in [0, limit] (0 when the input is used up).
    int number(int limit) {
        int v = 0;
        for (int i = 0; i < 2 && m_size > 0; ++i, ++m_data, --m_size) v = (v << 8) | *m_data;
        return limit > 0 ? v % (limit + 1) : 0;
    }
    const uint8_t* data() const { return m_data; }
    size_t size() const { return m_size; }

private:
    const uint8_t* m_data;
    size_t m_size;
};

/// A heap copy of the rest of the input, optionally zero-terminated.
inline std::unique_ptr<unsigned char[]> copy(const Input& in, bool terminate) {
    std::unique_ptr<unsigned char[]> p(new unsigned char[in.size() + (terminate ? 1 : 0)]);
    if (in.size() > 0) std::memcpy(p.get(), in.data(), in.size());
    if (terminate) p[in.size()] = 0;
    return p;
}

/// An exact-size heap block; size 0 gives a block of no usable byte.
inline std::unique_ptr<unsigned char[]> block(int size) {
    return std::unique_ptr<unsigned char[]>(new unsigned char[size > 0 ? size : 0]);
}

}  // namespace CharsetFuzz

#endif  // KERNA_FUZZ_CHARSETFUZZ_H_
