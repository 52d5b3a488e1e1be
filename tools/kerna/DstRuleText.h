// DstRuleText.h
//
// The text forms `kerna dst` reads: a daylight-saving rule as its five fields, a zone offset and a
// range of years. Strict: every character must belong to the form, numbers are decimal with at
// most nine digits, and nothing is read past the terminator.
#ifndef KERNA_TOOLS_KERNA_DSTRULETEXT_H_
#define KERNA_TOOLS_KERNA_DSTRULETEXT_H_

#include <string>

#include "kerna/kerna3/Time.h"

namespace KernaTool {

/// "month,day,week,hour,minute", five integers in the order of DstConfigInfo ("3,0,2,2,0": the
/// second Sunday of March at 02:00). The reserved fields become 0. Ranges are not checked here.
bool parseDstRule(const char* text, Tessaran::Kerna::DstConfigInfo& rule);

/// A zone as seconds east of Greenwich: "+08:00", "-05:30", "+8", "+0545"... (a sign, hours,
/// optional minutes) or a plain number of seconds ("28800"). From -43200 to 50400.
bool parseZoneOffset(const char* text, int& seconds);

/// "2026" or "2026-2030": years from 1970 to 2106, the first not after the last.
bool parseYearRange(const char* text, int& first, int& last);

/// The rule in words: "the 2nd Sunday of March at 02:00", "the last Friday of ...", "March 31
/// at 01:30". The rule must be in range.
std::string describeDstRule(const Tessaran::Kerna::DstConfigInfo& rule);

/// "+08:00" for 28800.
std::string zoneText(int seconds);

}  // namespace KernaTool

#endif  // KERNA_TOOLS_KERNA_DSTRULETEXT_H_
