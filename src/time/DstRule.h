// DstRule.h
//
// Daylight-saving rules as calendar arithmetic: whether a rule is in range, and the instant a rule
// names in a given year (a date, the n-th weekday of a month, or its last weekday), worked out
// with the library's own calendar, so no platform call is involved and nothing can fail for a
// rule in range. The daylight-saving manager and the `kerna dst` command share it. Private to the
// library.
#ifndef KERNA_SRC_TIME_DSTRULE_H_
#define KERNA_SRC_TIME_DSTRULE_H_

#include "kerna/kerna3/Time.h"

namespace Tessaran {
namespace Kerna {
namespace Detail {

/// True when the rule is in range: hour 0 to 23, minute 0 to 59, month 1 to 12; with week 0 a
/// day 1 to 31; otherwise week -1 to 4 and a weekday 0 to 6.
bool dstRuleValid(const DstConfigInfo& rule);

/// The instant `rule` names in `year` (clamped to 1970 .. 2106), second 0, normalised as the
/// six-field CTime constructor does (April 31 is April 30). False, with `instant` untouched, for
/// a rule out of range.
bool dstRuleInstant(const DstConfigInfo& rule, int year, CTime& instant);

/// True when `end` lies from 0 to 3600 seconds after `start`, both included: such a period
/// would leave no time in daylight saving once the clock has gone forward. An end before the
/// start is a period across the new year.
bool dstPeriodTooShort(const CTime& start, const CTime& end);

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_TIME_DSTRULE_H_
