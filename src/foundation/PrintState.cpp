// PrintState.cpp
//
// The process-wide state of the print path: level, switches, option records, the module map and
// the byte statistics. The module map and the statistics map each have their own lock, created
// on first use and never held together with another lock of the print path.
#include "foundation/PrintState.h"

#include "base/ProcessObject.h"
#include "kerna/kerna3/Mutex.h"
#include "platform/Fork.h"
#include "platform/Lock.h"
#include "sync/MutexAccess.h"

namespace Tessaran {
namespace Kerna {
namespace Detail {

std::atomic<int> g_lineComplete{1};
std::atomic<int> g_colorReset{1};
std::atomic<bool> g_moduleStatistics{false};

namespace {

// The two option records and the count of writes: odd while a writer is at work. Bytes are read
// and written one at a time as atomics, so a reader that meets a writer reads again instead of
// racing with it. A writer's byte stores are releases (none comes before its odd count) and a
// reader's byte loads acquires (none comes after its second look at the count).
PrintOptions g_printOptions = {};
PrintOptions g_consoleOptions = {};
std::atomic<uint32_t> g_optionWrites{0};
std::atomic<bool> g_optionForkHandlersAdded{false};

const size_t usedBytes = 13;  // the switches; the reserved bytes behind them

void loadBytes(const PrintOptions& from, PrintOptions& to, size_t count) {
    const unsigned char* in = reinterpret_cast<const unsigned char*>(&from);
    unsigned char* out = reinterpret_cast<unsigned char*>(&to);
    for (size_t i = 0; i < count; ++i) out[i] = __atomic_load_n(in + i, __ATOMIC_ACQUIRE);
}

void storeBytes(const PrintOptions& from, PrintOptions& to, size_t count) {
    const unsigned char* in = reinterpret_cast<const unsigned char*>(&from);
    unsigned char* out = reinterpret_cast<unsigned char*>(&to);
    for (size_t i = 0; i < count; ++i) __atomic_store_n(out + i, in[i], __ATOMIC_RELEASE);
}

// A writer that the fork left half done would hold every reader of the child for good.
void optionsAfterForkInChild() {
    const uint32_t writes = g_optionWrites.load(std::memory_order_relaxed);
    if (writes & 1u) g_optionWrites.store(writes + 1, std::memory_order_relaxed);
}

uint32_t beginOptionWrite() {
    if (!g_optionForkHandlersAdded.load(std::memory_order_acquire) &&
        !g_optionForkHandlersAdded.exchange(true)) {
        Platform::addForkHandlers(Platform::forkRankPrint, nullptr, nullptr,
                                  optionsAfterForkInChild);
    }
    uint32_t writes = g_optionWrites.load(std::memory_order_relaxed);
    for (;;) {
        if ((writes & 1u) == 0 &&
            g_optionWrites.compare_exchange_weak(writes, writes + 1, std::memory_order_acquire,
                                                std::memory_order_relaxed)) {
            break;
        }
        if (writes & 1u) {
            Platform::yieldThread();
            writes = g_optionWrites.load(std::memory_order_relaxed);
        }
    }
    return writes;
}

void endOptionWrite(uint32_t writes) { g_optionWrites.store(writes + 2, std::memory_order_release); }

// Copies the first `count` bytes of the records asked for (a null destination is skipped) as they
// were between two writes.
void readRecords(PrintOptions* record, PrintOptions* console, size_t count) {
    for (;;) {
        const uint32_t before = g_optionWrites.load(std::memory_order_acquire);
        if (before & 1u) {
            Platform::yieldThread();
            continue;
        }
        if (record != nullptr) loadBytes(g_printOptions, *record, count);
        if (console != nullptr) loadBytes(g_consoleOptions, *console, count);
        if (g_optionWrites.load(std::memory_order_relaxed) == before) return;
    }
}

std::atomic<bool> g_moduleFilterUsed{false};

struct ModuleState {
    CMutex lock;
    std::map<std::string, bool> modules;
    ModuleState() { keepLockAcrossFork<ModuleState>(Platform::forkRankPrint); }
    void published() {}
    void atProcessExit() {}
};
ModuleState& modules() { return *ProcessObject<ModuleState>::get(); }

struct StatisticsState {
    CMutex lock;
    std::map<std::string, LogModuleInfo> counts;
    StatisticsState() { keepLockAcrossFork<StatisticsState>(Platform::forkRankPrint); }
    void published() {}
    void atProcessExit() {}
};
StatisticsState& statistics() { return *ProcessObject<StatisticsState>::get(); }

}  // namespace

PrintOptions readPrintOptions() {
    PrintOptions record;
    readRecords(&record, nullptr, sizeof(PrintOptions));
    return record;
}

PrintOptions readConsoleOptions() {
    PrintOptions console = {};
    readRecords(nullptr, &console, usedBytes);
    return console;
}

void readOptionRecords(PrintOptions& record, PrintOptions& console) {
    record = PrintOptions();
    console = PrintOptions();
    readRecords(&record, &console, usedBytes);
}

bool consoleNoColor() {
    return __atomic_load_n(reinterpret_cast<const unsigned char*>(&g_consoleOptions.noColor),
                           __ATOMIC_RELAXED) != 0;
}

PrintOptions* consoleOptionsRecord() { return &g_consoleOptions; }

void writePrintOptions(const PrintOptions& options) {
    const uint32_t writes = beginOptionWrite();
    storeBytes(options, g_printOptions, sizeof(PrintOptions));
    storeBytes(options, g_consoleOptions, usedBytes);
    endOptionWrite(writes);
}

void writePrintOption(bool PrintOptions::*field, bool value) {
    const uint32_t writes = beginOptionWrite();
    const size_t offset = static_cast<size_t>(reinterpret_cast<const unsigned char*>(&(g_printOptions.*field)) -
                                              reinterpret_cast<const unsigned char*>(&g_printOptions));
    const unsigned char byte = value ? 1 : 0;
    __atomic_store_n(reinterpret_cast<unsigned char*>(&g_printOptions) + offset, byte, __ATOMIC_RELEASE);
    __atomic_store_n(reinterpret_cast<unsigned char*>(&g_consoleOptions) + offset, byte, __ATOMIC_RELEASE);
    endOptionWrite(writes);
}

void setModuleEnabled(const std::string& libName, bool on) {
    ModuleState& m = modules();
    CGuard guard(m.lock);
    m.modules[libName] = on;
    g_moduleFilterUsed.store(true, std::memory_order_relaxed);
}

void clearModules() {
    ModuleState& m = modules();
    CGuard guard(m.lock);
    m.modules.clear();
}

bool modulePasses(const char* libName) {
    if (g_moduleSwitch.load(std::memory_order_relaxed) != moduleFiltered) return true;
    if (!g_moduleFilterUsed.load(std::memory_order_relaxed) || libName == nullptr) return true;
    ModuleState& m = modules();
    CGuard guard(m.lock);
    std::map<std::string, bool>::const_iterator it = m.modules.find(libName);
    return it == m.modules.end() || it->second;
}

std::map<std::string, bool> moduleMap() {
    ModuleState& m = modules();
    CGuard guard(m.lock);
    return m.modules;
}

void setModuleStatistics(bool on) {
    g_moduleStatistics.store(on, std::memory_order_relaxed);
    if (!on) {
        StatisticsState& s = statistics();
        CGuard guard(s.lock);
        s.counts.clear();
    }
}

void addStatistics(const char* libName, uint64_t length) {
    if (libName == nullptr || *libName == '\0') return;
    const uint64_t limit = 0xFFFFFFFFull;
    StatisticsState& s = statistics();
    CGuard guard(s.lock);
    LogModuleInfo& info = s.counts[libName];
    info.bytes = (info.bytes >= limit || length >= limit - info.bytes) ? limit : info.bytes + length;
}

}  // namespace Detail

std::map<std::string, LogModuleInfo> getLogStatistics() {
    Detail::StatisticsState& s = Detail::statistics();
    CGuard guard(s.lock);
    return s.counts;
}

}  // namespace Kerna
}  // namespace Tessaran
