// DemoLogFiles.cpp
//
// The log-file scene of `kerna demo`: while the demo runs, every line it prints also goes to
// numbered log files of 2 KB in a fresh directory ("logfilter -logpath DIR/demo",
// "-logsavesetting bysize 2 0"), which rotate as they fill. At the end the demo lists the files
// it wrote, with their sizes and first lines, and removes them.
#include <kerna/kerna.h>
#include <stdio.h>
#include <stdlib.h>

#include <string>
#include <vector>

#include "Commands.h"

using namespace Tessaran::Kerna;

namespace KernaTool {

namespace {

void logfilter(std::vector<std::string> words) {
    std::vector<char*> argv;
    for (std::string& w : words) argv.push_back(&w[0]);
    setLogFilter(static_cast<int>(argv.size()), argv.data());
}

// The first line of a file, without its line feed, cut for the listing.
std::string firstLine(const std::string& path) {
    CFile file;
    char line[200] = {};
    if (!file.open(path.c_str(), openRead) || file.gets(line, sizeof line) == nullptr) return "";
    std::string text(line);
    while (!text.empty() && text.back() == '\n') text.pop_back();
    if (text.size() > 90) text = text.substr(0, 87) + "...";
    return text;
}

}  // namespace

DemoLogFiles::DemoLogFiles() {
    char pattern[] = "/tmp/kerna-demo-logs-XXXXXX";
    if (mkdtemp(pattern) == nullptr) return;
    m_directory = pattern;
    printf("\n== log files: the demo's lines also go to numbered files of 2 KB under %s\n",
           m_directory.c_str());
    logfilter({"-logpath", m_directory + "/demo"});
    logfilter({"-logsavesetting", "bysize", "2", "0"});
}

DemoLogFiles::~DemoLogFiles() {
    if (m_directory.empty()) return;
    logfilter({"-logpath", ""});
    logCleanup();
    printf("\n== the log files the demo wrote (rotated at 2 KB; newest last)\n");
    std::vector<std::string> paths;
    CFileFind find;
    if (find.findFile((m_directory + "/demo_*").c_str())) {
        do {
            paths.push_back(find.getFilePath());
            printf("  %-34s %6lld bytes  %s\n", find.getFileName().c_str(),
                   static_cast<long long>(find.getLength()), firstLine(paths.back()).c_str());
        } while (find.findNextFile());
    }
    printf("  %zu files; the directory is removed again\n", paths.size());
    CFile::removeDirectoryRecursively(m_directory.c_str(), true);
}

}  // namespace KernaTool
