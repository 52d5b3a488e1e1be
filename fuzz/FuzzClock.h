// FuzzClock.h
//
// Shared by the fuzz targets of the time code: the simulated wall clock with real setting
// forbidden (a fuzz run must never reach the machine's clock), a print level that keeps the lines
// of bad input from flooding the run, the check that ends the run on a broken property, and the
// reading of field values from the input.
#ifndef KERNA_FUZZ_FUZZCLOCK_H_
#define KERNA_FUZZ_FUZZCLOCK_H_

#include <cstddef>
#include <cstdint>
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

/// The next four input bytes as a big-endian 32-bit field value (fewer at the end of the input).
inline int32_t take32(const uint8_t*& data, size_t& size) {
    uint32_t value = 0;
    for (int i = 0; i < 4 && size > 0; ++i, ++data, --size) value = (value << 8) | *data;
    return static_cast<int32_t>(value);
}

}  // namespace KernaFuzz

#endif  // KERNA_FUZZ_FUZZCLOCK_H_
