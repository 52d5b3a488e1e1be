// DstRuleFuzz.cpp
//
// The text forms of `kerna dst` on fuzzed input: a rule, a zone offset and a year range. Never a
// crash or a read past the text; what is accepted must survive a round trip through its written
// form, lie in its range, and (for a rule in range) name an instant inside its month.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "DstRuleText.h"
#include "FuzzClock.h"
#include "time/DstRule.h"

using KernaFuzz::check;
using Tessaran::Kerna::CTime;
using Tessaran::Kerna::DstConfigInfo;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    KernaFuzz::useSimulatedClock();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);  // stops at a 0 byte
    DstConfigInfo rule = {};
    if (KernaTool::parseDstRule(text.c_str(), rule)) {
        const std::string written = std::to_string(rule.month) + "," + std::to_string(rule.day) + "," +
                                    std::to_string(rule.week) + "," + std::to_string(rule.hour) + "," +
                                    std::to_string(rule.minute);
        DstConfigInfo again = {};
        check(KernaTool::parseDstRule(written.c_str(), again));
        check(again.month == rule.month && again.day == rule.day && again.week == rule.week &&
              again.hour == rule.hour && again.minute == rule.minute && again.reserved1 == 0);
        if (Tessaran::Kerna::Detail::dstRuleValid(rule)) {
            check(!KernaTool::describeDstRule(rule).empty());
            for (int year : {1970, 2000, 2024, 2037, 2106}) {
                CTime t;
                check(Tessaran::Kerna::Detail::dstRuleInstant(rule, year, t));
                check(t.year == year && t.month == rule.month && t.day >= 1 && t.day <= 31);
                check(t.hour == rule.hour && t.minute == rule.minute && t.second == 0);
                if (rule.week != 0) check(t.wday == rule.day);
            }
        }
    }
    int seconds = 0;
    if (KernaTool::parseZoneOffset(text.c_str(), seconds)) {
        check(seconds >= -43200 && seconds <= 50400);
        int again = 1;
        check(KernaTool::parseZoneOffset(KernaTool::zoneText(seconds).c_str(), again));
        check(again == seconds - seconds % 60);
    }
    int first = 0, last = 0;
    if (KernaTool::parseYearRange(text.c_str(), first, last)) {
        check(first >= 1970 && first <= last && last <= 2106);
    }
    return 0;
}
