// Process.cpp
//
// Only POSIX code; no library logic. Starts a program without a shell (posix_spawnp), with every
// descriptor from 3 up closed in the child, and waits for it.
#include "platform/Process.h"

#include <errno.h>
#include <spawn.h>
#include <sys/wait.h>

#include <string>
#include <vector>

extern char** environ;

namespace Tessaran {
namespace Kerna {
namespace Detail {
namespace Platform {

namespace {

// Splits a command line at blanks; a "..." group is one word without its quotes.
std::vector<std::string> splitCommandLine(const char* text) {
    std::vector<std::string> words;
    std::string word;
    bool inWord = false, quoted = false;
    for (const char* p = text; *p; ++p) {
        const char c = *p;
        if (c == '"') {
            quoted = !quoted;
            inWord = true;
        } else if ((c == ' ' || c == '\t') && !quoted) {
            if (inWord) words.push_back(word);
            word.clear();
            inWord = false;
        } else {
            word += c;
            inWord = true;
        }
    }
    if (inWord) words.push_back(word);
    return words;
}

}  // namespace

bool runProcessAndWait(const char* commandLine) {
    std::vector<std::string> words = splitCommandLine(commandLine);
    if (words.empty()) {
        errno = ENOENT;
        return false;
    }
    std::vector<char*> argv;
    for (std::string& w : words) argv.push_back(&w[0]);
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addclosefrom_np(&actions, 3);
    pid_t pid = 0;
    const int rc = posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (rc != 0) {
        errno = rc;
        return false;
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0) {
        if (errno != EINTR) break;  // ECHILD: already reaped, the child is done
    }
    return true;
}

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran
