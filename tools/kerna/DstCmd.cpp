// DstCmd.cpp
//
// `kerna dst`: for a start rule, an end rule, a zone and a range of years, the two instants of
// each year as the daylight-saving manager computes them, in the zone's local time and in UTC,
// so that a rule can be checked before it moves a device's clock. Nothing is started and no clock
// is read or set: the instants come from the manager's own rule arithmetic.
#include <stdio.h>

#include <string>
#include <vector>

#include "Commands.h"
#include "DstRuleText.h"
#include "ToolSupport.h"
#include "kerna/kerna3/Time.h"
#include "time/DstRule.h"

using Tessaran::Kerna::CTime;
using Tessaran::Kerna::DstConfigInfo;

namespace KernaTool {

namespace {

enum { optHelp = 1, optStart, optEnd, optZone, optYears };
const OptionDef kOptions[] = {{"help", 0, false, optHelp},   {"start", 's', true, optStart},
                              {"end", 'e', true, optEnd},     {"zone", 'z', true, optZone},
                              {"years", 'y', true, optYears}, {nullptr, 0, false, 0}};

void printHelp() {
    printf("Usage: kerna dst --start RULE --end RULE [--zone OFFSET] [--years FIRST[-LAST]]\n"
           "Print the instants at which the daylight-saving manager moves the clock an hour\n"
           "forward (start) and back (end) in each year, in local time and in UTC.\n\n"
           "  -s, --start RULE     the start rule: the clock goes forward\n"
           "  -e, --end RULE       the end rule: the clock goes back\n"
           "  -z, --zone OFFSET    the zone on standard time: +08:00, -05:30, +0545 or\n"
           "                       seconds east of Greenwich (default +00:00)\n"
           "  -y, --years RANGE    a year or FIRST-LAST, 1970 to 2106 (default 2026-2030)\n"
           "      --help           display this help and exit\n\n"
           "RULE is month,day,week,hour,minute: week 0 makes day a date (1-31); week 1 to 4\n"
           "takes the week-th weekday day (0 Sunday to 6 Saturday) of the month, week -1 the\n"
           "last one. The start is in standard local time, the end in daylight local time.\n"
           "An end before the start is a period across the new year (southern hemisphere).\n\n"
           "Example: kerna dst -s 3,0,2,2,0 -e 11,0,1,2,0 -z -05:00 -y 2026-2028\n\n"
           "Exit status: 0 if every year has a valid period, 1 if the manager would refuse\n"
           "the rules in some year, 2 if the command line or a rule is wrong.\n");
}

std::string instantText(const CTime& t) {
    char buf[64];
    t.format(buf, "yyyy-MM-dd HH:mm:ss", 7);
    return buf;
}

bool usageError(const char* message, const std::string& argument) {
    fprintf(stderr, "kerna dst: %s '%s'\n", message, argument.c_str());
    tryHelp("dst");
    return false;
}

}  // namespace

int cmdDst(int argc, char** argv) {
    std::vector<ParsedOption> options;
    std::vector<std::string> operands;
    if (!parseOptions("dst", argc, argv, kOptions, options, operands)) return 2;
    DstConfigInfo start = {}, end = {};
    bool haveStart = false, haveEnd = false;
    int zone = 0, firstYear = 2026, lastYear = 2030;
    for (const ParsedOption& o : options) {
        const char* arg = o.argument.c_str();
        bool ok = true;
        switch (o.id) {
            case optHelp:
                printHelp();
                return 0;
            case optStart:
                haveStart = parseDstRule(arg, start);
                if (!haveStart) ok = usageError("invalid start rule", o.argument);
                break;
            case optEnd:
                haveEnd = parseDstRule(arg, end);
                if (!haveEnd) ok = usageError("invalid end rule", o.argument);
                break;
            case optZone:
                if (!parseZoneOffset(arg, zone)) ok = usageError("invalid zone", o.argument);
                break;
            case optYears:
                if (!parseYearRange(arg, firstYear, lastYear)) ok = usageError("invalid years", o.argument);
                break;
        }
        if (!ok) return 2;
    }
    if (!operands.empty()) {
        usageError("extra operand", operands[0]);
        return 2;
    }
    if (!haveStart || !haveEnd) {
        fprintf(stderr, "kerna dst: both --start and --end are needed\n");
        tryHelp("dst");
        return 2;
    }
    if (!Tessaran::Kerna::Detail::dstRuleValid(start) || !Tessaran::Kerna::Detail::dstRuleValid(end)) {
        fprintf(stderr,
                "kerna dst: a rule is out of range (month 1-12, hour 0-23, minute 0-59; week 0 with "
                "day 1-31, or week 1 to 4 or -1 with day 0-6)\n");
        return 2;
    }

    printf("start: %s (standard time), end: %s (daylight time), zone %s\n",
           describeDstRule(start).c_str(), describeDstRule(end).c_str(), zoneText(zone).c_str());
    printf("%-5s %-19s  %-19s  %-19s  %s\n", "year", "start (local)", "start (UTC)", "end (local)",
           "end (UTC)");
    int status = 0;
    for (int year = firstYear; year <= lastYear; ++year) {
        CTime startTime, endTime;
        Tessaran::Kerna::Detail::dstRuleInstant(start, year, startTime);
        Tessaran::Kerna::Detail::dstRuleInstant(end, year, endTime);
        // Local standard time is UTC plus the zone; the end is read in daylight time, an hour more.
        const CTime startUtc = startTime - zone;
        const CTime endUtc = endTime - (zone + 3600);
        printf("%-5d %s  %s  %s  %s", year, instantText(startTime).c_str(), instantText(startUtc).c_str(),
               instantText(endTime).c_str(), instantText(endUtc).c_str());
        if (Tessaran::Kerna::Detail::dstPeriodTooShort(startTime, endTime)) {
            printf("  refused: the end is at most an hour after the start");
            status = 1;
        } else if (endTime < startTime) {
            printf("  across the new year");
        }
        printf("\n");
    }
    if (fflush(stdout) != 0) {
        fprintf(stderr, "kerna dst: write error\n");
        return 1;
    }
    return status;
}

}  // namespace KernaTool
