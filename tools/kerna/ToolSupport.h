// ToolSupport.h
//
// Helpers shared by the kerna tool's file commands: coreutils-style option parsing (options and
// operands in any order, bundled short options, unambiguous long-option prefixes, "--"), input
// files with "-" for standard input, file names quoted for messages as coreutils quotes them, and
// hexadecimal arguments.
#ifndef KERNA_TOOLS_KERNA_TOOLSUPPORT_H_
#define KERNA_TOOLS_KERNA_TOOLSUPPORT_H_

#include <stdio.h>

#include <string>
#include <vector>

namespace KernaTool {

struct OptionDef {
    const char* longName;  // without "--"; null for none
    char shortName;        // 0 for none
    bool hasArgument;
    int id;
};

struct ParsedOption {
    int id;
    std::string argument;
};

/// Parses `argv[1..argc)` of `command` ("md5sum"). On a usage error prints the coreutils-style
/// message and the hint to --help on standard error and returns false.
bool parseOptions(const char* command, int argc, char** argv, const OptionDef* definitions,
                  std::vector<ParsedOption>& options, std::vector<std::string>& operands);

/// "Try 'kerna <command> --help' for more information." on standard error.
void tryHelp(const char* command);

/// A file name as coreutils prints it in messages: as is when it has only safe characters,
/// otherwise in single quotes, with control characters as $'\n' pieces.
std::string quoteName(const std::string& name);

/// An input file, or standard input for "-". Reading reports errors through errno.
class Input {
public:
    Input() : m_file(nullptr), m_stdin(false) {}
    ~Input() { close(); }
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

    /// False with errno set when the file cannot be opened.
    bool open(const std::string& name);
    /// Bytes read into `buffer`; 0 at the end or on an error (then failed() is true).
    size_t read(unsigned char* buffer, size_t size);
    bool failed() const { return m_file != nullptr && ferror(m_file) != 0; }
    /// The size of a regular file, or -1 when it is not known in advance.
    long long knownSize() const;
    void close();

private:
    FILE* m_file;
    bool m_stdin;
};

/// Reads the whole of `name` into `data`; false with errno set on failure.
bool readWhole(const std::string& name, std::string& data);

/// Decodes hexadecimal text (either case, even length); false if it is not such text.
bool parseHex(const std::string& text, std::vector<unsigned char>& out);

/// Writes `size` bytes to standard output; false on a write error.
bool writeOut(const void* data, size_t size);

}  // namespace KernaTool

#endif  // KERNA_TOOLS_KERNA_TOOLSUPPORT_H_
