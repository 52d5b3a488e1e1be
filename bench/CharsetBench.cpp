// The charset conversions beside glibc iconv, over 1 MiB of text: GBK to UTF-8 and back on
// mixed Chinese and ASCII, Windows-1252 to UTF-8 on Western European text. Compare the
// bytes_per_second of each Kerna benchmark with its Iconv twin.
#include <benchmark/benchmark.h>
#include <iconv.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "kerna/utils/Charset.h"

using namespace Tessaran::Utils;

namespace {

const size_t kTextSize = 1 << 20;

// A deterministic pseudo-random sequence.
class Lcg {
public:
    uint32_t next() {
        m_state = m_state * 1664525u + 1013904223u;
        return m_state >> 8;
    }
    uint32_t below(uint32_t n) { return next() % n; }

private:
    uint32_t m_state = 12345;
};

// Sentences of GB 2312 hanzi (rows 0xB0-0xD7) mixed with ASCII words, digits and punctuation:
// about half the characters are Chinese.
const std::string& gbkText() {
    static const std::string text = [] {
        std::string s;
        Lcg random;
        static const char* const words[] = {
            "the ", "device ", "GBK ", "log ", "id=", "2024 ", "OK ", "port ", "value ", "12.5 "};
        while (s.size() < kTextSize - 64) {
            for (uint32_t n = 4 + random.below(12); n > 0; --n) {
                s.push_back(static_cast<char>(0xB0 + random.below(0xD7 - 0xB0)));
                s.push_back(static_cast<char>(0xA1 + random.below(0xFE - 0xA1)));
            }
            for (uint32_t n = 1 + random.below(4); n > 0; --n) s += words[random.below(10)];
            s += random.below(4) == 0 ? "\n" : ", ";
        }
        return s;
    }();
    return text;
}

std::string iconvAll(const char* from, const char* to, const std::string& in) {
    iconv_t cd = iconv_open(to, from);
    std::string out(in.size() * 4, '\0');
    char* inPtr = const_cast<char*>(in.data());
    size_t inLeft = in.size();
    char* outPtr = &out[0];
    size_t outLeft = out.size();
    iconv(cd, &inPtr, &inLeft, &outPtr, &outLeft);
    iconv_close(cd);
    out.resize(out.size() - outLeft);
    return out;
}

const std::string& utf8Text() {
    static const std::string text = iconvAll("GBK", "UTF-8", gbkText());
    return text;
}

// French and German words with accents, typographic quotes, dashes and the euro sign.
const std::string& cp1252Text() {
    static const std::string text = [] {
        std::string s;
        Lcg random;
        static const char* const words[] = {"caf\xE9 ",
                                            "na\xEFve ",
                                            "\x93quote\x94 ",
                                            "\x80"
                                            "12 ",
                                            "stra\xDF"
                                            "e ",
                                            "\xFC"
                                            "ber ",
                                            "d\xE9j\xE0 ",
                                            "the ",
                                            "and ",
                                            "system ",
                                            "\x96 ",
                                            "\xC9t\xE9 ",
                                            "M\xFCller ",
                                            "log "};
        while (s.size() < kTextSize - 64) {
            s += words[random.below(14)];
            if (random.below(12) == 0) s += ".\n";
        }
        return s;
    }();
    return text;
}

void runIconv(benchmark::State& state, const char* from, const char* to, const std::string& in) {
    iconv_t cd = iconv_open(to, from);
    std::vector<char> out(in.size() * 3 + 16);
    for (auto _ : state) {
        iconv(cd, nullptr, nullptr, nullptr, nullptr);
        char* inPtr = const_cast<char*>(in.data());
        size_t inLeft = in.size();
        char* outPtr = out.data();
        size_t outLeft = out.size();
        const size_t rc = iconv(cd, &inPtr, &inLeft, &outPtr, &outLeft);
        if (rc == static_cast<size_t>(-1) || inLeft != 0) state.SkipWithError("iconv failed");
        benchmark::DoNotOptimize(out.data());
    }
    iconv_close(cd);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * in.size()));
}

void BM_GbkToUtf8_Kerna(benchmark::State& state) {
    std::vector<char> in(gbkText().begin(), gbkText().end());
    in.push_back('\0');
    std::vector<unsigned char> out(in.size() * 3 / 2 + 16);
    const int expected = static_cast<int>(utf8Text().size());
    for (auto _ : state) {
        const int n = Gb2312TUtf8(in.data(), out.data(), static_cast<int>(out.size()));
        if (n != expected) state.SkipWithError("wrong length");
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * gbkText().size()));
}
BENCHMARK(BM_GbkToUtf8_Kerna)->Unit(benchmark::kMicrosecond);

void BM_GbkToUtf8_Iconv(benchmark::State& state) { runIconv(state, "GBK", "UTF-8", gbkText()); }
BENCHMARK(BM_GbkToUtf8_Iconv)->Unit(benchmark::kMicrosecond);

void BM_Utf8ToGbk_Kerna(benchmark::State& state) {
    std::vector<unsigned char> in(utf8Text().begin(), utf8Text().end());
    in.push_back('\0');
    std::vector<char> out(gbkText().size() + 16);
    for (auto _ : state) {
        const int n = utf8TGb2312(in.data(), out.data(), static_cast<int>(in.size()),
                                  static_cast<int>(out.size()) - 1);
        if (n <= 0) state.SkipWithError("conversion failed");
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * utf8Text().size()));
}
BENCHMARK(BM_Utf8ToGbk_Kerna)->Unit(benchmark::kMicrosecond);

void BM_Utf8ToGbk_Iconv(benchmark::State& state) { runIconv(state, "UTF-8", "GBK", utf8Text()); }
BENCHMARK(BM_Utf8ToGbk_Iconv)->Unit(benchmark::kMicrosecond);

void BM_Cp1252ToUtf8_Kerna(benchmark::State& state) {
    const std::string& in = cp1252Text();
    std::vector<unsigned char> out(in.size() * 3);
    for (auto _ : state) {
        const int rc = cp1252_to_utf8(out.data(), static_cast<int>(out.size()),
                                      reinterpret_cast<const unsigned char*>(in.data()),
                                      static_cast<int>(in.size()));
        if (rc != 0) state.SkipWithError("conversion failed");
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * in.size()));
}
BENCHMARK(BM_Cp1252ToUtf8_Kerna)->Unit(benchmark::kMicrosecond);

void BM_Cp1252ToUtf8_Iconv(benchmark::State& state) {
    runIconv(state, "CP1252", "UTF-8", cp1252Text());
}
BENCHMARK(BM_Cp1252ToUtf8_Iconv)->Unit(benchmark::kMicrosecond);

}  // namespace
