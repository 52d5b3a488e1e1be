// CipherStream.h
//
// What `kerna aes` and `kerna des` share: the options, the key and vector arguments, and running
// a cipher over a file or standard input in whole blocks, without padding.
#ifndef KERNA_TOOLS_KERNA_CIPHERSTREAM_H_
#define KERNA_TOOLS_KERNA_CIPHERSTREAM_H_

#include <functional>
#include <string>
#include <vector>

namespace KernaTool {

struct CipherArguments {
    bool encrypt = false;
    bool decrypt = false;
    bool wide = false;
    std::string mode;
    std::vector<unsigned char> key;
    std::vector<unsigned char> iv;
    bool hasKey = false;
    bool hasIv = false;
    std::string input = "-";
};

/// Parses the command line; prints help (returns 0) or a usage error (returns 2); -1 to go on.
/// `allowWide` accepts --wide.
int parseCipherArguments(const char* command, int argc, char** argv, bool allowWide,
                         void (*printHelp)(), CipherArguments& args);

/// A usage error of `command` with `message`; returns 2.
int cipherUsageError(const char* command, const std::string& message);

/// Runs `process` over the input in pieces that are multiples of `block` bytes (1 for stream
/// modes). An input that is not a whole number of blocks is refused with a message, before any
/// output when its size is known in advance. Returns the exit status.
int runCipherStream(const char* command, const std::string& input, size_t block,
                    const std::function<bool(unsigned char*, const unsigned char*, size_t)>& process);

}  // namespace KernaTool

#endif  // KERNA_TOOLS_KERNA_CIPHERSTREAM_H_
