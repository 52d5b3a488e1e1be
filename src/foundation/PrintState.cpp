// PrintState.cpp
//
// The process-wide state of the print path: level, switches, option records, the module map and
// the byte statistics. The module map and the statistics map each have their own lock, created
// on first use and never held together with another lock of the print path.
#include "foundation/PrintState.h"

#include "kerna/kerna3/Mutex.h"

namespace Tessaran {
namespace Kerna {
namespace Detail {

std::atomic<int> g_lineComplete{1};
std::atomic<int> g_colorReset{1};
PrintOptions g_printOptions = {};
PrintOptions g_consoleOptions = {};
std::atomic<bool> g_moduleStatistics{false};

namespace {

std::atomic<bool> g_moduleFilterUsed{false};

struct ModuleState {
    CMutex lock;
    std::map<std::string, bool> modules;
};
ModuleState& modules() {
    static ModuleState* state = new ModuleState;  // lives to the end of the process
    return *state;
}

struct StatisticsState {
    CMutex lock;
    std::map<std::string, LogModuleInfo> counts;
};
StatisticsState& statistics() {
    static StatisticsState* state = new StatisticsState;
    return *state;
}

}  // namespace

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
