// Commands.h
//
// The subcommands of the kerna tool. Each takes the arguments behind its name (argv[0] is the
// subcommand's name) and returns the process exit status: 0 success, 1 a failure on the data,
// 2 a usage error, as coreutils do.
#ifndef KERNA_TOOLS_KERNA_COMMANDS_H_
#define KERNA_TOOLS_KERNA_COMMANDS_H_

#include <string>

namespace KernaTool {

struct Command {
    const char* name;
    int (*run)(int argc, char** argv);
    const char* summary;
};

/// The table of subcommands, ended by an entry with a null name.
extern const Command commands[];

int cmdVersion(int argc, char** argv);
int cmdDemo(int argc, char** argv);
int cmdIconv(int argc, char** argv);

/// Sends the library's lines to the console again at the default level (the tool sends only
/// warnings and errors, to standard error).
void useConsoleForLibraryLines();

/// Scenes of the demo, one per subsystem.
void demoThreads();
void demoTimers();
/// A remote component end to end on the example's loopback server (examples/remote/).
void demoComponents();
/// The packet scene of `kerna demo`: chooses a pool policy, so it must run before anything
/// in the process has made a packet. Returns 0.
int demoPackets();
/// The log-file scene of `kerna demo`: while it lives, the demo's lines also go to numbered log
/// files that rotate by size; when it goes, it lists the files it wrote and removes them.
class DemoLogFiles {
public:
    DemoLogFiles();
    ~DemoLogFiles();
    DemoLogFiles(const DemoLogFiles&) = delete;
    DemoLogFiles& operator=(const DemoLogFiles&) = delete;

private:
    std::string m_directory;
};
int cmdMd5sum(int argc, char** argv);
int cmdSha1sum(int argc, char** argv);
int cmdCrc32(int argc, char** argv);
int cmdBase64(int argc, char** argv);
int cmdBase16(int argc, char** argv);
int cmdAes(int argc, char** argv);
int cmdDes(int argc, char** argv);
int cmdDst(int argc, char** argv);
/// The daylight-saving scene of `kerna demo`, on a simulated wall clock.
void demoDst();

}  // namespace KernaTool

#endif  // KERNA_TOOLS_KERNA_COMMANDS_H_
