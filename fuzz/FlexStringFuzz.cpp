// FlexStringFuzz.cpp
//
// libFuzzer target: the input is read as a sequence of string operations (with positions,
// lengths and characters taken from the following bytes) that run on a String, a MiniString
// and a std::string side by side. Any difference in contents, or a capacity below the size,
// stops the run. Self-referencing appends, inserts and replaces are among the operations.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "kerna/kerna3/FlexString.h"

namespace {

class Input {
public:
    Input(const uint8_t* data, size_t size) : m_data(data), m_size(size) {}
    bool done() const { return m_pos >= m_size; }
    uint8_t byte() { return m_pos < m_size ? m_data[m_pos++] : 0; }
    // A number in [0, hi].
    size_t upTo(size_t hi) {
        const size_t v = static_cast<size_t>(byte()) << 8 | byte();
        return hi == 0 ? 0 : v % (hi + 1);
    }

private:
    const uint8_t* m_data;
    size_t m_size;
    size_t m_pos = 0;
};

[[noreturn]] void mismatch(int op) {
    std::fprintf(stderr, "flex_string differs from std::string after operation %d\n", op);
    std::abort();
}

template <class S>
void check(const S& s, const std::string& ref, int op) {
    if (s.size() != ref.size() || s.capacity() < s.size() ||
        std::memcmp(s.c_str(), ref.c_str(), ref.size() + 1) != 0)
        mismatch(op);
}

template <class S>
void apply(int op, size_t pos, size_t n, size_t at, char c, const std::string& text, S& s,
           S& other) {
    switch (op) {
        case 0:
            s.append(text.data(), text.size());
            break;
        case 1:
            s.append(s);
            break;
        case 2:
            s.append(s.data() + pos, n);
            break;
        case 3:
            s.append(s.rbegin(), s.rbegin() + static_cast<std::ptrdiff_t>(n));
            break;
        case 4:
            s.append(n % 64, c);
            break;
        case 5:
            s.push_back(c);
            break;
        case 6:
            s.insert(pos, text.data(), text.size());
            break;
        case 7:
            s.insert(s.begin() + at, s.begin() + pos, s.begin() + pos + n);
            break;
        case 8:
            s.insert(pos, n % 64, c);
            break;
        case 9:
            s.replace(pos, n, text.data(), text.size());
            break;
        case 10:
            s.replace(s.begin() + pos, s.begin() + pos + n, s.begin() + at, s.end());
            break;
        case 11:
            s.replace(pos, n, s);
            break;
        case 12:
            s.replace(pos, n, n % 40, c);
            break;
        case 13:
            s.erase(pos, n);
            break;
        case 14:
            s.resize(at + n, c);
            break;
        case 15:
            s.reserve(at + n);
            break;
        case 16:
            s.assign(s.data() + pos, n);
            break;
        case 17:
            s.swap(other);
            break;
        case 18:
            other = s;
            break;
        default:
            s.clear();
            break;
    }
}

void applyRef(int op, size_t pos, size_t n, size_t at, char c, const std::string& text,
              std::string& s, std::string& other) {
    switch (op) {
        case 0:
            s.append(text);
            break;
        case 1:
            s.append(std::string(s));
            break;
        case 2:
            s.append(s.substr(pos, n));
            break;
        case 3:
            s.append(std::string(s.rbegin(), s.rbegin() + static_cast<std::ptrdiff_t>(n)));
            break;
        case 4:
            s.append(n % 64, c);
            break;
        case 5:
            s.push_back(c);
            break;
        case 6:
            s.insert(pos, text);
            break;
        case 7:
            s.insert(at, s.substr(pos, n));
            break;
        case 8:
            s.insert(pos, n % 64, c);
            break;
        case 9:
            s.replace(pos, n, text);
            break;
        case 10:
            s.replace(pos, n, s.substr(at));
            break;
        case 11:
            s.replace(pos, n, std::string(s));
            break;
        case 12:
            s.replace(pos, n, n % 40, c);
            break;
        case 13:
            s.erase(pos, n);
            break;
        case 14:
            s.resize(at + n, c);
            break;
        case 15:
            s.reserve(at + n);
            break;
        case 16:
            s = s.substr(pos, n);
            break;
        case 17:
            s.swap(other);
            break;
        case 18:
            other = s;
            break;
        default:
            s.clear();
            break;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input in(data, size);
    Tessaran::Kerna::String s, so;
    Tessaran::Kerna::MiniString m, mo;
    std::string ref, refo;
    while (!in.done()) {
        const int op = in.byte() % 20;
        const size_t sz = ref.size();
        const size_t pos = in.upTo(sz);
        const size_t n = in.upTo(sz - pos);
        const size_t at = in.upTo(sz);
        const char c = static_cast<char>(in.byte());
        std::string text(in.upTo(40), '\0');
        for (char& t : text) t = static_cast<char>(in.byte());
        apply(op, pos, n, at, c, text, s, so);
        apply(op, pos, n, at, c, text, m, mo);
        applyRef(op, pos, n, at, c, text, ref, refo);
        check(s, ref, op);
        check(so, refo, op);
        check(m, ref, op);
        check(mo, refo, op);
        // Bound the work per input: cut every string back to its last 1000 characters.
        if (ref.size() > 2000) {
            const size_t cut = ref.size() - 1000;
            s.erase(0, cut);
            m.erase(0, cut);
            ref.erase(0, cut);
        }
        if (refo.size() > 2000) {
            const size_t cut = refo.size() - 1000;
            so.erase(0, cut);
            mo.erase(0, cut);
            refo.erase(0, cut);
        }
    }
    return 0;
}
