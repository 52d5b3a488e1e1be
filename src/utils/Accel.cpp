// Accel.cpp
//
// CPU feature detection for the accelerated paths of the utilities, and the reference switch.
#include "utils/Accel.h"

#include <cpuid.h>

#include <atomic>
#include <cstring>

namespace Tessaran {
namespace Utils {
namespace Detail {

namespace {

std::atomic<bool> g_referenceOnly{false};

CpuFeatures detect() {
    CpuFeatures f = {};
    unsigned a = 0, b = 0, c = 0, d = 0;
    if (__get_cpuid(1, &a, &b, &c, &d)) {
        f.ssse3 = (c & bit_SSSE3) != 0;
        f.sse41 = (c & bit_SSE4_1) != 0;
        f.aesni = (c & bit_AES) != 0;
        f.pclmul = (c & bit_PCLMUL) != 0;
    }
    if (__get_cpuid_max(0, nullptr) >= 7 && __get_cpuid_count(7, 0, &a, &b, &c, &d)) {
        f.shani = (b & bit_SHA) != 0;
    }
    return f;
}

}  // namespace

const CpuFeatures& cpuFeatures() {
    static const CpuFeatures features = detect();
    return features;
}

void setReferenceOnly(bool on) { g_referenceOnly.store(on, std::memory_order_relaxed); }

bool referenceOnly() { return g_referenceOnly.load(std::memory_order_relaxed); }

bool useAesNi() {
    const CpuFeatures& f = cpuFeatures();
    return !referenceOnly() && f.aesni && f.sse41 && f.ssse3;
}

bool useClmul() {
    const CpuFeatures& f = cpuFeatures();
    return !referenceOnly() && f.pclmul && f.sse41;
}

bool useShaNi() {
    const CpuFeatures& f = cpuFeatures();
    return !referenceOnly() && f.shani && f.sse41 && f.ssse3;
}

void secureZero(void* p, unsigned long size) {
    std::memset(p, 0, size);
    // The empty statement claims to read the memory, so the stores above must happen.
    __asm__ __volatile__("" : : "r"(p) : "memory");
}

}  // namespace Detail
}  // namespace Utils
}  // namespace Tessaran
