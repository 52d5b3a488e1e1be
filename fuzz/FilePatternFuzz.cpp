// Fuzzes the search-pattern matcher of the default file tables against a reference matcher (a
// table over pattern and name positions). The input is cut at its first NUL into a pattern and a
// name; both are exact heap copies, so a read past either is caught by the address sanitizer.
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "file/FileTables.h"

namespace {

// match[i][j]: the first i pattern bytes match the first j name bytes.
bool reference(const char* pattern, size_t pl, const char* name, size_t nl) {
    if (pl == 3 && std::memcmp(pattern, "*.*", 3) == 0) return true;
    std::vector<std::vector<char>> match(pl + 1, std::vector<char>(nl + 1, 0));
    match[0][0] = 1;
    for (size_t i = 1; i <= pl; ++i) {
        const char p = pattern[i - 1];
        for (size_t j = 0; j <= nl; ++j) {
            if (p == '*') {
                match[i][j] = match[i - 1][j] || (j > 0 && match[i][j - 1]);
            } else if (j > 0 && (p == '?' || p == name[j - 1])) {
                match[i][j] = match[i - 1][j - 1];
            }
        }
    }
    return match[pl][nl] != 0;
}

std::unique_ptr<char[]> copy(const uint8_t* data, size_t size) {
    std::unique_ptr<char[]> text(new char[size + 1]);
    std::memcpy(text.get(), data, size);
    text[size] = '\0';
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 512) return 0;
    const uint8_t* cut = static_cast<const uint8_t*>(std::memchr(data, 0, size));
    const size_t pl = cut ? static_cast<size_t>(cut - data) : size;
    const size_t nl = cut ? size - pl - 1 : 0;
    std::unique_ptr<char[]> pattern = copy(data, pl);
    std::unique_ptr<char[]> name = copy(cut ? cut + 1 : data + size, nl);
    // The name ends at its first NUL as the matcher sees it.
    const size_t nameLength = std::strlen(name.get());
    const bool got = Tessaran::Kerna::Detail::matchFilePattern(pattern.get(), name.get());
    if (got != reference(pattern.get(), pl, name.get(), nameLength)) __builtin_trap();
    return 0;
}
