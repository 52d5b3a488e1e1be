// Fuzzes setLogFilter with argument vectors cut from the input at NUL bytes (the first byte may
// put a known switch in front, so that every row is reached), and dumpHex with the input.
// Each word is an exact heap copy and argv holds exactly argc words, so a read past either is
// caught by the address sanitizer. After each command the settings must be consistent: limits
// not negative, the module switch one of its three values, and a set log path with a search
// pattern that belongs to it.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "foundation/LogSettings.h"
#include "foundation/PrintState.h"
#include "kerna/kerna3/LogControl.h"
#include "kerna/kerna3/PrintLog.h"

using namespace Tessaran::Kerna;

namespace {

void discard(const char*) {}

const char* const kSwitches[] = {"-loglevel",       "-logmodule",  "-logtime",
                                 "-logthread",      "-logversion", "-logfunction",
                                 "-logpath",        "-logsize",    "-logmodulestatistics",
                                 "-logsavesetting", "-h"};
const size_t kSwitchCount = sizeof(kSwitches) / sizeof(kSwitches[0]);

bool endsWith(const std::string& s, const std::string& tail) {
    return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

void checkSettings() {
    const Detail::LogFileSettings s = Detail::logFileSettings();
    if (s.maxSize < 0 || s.maxNumber < 0) __builtin_trap();
    const int sw = Detail::g_moduleSwitch.load();
    if (sw < 0 || sw > 2) __builtin_trap();
    if (s.path.empty()) return;
    if (s.path.back() == '/' || s.path.back() == '\\') __builtin_trap();
    if (s.directory == "./") {
        if (s.path.compare(0, 2, "./") != 0) __builtin_trap();
    } else if (!endsWith(s.directory, "*") || s.path.compare(0, s.directory.size() - 1, s.directory,
                                                             0, s.directory.size() - 1) != 0) {
        __builtin_trap();
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    if (!std::freopen("/dev/null", "w", stdout)) return 0;  // the usage text goes to stdout
    setLogPrinter(TFunction1<void, const char*>(&discard));
    PrintOptions options = {};
    options.noLogFile = true;  // the commands set random log paths: no file is written
    setPrintOptions(options);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    std::vector<std::unique_ptr<char[]>> words;
    auto addWord = [&words](const char* text, size_t length) {
        words.emplace_back(new char[length + 1]);
        std::memcpy(words.back().get(), text, length);
        words.back()[length] = '\0';
    };
    if (data[0] < 2 * kSwitchCount) {
        const char* sw = kSwitches[data[0] % kSwitchCount];
        addWord(sw, std::strlen(sw));
    }
    const char* text = reinterpret_cast<const char*>(data + 1);
    const size_t textSize = size - 1;
    size_t start = 0;
    for (size_t i = 0; i <= textSize && words.size() < 8; ++i) {
        if (i == textSize || text[i] == '\0') {
            if (i > start || i < textSize) addWord(text + start, i - start);
            start = i + 1;
        }
    }
    std::unique_ptr<char*[]> argv(new char*[words.empty() ? 1 : words.size()]);
    for (size_t i = 0; i < words.size(); ++i) argv[i] = words[i].get();
    setLogFilter(static_cast<int>(words.size()), argv.get());
    checkSettings();

    // Keep the state bounded and the trace level on for the dump.
    static unsigned runs = 0;
    if (++runs % 1000 == 0) Detail::clearModules();
    setPrintLogLevel(6);
    Detail::g_moduleSwitch.store(Detail::moduleAllOn);
    std::vector<unsigned char> bytes(data, data + size);
    dumpHex(bytes.data(), bytes.size());
    return 0;
}
