// Demo.cpp
//
// `kerna demo`: the library at work, one short scene per subsystem.
#include <stdio.h>
#include <string.h>

#include <string>
#include <vector>

#include <kerna/kerna.h>

#include "Commands.h"

using namespace Tessaran::Kerna;

namespace {

void heading(const char* title) { printf("\n== %s\n", title); }

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
               "timers, time, packets.\n");
        return 0;
    }
    demoPrintPath();
    demoThreads();
    demoTimers();
    demoPackets();
    printf("\ndemo done\n");
    return 0;
}

}  // namespace KernaTool
