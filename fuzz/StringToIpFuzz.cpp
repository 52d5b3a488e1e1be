// Fuzzes stringToIp against glibc's sscanf("%d.%d.%d.%d") on texts whose numbers sscanf reads
// without overflow, and checks that ipToString then writes the dotted form within its room.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "kerna/kerna3/PrintLog.h"
#include "kerna/utils/IpAddress.h"

using namespace Tessaran::Utils;

namespace {
void discard(const char*) {}

// True when no run of digits is longer than 9, so every %d fits an int.
bool numbersFit(const std::string& s) {
    size_t run = 0;
    for (char c : s) {
        run = (c >= '0' && c <= '9') ? run + 1 : 0;
        if (run > 9) return false;
    }
    return true;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static bool once = [] {
        Tessaran::Kerna::setLogPrinter(Tessaran::Kerna::TFunction1<void, const char*>(&discard));
        Tessaran::Kerna::setPrintLogLevel(6);
        return true;
    }();
    (void)once;
    const std::string text(reinterpret_cast<const char*>(data), size);  // cut at a zero byte below
    const Tessaran::IpAddress ip = stringToIp(text.c_str());
    if (numbersFit(text)) {
        int n[4] = {0, 0, 0, 0};
        std::sscanf(text.c_str(), "%d.%d.%d.%d", &n[0], &n[1], &n[2], &n[3]);
        uint32_t expected = 0;
        for (int i = 0; i < 4; ++i) expected |= (static_cast<uint32_t>(n[i]) & 0xFFu) << (8 * i);
        if (ip.value != expected) __builtin_trap();
    }
    char full[16];
    if (ipToString(ip, full, sizeof full) != full) __builtin_trap();
    if (stringToIp(full).value != ip.value) __builtin_trap();
    char small[1 + (sizeof full) / 2];
    const size_t room = size ? 1 + data[0] % sizeof small : 1;
    ipToString(ip, small, room);
    if (std::strlen(small) >= room || std::strncmp(small, full, std::strlen(small)) != 0) __builtin_trap();
    return 0;
}
