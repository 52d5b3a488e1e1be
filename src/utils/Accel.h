// Accel.h
//
// Which CPU instructions the utilities may use beside their reference paths, and the switch that
// forces the reference paths (one-table CRC, table-driven AES rounds, portable SHA-1 block
// function). Tests and benchmarks flip the switch to compare the two paths; both give the same
// results for every input.
#ifndef KERNA_SRC_UTILS_ACCEL_H_
#define KERNA_SRC_UTILS_ACCEL_H_

namespace Tessaran {
namespace Utils {
namespace Detail {

/// What the CPU offers, read once with CPUID.
struct CpuFeatures {
    bool ssse3;
    bool sse41;
    bool aesni;
    bool pclmul;
    bool shani;
};

const CpuFeatures& cpuFeatures();

/// With `on` true every utility takes its reference path from the next call on (AES objects
/// choose at construction). Any thread may call it.
void setReferenceOnly(bool on);
bool referenceOnly();

/// True when the accelerated path may be used: the CPU has it and the switch is off.
bool useAesNi();
bool useClmul();
bool useShaNi();

/// Overwrites `size` bytes at `p` with zeros in a way the compiler does not drop.
void secureZero(void* p, unsigned long size);

}  // namespace Detail
}  // namespace Utils
}  // namespace Tessaran

#endif  // KERNA_SRC_UTILS_ACCEL_H_
