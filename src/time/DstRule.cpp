// DstRule.cpp
//
// The instants of daylight-saving rules on the library's own calendar.
#include "time/DstRule.h"

#include "time/Calendar.h"

namespace Tessaran {
namespace Kerna {
namespace Detail {

bool dstRuleValid(const DstConfigInfo& rule) {
    if (rule.hour < 0 || rule.hour > 23 || rule.minute < 0 || rule.minute > 59) return false;
    if (rule.month < 1 || rule.month > 12) return false;
    if (rule.week == 0) return rule.day >= 1 && rule.day <= 31;
    return rule.week >= -1 && rule.week <= 4 && rule.day >= 0 && rule.day <= 6;
}

bool dstRuleInstant(const DstConfigInfo& rule, int year, CTime& instant) {
    if (!dstRuleValid(rule)) return false;
    if (year < kFirstYear) year = kFirstYear;
    if (year > kLastYear) year = kLastYear;
    int day = rule.day;
    if (rule.week != 0) {
        const int firstWeekday = weekdayFromDays(daysFromCivil(year, rule.month, 1));
        if (rule.week >= 1) {
            day = 1 + (rule.week - 1) * 7 + (rule.day - firstWeekday) +
                  (rule.day < firstWeekday ? 7 : 0);
        } else {
            const int last = monthLength(year, rule.month);
            const int lastWeekday = weekdayFromDays(daysFromCivil(year, rule.month, last));
            day = last - (lastWeekday - rule.day + 7) % 7;
        }
    }
    instant = CTime(year, rule.month, day, rule.hour, rule.minute, 0);
    return true;
}

bool dstPeriodTooShort(const CTime& start, const CTime& end) {
    const long long length = end - start;
    return length >= 0 && length <= 3600;
}

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran
