// ToolSupport.cpp
//
// Option parsing, input files, message quoting and hexadecimal arguments for the kerna tool.
#include "ToolSupport.h"

#include <errno.h>
#include <string.h>
#include <sys/stat.h>

#include "kerna/utils/Base16.h"

namespace KernaTool {

void tryHelp(const char* command) {
    fprintf(stderr, "Try 'kerna %s --help' for more information.\n", command);
}

bool parseOptions(const char* command, int argc, char** argv, const OptionDef* definitions,
                  std::vector<ParsedOption>& options, std::vector<std::string>& operands) {
    bool optionsEnded = false;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (optionsEnded || arg.size() < 2 || arg[0] != '-') {
            operands.push_back(arg);
            continue;
        }
        if (arg == "--") {
            optionsEnded = true;
            continue;
        }
        if (arg[1] == '-') {
            const size_t eq = arg.find('=');
            const std::string name = arg.substr(2, eq == std::string::npos ? std::string::npos : eq - 2);
            const OptionDef* match = nullptr;
            int matches = 0;
            for (const OptionDef* s = definitions; s->id != 0; ++s) {
                if (s->longName == nullptr || strncmp(s->longName, name.c_str(), name.size()) != 0) continue;
                if (strlen(s->longName) == name.size()) {  // an exact name wins over prefixes
                    match = s;
                    matches = 1;
                    break;
                }
                match = s;
                ++matches;
            }
            if (matches == 0) {
                fprintf(stderr, "kerna %s: unrecognized option '%s'\n", command, arg.c_str());
                tryHelp(command);
                return false;
            }
            if (matches > 1) {
                fprintf(stderr, "kerna %s: option '%s' is ambiguous\n", command, arg.c_str());
                tryHelp(command);
                return false;
            }
            ParsedOption parsed = {match->id, std::string()};
            if (match->hasArgument) {
                if (eq != std::string::npos) {
                    parsed.argument = arg.substr(eq + 1);
                } else if (i + 1 < argc) {
                    parsed.argument = argv[++i];
                } else {
                    fprintf(stderr, "kerna %s: option '--%s' requires an argument\n", command, match->longName);
                    tryHelp(command);
                    return false;
                }
            } else if (eq != std::string::npos) {
                fprintf(stderr, "kerna %s: option '--%s' doesn't allow an argument\n", command, match->longName);
                tryHelp(command);
                return false;
            }
            options.push_back(parsed);
            continue;
        }
        // Bundled short options: "-bw 76", "-w76".
        for (size_t k = 1; k < arg.size(); ++k) {
            const OptionDef* match = nullptr;
            for (const OptionDef* s = definitions; s->id != 0; ++s) {
                if (s->shortName != 0 && s->shortName == arg[k]) match = s;
            }
            if (match == nullptr) {
                fprintf(stderr, "kerna %s: invalid option -- '%c'\n", command, arg[k]);
                tryHelp(command);
                return false;
            }
            ParsedOption parsed = {match->id, std::string()};
            if (match->hasArgument) {
                if (k + 1 < arg.size()) {
                    parsed.argument = arg.substr(k + 1);
                } else if (i + 1 < argc) {
                    parsed.argument = argv[++i];
                } else {
                    fprintf(stderr, "kerna %s: option requires an argument -- '%c'\n", command, arg[k]);
                    tryHelp(command);
                    return false;
                }
                options.push_back(parsed);
                break;
            }
            options.push_back(parsed);
        }
    }
    return true;
}

std::string quoteName(const std::string& name) {
    bool safe = !name.empty();
    for (unsigned char c : name) {
        if (!(isalnum(c) || strchr("_./,:@%+=-^", c) != nullptr) || c >= 0x80) safe = false;
    }
    if (safe) return name;
    std::string out;
    bool inQuote = false;
    for (unsigned char c : name) {
        if (c < 0x20 || c == 0x7F) {
            if (inQuote) out += '\'';
            inQuote = false;
            char piece[8];
            switch (c) {
                case '\n': snprintf(piece, sizeof piece, "$'\\n'"); break;
                case '\t': snprintf(piece, sizeof piece, "$'\\t'"); break;
                case '\r': snprintf(piece, sizeof piece, "$'\\r'"); break;
                default: snprintf(piece, sizeof piece, "$'\\%03o'", c); break;
            }
            out += piece;
        } else if (c == '\'') {
            if (inQuote) out += '\'';
            inQuote = false;
            out += "\\'";
        } else {
            if (!inQuote) out += '\'';
            inQuote = true;
            out += static_cast<char>(c);
        }
    }
    if (inQuote) out += '\'';
    return out;
}

bool Input::open(const std::string& name) {
    close();
    if (name == "-") {
        m_file = stdin;
        m_stdin = true;
        return true;
    }
    m_file = fopen(name.c_str(), "rb");
    return m_file != nullptr;
}

size_t Input::read(unsigned char* buffer, size_t size) { return m_file ? fread(buffer, 1, size, m_file) : 0; }

long long Input::knownSize() const {
    struct stat st;
    if (m_file == nullptr || fstat(fileno(m_file), &st) != 0 || !S_ISREG(st.st_mode)) return -1;
    const long long position = ftello(m_file);
    return position < 0 ? -1 : static_cast<long long>(st.st_size) - position;
}

void Input::close() {
    if (m_file != nullptr && !m_stdin) fclose(m_file);
    if (m_stdin) clearerr(stdin);
    m_file = nullptr;
    m_stdin = false;
}

bool readWhole(const std::string& name, std::string& data) {
    Input in;
    if (!in.open(name)) return false;
    unsigned char buffer[65536];
    size_t n;
    while ((n = in.read(buffer, sizeof buffer)) > 0) data.append(reinterpret_cast<char*>(buffer), n);
    return !in.failed();
}

bool parseHex(const std::string& text, std::vector<unsigned char>& out) {
    out.assign(text.size() / 2, 0);
    if (text.empty() || text.size() % 2 != 0) return false;
    // The library's decoder warns on bad text; the tool reports it in its own words.
    for (unsigned char c : text) {
        if (!isxdigit(c)) return false;
    }
    return Tessaran::Utils::base16Decode(text.data(), text.size(), out.data(), out.size()) == out.size();
}

bool writeOut(const void* data, size_t size) { return size == 0 || fwrite(data, 1, size, stdout) == size; }

}  // namespace KernaTool
