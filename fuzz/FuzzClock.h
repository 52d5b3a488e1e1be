// FuzzClock.h
//
// Shared by the fuzz targets of the time code: the simulated wall clock with real setting
// forbidden (a fuzz run must never reach the machine's clock), a print level that keeps the lines
// of bad input from flooding the run, and the check that ends the run on a broken property.
#ifndef KERNA_FUZZ_FUZZCLOCK_H_
#define KERNA_FUZZ_FUZZCLOCK_H_

#include <cstdlib>

#include "kerna/kerna3/PrintLog.h"
#include "kerna/kerna3/testing/SimulatedClock.h"

namespace KernaFuzz {

inline void useSimulatedClock() {
    Tessaran::Kerna::Testing::installSimulatedClock(1773489600000LL, -28800);
    Tessaran::Kerna::Testing::forbidRealClockSet();
    Tessaran::Kerna::setPrintLogLevel(1);
}

inline void check(bool condition) {
    if (!condition) std::abort();
}

}  // namespace KernaFuzz

#endif  // KERNA_FUZZ_FUZZCLOCK_H_
