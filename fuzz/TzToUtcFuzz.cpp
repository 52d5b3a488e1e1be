// TzToUtcFuzz.cpp
//
// CTime::convertTZtoUTC on fuzzed ISO text, and convertUTCtoTZ of what it gives into a heap buffer
// of exactly the size the text needs, so that a write past it is caught. What is accepted must
// come back to the same seconds through the written form.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "FuzzClock.h"
#include "kerna/kerna3/Time.h"

using KernaFuzz::check;
using Tessaran::Kerna::CTime;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    KernaFuzz::useSimulatedClock();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    unsigned long long utc = 1;
    if (!CTime::convertTZtoUTC(text.c_str(), &utc)) {
        check(utc == 0);
        return 0;
    }
    std::vector<char> buf(21);
    CTime::convertUTCtoTZ(utc, buf.data(), static_cast<int>(buf.size()), false);
    check(std::strlen(buf.data()) == 20 && buf[19] == 'Z');
    unsigned long long again = 0;
    check(CTime::convertTZtoUTC(buf.data(), &again));
    check(again == utc);
    return 0;
}
