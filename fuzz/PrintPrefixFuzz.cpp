// Fuzzes the print path's inputs: option switches, level, texts and a small prefix buffer.
// The line must stay within the given room and the call must never crash.
#include <cstdint>
#include <cstring>
#include <string>

#include "kerna/kerna3/PrintLog.h"

using namespace Tessaran::Kerna;

namespace {
size_t g_total = 0;
void discard(const char* line) { g_total += strlen(line); }
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 4) return 0;
    static bool once = [] {
        setLogPrinter(TFunction1<void, const char*>(&discard));
        setPrintLogLevel(6);
        return true;
    }();
    (void)once;
    PrintOptions o = {};
    bool* flags = &o.noTime;
    for (int i = 0; i < 13; ++i) flags[i] = (data[0] | (data[1] << 8)) & (1 << i);
    o.noColor = true;
    setPrintOptions(o);
    const int level = data[2] % 8;
    const int room = data[3];
    const std::string text(reinterpret_cast<const char*>(data + 4), size - 4);
    const size_t third = text.size() / 3;
    const std::string lib = text.substr(0, third), file = text.substr(third, third), func = text.substr(2 * third);
    char buf[300];
    memset(buf, 'Z', sizeof buf);
    const int n = Kerna_logOptionControl(buf, room, level, lib.c_str(), file.c_str(), func.c_str(), 7,
                                         func.c_str(), nullptr);
    if (room > 0 && n >= room) __builtin_trap();
    if (buf[room] != 'Z' && room < 299) __builtin_trap();  // nothing written past the room
    logFilter(level, lib.c_str(), file.c_str(), func.c_str(), 1, lib.c_str(), "%s", text.c_str());
    return 0;
}
