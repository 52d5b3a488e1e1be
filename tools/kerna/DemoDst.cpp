// DemoDst.cpp
//
// The daylight-saving scene of `kerna demo`. It runs on the library's simulated wall clock, set a
// few seconds before a start instant, and forbids setting the machine's clock: the manager moves
// the simulated clock an hour forward, the callback and a modify proc are told, and stopping the
// manager gives the hour back.
#include <stdio.h>

#include <kerna/kerna3/Thread.h>
#include <kerna/kerna3/Time.h>
#include <kerna/kerna3/testing/SimulatedClock.h>

#include "Commands.h"

using namespace Tessaran::Kerna;

namespace {

std::string now() {
    char buf[64];
    CTime::getCurrentTime().format(buf, "yyyy-MM-dd HH:mm:ss", 7);
    return buf;
}

void onDst(bool dst) {
    printf("  daylight-saving callback: %s\n", dst ? "in daylight saving" : "out of daylight saving");
    fflush(stdout);
}

bool onModify(SystemTime t) {
    const ModifyTimeClientInfo who = CTime::getModifyTimeClientInfo();
    printf("  modify proc: the clock was set to %04d-%02d-%02d %02d:%02d:%02d by %s (%s)\n", t.year,
           t.month, t.day, t.hour, t.minute, t.second, who.clientName, who.clientType);
    fflush(stdout);
    return true;
}

}  // namespace

namespace KernaTool {

void demoDst() {
    printf("\n== daylight saving: the manager moves the clock an hour forward at the start instant\n"
           "   (on the library's simulated wall clock: the machine's clock is never set)\n");
    // 2026-03-29 01:59:56 in a zone of UTC+1, four seconds before the last Sunday of March 02:00.
    Testing::installSimulatedClock(1774745996000LL, -3600);
    Testing::forbidRealClockSet();
    CTime::setTimeZone(3600);
    CTime::attachConvertDstCallback(TFunction1<void, bool>(&onDst));
    CTime::attachModifyProc(TFunction1<bool, SystemTime>(&onModify));
    const DstConfigInfo start = {3, 0, -1, 2, 0, 0, 0, 0};   // last Sunday of March, 02:00
    const DstConfigInfo end = {10, 0, -1, 3, 0, 0, 0, 0};    // last Sunday of October, 03:00
    printf("  rules: last Sunday of March 02:00 to last Sunday of October 03:00; the clock reads %s\n",
           now().c_str());
    fflush(stdout);
    if (!CTime::setDstConfig(start, end, true)) return;
    for (int i = 0; i < 1000 && CTime::getDst() != 1; ++i) CThread::sleep(10);
    printf("  the clock reads %s, daylight-saving state %d\n", now().c_str(), CTime::getDst());
    CTime first, last;
    if (CTime::getDstConfig(2027, first, last)) {
        char a[64], b[64];
        first.format(a, "yyyy-MM-dd HH:mm:ss", 7);
        last.format(b, "yyyy-MM-dd HH:mm:ss", 7);
        printf("  next year's instants: forward at %s, back at %s\n", a, b);
    }
    printf("  stopping the manager in daylight saving gives the hour back:\n");
    fflush(stdout);
    CTime::setDstConfig(start, end, false);
    printf("  the clock reads %s, daylight-saving state %d\n", now().c_str(), CTime::getDst());
    Testing::restoreRealClock();
}

}  // namespace KernaTool
