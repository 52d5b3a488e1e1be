// MemoryTestSupport.h
//
// Helpers of the memory tests. The packet manager is one per process and frozen at its first
// use, so a test of a configured policy runs its body in a fresh child (support/ChildProcess.h),
// which configures before the first use.

#ifndef KERNA_TESTS_MEMORY_MEMORYTESTSUPPORT_H_
#define KERNA_TESTS_MEMORY_MEMORYTESTSUPPORT_H_

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

#include "memory/PacketManagerInternal.h"
#include "support/ChildProcess.h"
#include "support/LogCapture.h"

namespace MemoryTest {

using KernaTest::LogCapture;
using Tessaran::Memory::CPacketManager;

inline CPacketManager::PoolParameter pool(uint64_t total, uint64_t chunk = 1024, uint64_t align = 4) {
    CPacketManager::PoolParameter p;
    p.totalSize = total;
    p.chunkSize = chunk;
    p.alignSize = align;
    return p;
}

/// Configures `policy` with a region of `total` bytes in chunks of 1024 and makes the manager.
inline CPacketManager* configured(CPacketManager::Policy policy, uint64_t total) {
    CPacketManager::PoolParameter p = pool(total);
    CPacketManager::config(policy, nullptr, &p);
    return CPacketManager::instance();
}

/// The chunk-aligned start of the manager's region.
inline unsigned char* aligned() { return Tessaran::Memory::PacketManagerInternal::instance()->alignedBuffer(); }

inline std::string format(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
inline std::string format(const char* fmt, ...) {
    char buf[512];
    va_list args;
    va_start(args, fmt);
    std::vsnprintf(buf, sizeof buf, fmt, args);
    va_end(args);
    return buf;
}

}  // namespace MemoryTest

#endif  // KERNA_TESTS_MEMORY_MEMORYTESTSUPPORT_H_
