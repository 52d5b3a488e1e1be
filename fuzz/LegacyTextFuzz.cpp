// LegacyTextFuzz.cpp
//
// The text inputs of the older interface and of the version records: CVersion's revision and
// date texts and its older form, the older CTime's format settings from a fuzzed text, its format
// walk with fuzzed fields and format into a heap buffer of exactly the size the text needs (any
// write past it is caught), and its conversions through the C library with fuzzed fields.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "FuzzClock.h"
#include "foundation/VersionInternal.h"
#include "kerna/kerna3/Version.h"
#include "kerna/legacy/Time.h"
#include "time/TimeFormat.h"

using KernaFuzz::check;
using KernaFuzz::take32;

namespace {

// The next text, up to a 0 byte or the end.
std::string takeText(const uint8_t*& data, size_t& size) {
    const uint8_t* end = static_cast<const uint8_t*>(std::memchr(data, 0, size));
    const size_t length = end ? static_cast<size_t>(end - data) : size;
    std::string text(reinterpret_cast<const char*>(data), length);
    const size_t used = end ? length + 1 : length;
    data += used;
    size -= used;
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    KernaFuzz::useSimulatedClock();
    setenv("TZ", "UTC0", 1);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // Layout: six field values, a control byte, then name, revision, date and format texts.
    SystemTime fields = {0, 0, 0, 0, 0, 0, 0, -1};
    fields.year = take32(data, size);
    fields.month = take32(data, size);
    fields.day = take32(data, size);
    fields.hour = take32(data, size);
    fields.minute = take32(data, size);
    fields.second = take32(data, size);
    const uint8_t control = size > 0 ? (--size, *data++) : 0;
    const std::string name = takeText(data, size);
    const std::string revision = takeText(data, size);
    const std::string date = takeText(data, size);
    const std::string format = takeText(data, size);

    const Tessaran::Kerna::CVersion version(name.c_str(), 1, 2, 3, revision.c_str(), date.c_str());
    check(std::strlen(version.name) <= 31 && std::strncmp(version.name, name.c_str(), 31) == 0);
    check(version.date.month >= 1 && version.date.month <= 13);
    if (control & 1) {
        const Tessaran::Kerna::CVersion older = Tessaran::Kerna::Detail::makeLegacyVersion(
            name.c_str(), 1, 2, 3, revision.c_str(), date.c_str());
        check(older.date.month == version.date.month && older.date.day == version.date.day);
    }

    if (control & 2) {
        CTime::setFormat(format);
        check(CTime::getFormat() == format);
    }
    if (control & 4) CTime::setFormat(control >> 4 & 3, control >> 6, (control >> 3) & 1);

    // format: raw fields need at most 11 bytes per format character, normalised ones 2 and 3.
    const CTime raw(fields);
    const CTime normalised(fields.year, fields.month, fields.day, fields.hour, fields.minute,
                           fields.second);
    const CTime* const values[] = {&raw, &normalised};
    for (const CTime* value : values) {
        Tessaran::Kerna::Detail::FormatSettings settings = {
            CTime::getDateFormat(), CTime::getSpliter(), CTime::get12Hour()};
        settings.printfDigits = true;
        const size_t needed =
            Tessaran::Kerna::Detail::formatFields(*value, format.c_str(), 0, settings, nullptr, 0)
                .length;
        check(needed + 1 <= 11 * format.size() + 1);
        std::vector<char> exact(needed + 1);
        value->format(exact.data(), format.c_str());
        check(std::strlen(exact.data()) == needed);
    }

    // Seconds and fields agree both ways where the C library represents the time and its year
    // fits 32 bits (else breakTime leaves the fields, here those of CTime(): year 0).
    const unsigned long long seconds = normalised.makeTime();
    if (seconds != 0) {
        const CTime back(seconds);
        if (back.year != 0) check(back.makeTime() == seconds && back == normalised);
    }
    return 0;
}
