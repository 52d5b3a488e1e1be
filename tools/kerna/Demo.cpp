// Demo.cpp
//
// `kerna demo`: the library at work, one short scene per subsystem.
#include <stdio.h>
#include <string.h>

#include <initializer_list>
#include <string>
#include <vector>

#include <kerna/kerna.h>

#include "Commands.h"

using namespace Tessaran::Kerna;

namespace {

void heading(const char* title) { printf("\n== %s\n", title); }

// Runs one logfilter command, as an application forwards it from its own command line.
void logfilter(std::initializer_list<const char*> words) {
    std::vector<std::string> copies(words.begin(), words.end());
    std::vector<char*> argv;
    for (std::string& w : copies) argv.push_back(&w[0]);
    setLogFilter(static_cast<int>(argv.size()), argv.data());
}

// A listener that keeps the lines it is given.
class LineCollector {
public:
    bool onLine(const char* line) {
        m_lines.push_back(line);
        return true;
    }
    const std::vector<std::string>& lines() const { return m_lines; }

private:
    std::vector<std::string> m_lines;
};

void demoPrintPath() {
    heading("print path: one line per level (colours on a terminal)");
    setPrintLogLevel(6);
    for (int level = 1; level <= 6; ++level) {
        logFilter(level, "Demo", "tools/kerna/Demo.cpp", "KernaTool::demoPrintPath", __LINE__, "1.0",
                  "a line at level %d\n", level);
    }
    logFilter(6, "Demo", "Demo.cpp", "KernaTool::demoPrintPath", __LINE__, "1.0",
              "a line that is continued ");
    logFilter(6, "Demo", "Demo.cpp", "KernaTool::demoPrintPath", __LINE__, "1.0",
              "by a second call without a prefix\n");

    heading("the structured prefix, with date, milliseconds and function");
    PrintOptions options = {};
    options.structured = true;
    options.showDate = true;
    options.showMillisecond = true;
    options.showFunction = true;
    setPrintOptions(options);
    logFilter(4, "Demo", "Demo.cpp", "KernaTool::demoPrintPath", __LINE__, "1.0", "structured line\n");
    setPrintOptions(PrintOptions());

    heading("a listener gets every line");
    LineCollector collector;
    TFunction1<bool, const char*> listener(&LineCollector::onLine, &collector);
    attachPrint(listener);
    logInfo("the listener sees this line\n");
    logWarn("and this one\n");
    detachPrint(listener);
    logInfo("but not this one, printed after detachPrint\n");
    printf("listener collected %zu lines; the first was: %s", collector.lines().size(),
           collector.lines().empty() ? "\n" : collector.lines()[0].c_str());

    heading("module filter: 'logfilter -logmodule Noisy off' silences one library");
    logfilter({"-logmodule", "Noisy", "off"});
    logLibName(4, "Noisy", "this line is filtered out\n");
    logLibName(4, "Quiet", "Quiet still prints; Noisy's line above did not\n");
    logfilter({"-logmodule", "on"});  // everything on again; the map is kept

    heading("statistics: bytes printed per library ('-logmodulestatistics on')");
    logfilter({"-logmodulestatistics", "on"});
    for (int i = 0; i < 3; ++i) logLibName(4, "Camera", "frame %d stored\n", i);
    logLibName(4, "Network", "link up\n");
    for (const auto& entry : getLogStatistics()) {
        printf("  %-8s %llu bytes\n", entry.first.c_str(),
               static_cast<unsigned long long>(entry.second.bytes));
    }
    logfilter({"-logmodulestatistics", "off"});

    heading("a hexadecimal dump (dumpHex, at level 5)");
    setPrintLogLevel(5);
    unsigned char bytes[20];
    for (int i = 0; i < 20; ++i) bytes[i] = static_cast<unsigned char>("Kerna dumps memory!\x7f"[i]);
    dumpHex(bytes, sizeof bytes);
    setPrintLogLevel(4);

    heading("below the print level nothing is printed");
    setPrintLogLevel(2);
    const int printed = logInfo("invisible\n");
    printf("logInfo at print level 2 returned %d\n", printed);
    setPrintLogLevel(4);

    heading("the console-only path: level 6 prints as trace at print level 5");
    setPrintLogLevel(5);
    Kerna_logFilter(6, "Demo", "tools\\kerna\\Demo.cpp", "demo", __LINE__, "Unknown",
                    "Kerna_logFilter prints level 6 as trace\n");
    setPrintLogLevel(4);
}

}  // namespace

namespace KernaTool {

int cmdDemo(int argc, char** argv) {
    if (argc > 1 && strcmp(argv[1], "--help") == 0) {
        printf("Usage: kerna demo\nShows the library at work: the print path, locks, threads, "
               "timers, time, packets, components, log files.\n");
        return 0;
    }
    useConsoleForLibraryLines();
    DemoLogFiles logFiles;  // lists the log files when the demo ends
    demoPrintPath();
    demoThreads();
    demoTimers();
    demoDst();
    demoPackets();
    demoComponents();
    printf("\ndemo done\n");
    return 0;
}

}  // namespace KernaTool
