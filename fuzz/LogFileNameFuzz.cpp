// Fuzzes the reading of numbered log file names. The first byte chooses the naming (date, or
// date and time of day) and the length of a log path made of safe letters; the rest is the text
// behind that path. The reader must agree with sscanf on the same format wherever sscanf is
// defined (no number run beyond nine digits, where its overflow is undefined), and a name it
// reads must come out the same when written again and read back.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "logfile/LogFileName.h"

using Tessaran::Kerna::Detail::LogFileStamp;
using Tessaran::Kerna::Detail::logFileSuffix;
using Tessaran::Kerna::Detail::parseLogFileName;

namespace {

bool longDigitRun(const std::string& s) {
    int run = 0;
    for (char c : s) {
        run = (c >= '0' && c <= '9') ? run + 1 : 0;
        if (run > 9) return true;
    }
    return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0 || size > 256) return 0;
    const bool withTime = data[0] & 1;
    const size_t pathLength = (data[0] >> 1) % 8;
    std::string path = "./";
    for (size_t i = 0; i < pathLength; ++i) path += "ab._"[i % 4];
    std::string tail(reinterpret_cast<const char*>(data + 1), size - 1);
    tail = tail.substr(0, tail.find('\0'));  // a name ends at its terminator
    const std::string name = path + tail;
    LogFileStamp s = {};
    int32_t index = 0;
    const bool read = parseLogFileName(name.c_str(), path, withTime, s, index);

    if (!longDigitRun(name)) {
        const std::string format =
            path + (withTime ? "_%04d-%02d-%02d-%02d-%02d-%02d_%d" : "_%04d-%02d-%02d_%d");
        int f[7] = {};
        const int n = withTime
                          ? std::sscanf(name.c_str(), format.c_str(), &f[0], &f[1], &f[2], &f[3],
                                        &f[4], &f[5], &f[6])
                          : std::sscanf(name.c_str(), format.c_str(), &f[0], &f[1], &f[2], &f[6]);
        const bool oracle = n == (withTime ? 7 : 4);
        if (read != oracle) __builtin_trap();
        if (read && (s.year != f[0] || s.month != f[1] || s.day != f[2] || index != f[6])) {
            __builtin_trap();
        }
        if (read && withTime && (s.hour != f[3] || s.minute != f[4] || s.second != f[5])) {
            __builtin_trap();
        }
    }
    if (read && index >= 0 && s.year >= 0 && s.month >= 0 && s.day >= 0 && s.hour >= 0 &&
        s.minute >= 0 && s.second >= 0) {
        const std::string again = path + logFileSuffix(s, withTime, index);
        LogFileStamp t = {};
        int32_t index2 = -1;
        if (!parseLogFileName(again.c_str(), path, withTime, t, index2) || index2 != index ||
            std::memcmp(&s, &t, sizeof s) != 0) {
            __builtin_trap();
        }
    }
    return 0;
}
