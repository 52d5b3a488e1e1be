// TimeParseFuzz.cpp
//
// CTime::parse on fuzzed text and format, and CTime::format with a fuzzed format string and
// fuzzed field values into a heap buffer of exactly the size the text needs, so that any write
// past it is caught. Checks the documented bounds of the text and the ranges of parsed values.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "FuzzClock.h"
#include "kerna/kerna3/Time.h"
#include "time/TimeFormat.h"

using KernaFuzz::check;
using KernaFuzz::take32;
using Tessaran::Kerna::CTime;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    KernaFuzz::useSimulatedClock();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // Layout: six field values, a control byte, then format and text split at the first 0 byte.
    CTime raw;
    raw.year = take32(data, size);
    raw.month = take32(data, size);
    raw.day = take32(data, size);
    raw.hour = take32(data, size);
    raw.minute = take32(data, size);
    raw.second = take32(data, size);
    const uint8_t control = size > 0 ? (--size, *data++) : 0;
    const int mask = control & 7;

    const uint8_t* split = static_cast<const uint8_t*>(std::memchr(data, 0, size));
    const size_t formatLength = split ? static_cast<size_t>(split - data) : size;
    const std::string format(reinterpret_cast<const char*>(data), formatLength);
    const std::string text =
        split ? std::string(reinterpret_cast<const char*>(split + 1), size - formatLength - 1)
              : std::string();

    if (control & 8) CTime::setFormatString(format.c_str());

    // parse: never a crash; a success leaves a normalised value.
    CTime parsed = raw;
    if (parsed.parse(text.c_str(), format.c_str(), mask)) {
        check(parsed.year >= 1970 && parsed.year <= 2106);
        check(parsed.month >= 1 && parsed.month <= 12);
        check(parsed.day >= 1 && parsed.day <= 31);
        check(parsed.hour >= 0 && parsed.hour <= 23);
        check(parsed.minute >= 0 && parsed.minute <= 59);
        check(parsed.second >= 0 && parsed.second <= 59);
        check(parsed.wday >= 0 && parsed.wday <= 6);
    } else {
        check(parsed.year == 0 && parsed.hour == 0 && parsed.second == 0);
    }

    // format, with raw fields and with the same fields clamped, into exactly-sized buffers.
    const Tessaran::Kerna::Detail::FormatSettings settings = {
        CTime::getDateFormat(), CTime::getSeparator(), CTime::get12Hour()};
    const CTime clamped(raw.year, raw.month, raw.day, raw.hour, raw.minute, raw.second);
    const CTime* const values[] = {&raw, &clamped};
    for (const CTime* value : values) {
        const size_t needed = Tessaran::Kerna::Detail::formatFields(*value, format.c_str(), mask,
                                                                    settings, nullptr, 0)
                                  .length;
        const size_t bound = value == &raw ? 11 * format.size() + 1 : 2 * format.size() + 3;
        check(needed + 1 <= bound);
        std::vector<char> exact(needed + 1);
        value->format(exact.data(), format.c_str(), mask);
        check(std::strlen(exact.data()) == needed);
    }
    return 0;
}
