// DigestSum.cpp
//
// Printing and checking digests as coreutils' md5sum and sha1sum do: the same output lines (with
// "\"-escaped names, --tag, -z), the same accepted checksum lines (text, binary, BSD-style and
// bare-name forms, comments, escaped names, CR LF line ends) and the same reports and summary
// warnings. Exit status: 0 all good, 1 a file or check failed, 2 a usage error.
#include "DigestSum.h"

#include <ctype.h>
#include <errno.h>
#include <stdio.h>
#include <string.h>

#include <vector>

namespace KernaTool {

namespace {

enum OptionId {
    optBinary = 1,
    optCheck,
    optTag,
    optText,
    optZero,
    optIgnoreMissing,
    optQuiet,
    optStatus,
    optStrict,
    optWarn,
    optHelp
};

const OptionDef kOptions[] = {
    {"binary", 'b', false, optBinary},  {"check", 'c', false, optCheck},
    {"tag", 0, false, optTag},          {"text", 't', false, optText},
    {"zero", 'z', false, optZero},      {"ignore-missing", 0, false, optIgnoreMissing},
    {"quiet", 0, false, optQuiet},      {"status", 0, false, optStatus},
    {"strict", 0, false, optStrict},    {"warn", 'w', false, optWarn},
    {"help", 0, false, optHelp},        {nullptr, 0, false, 0},
};

struct Settings {
    bool binary = false;
    bool check = false;
    bool tag = false;
    bool zero = false;
    bool ignoreMissing = false;
    bool quiet = false;
    bool status = false;
    bool strict = false;
    bool warn = false;
};

void printHelp(const DigestAlgorithm& a) {
    printf("Usage: kerna %s [OPTION]... [FILE]...\n", a.command);
    printf("Print or check %s (%s) checksums.\n\n", a.tag, a.bits);
    printf("With no FILE, or when FILE is -, read standard input.\n");
    printf("  -b, --binary          read in binary mode\n"
           "  -c, --check           read checksums from the FILEs and check them\n"
           "      --tag             create a BSD-style checksum\n"
           "  -t, --text            read in text mode (default)\n"
           "  -z, --zero            end each output line with NUL, not newline,\n"
           "                          and disable file name escaping\n\n"
           "The following five options are useful only when verifying checksums:\n"
           "      --ignore-missing  don't fail or report status for missing files\n"
           "      --quiet           don't print OK for each successfully verified file\n"
           "      --status          don't output anything, status code shows success\n"
           "      --strict          exit non-zero for improperly formatted checksum lines\n"
           "  -w, --warn            warn about improperly formatted checksum lines\n\n"
           "      --help        display this help and exit\n\n");
    printf("The sums are computed as described in %s.\n", a.standard);
    printf("When checking, the input should be a former output of this program.\n"
           "The default mode is to print a line with: checksum, a space,\n"
           "a character indicating input mode ('*' for binary, ' ' for text\n"
           "or where binary is insignificant), and name for each FILE.\n\n"
           "Output and checking follow coreutils; there is no difference between binary\n"
           "and text mode.\n"
           "Exit status: 0 if all went well, 1 if a file could not be read or a check\n"
           "failed, 2 if the command line is wrong.\n");
}

bool needsEscape(const std::string& name) { return name.find_first_of("\\\n\r") != std::string::npos; }

std::string escapeName(const std::string& name) {
    std::string out;
    for (char c : name) {
        if (c == '\\')
            out += "\\\\";
        else if (c == '\n')
            out += "\\n";
        else if (c == '\r')
            out += "\\r";
        else
            out += c;
    }
    return out;
}

bool unescapeName(std::string& name) {
    std::string out;
    for (size_t i = 0; i < name.size(); ++i) {
        if (name[i] != '\\') {
            out += name[i];
            continue;
        }
        if (++i == name.size()) return false;
        if (name[i] == '\\')
            out += '\\';
        else if (name[i] == 'n')
            out += '\n';
        else if (name[i] == 'r')
            out += '\r';
        else
            return false;
    }
    name = out;
    return true;
}

bool isWhite(char c) { return c == ' ' || c == '\t'; }

bool allHex(const std::string& s) {
    for (unsigned char c : s) {
        if (!isxdigit(c)) return false;
    }
    return true;
}

// One checksum line; `bsdReversed` remembers across lines whether the "hash name" form (one
// blank, no type mark) is in use: -1 not known yet, 0 no, 1 yes.
bool parseLine(const DigestAlgorithm& a, const std::string& s, int& bsdReversed, std::string& hex,
               std::string& name) {
    size_t i = 0;
    while (i < s.size() && isWhite(s[i])) ++i;
    bool escaped = false;
    if (i < s.size() && s[i] == '\\') {
        ++i;
        escaped = true;
    }
    const size_t tagLength = strlen(a.tag);
    if (s.compare(i, tagLength, a.tag) == 0) {
        size_t j = i + tagLength;
        if (j < s.size() && s[j] == ' ') ++j;
        if (j < s.size() && s[j] == '(') {
            // BSD style: TAG (name) = hash. Names are not escaped there, so the last ")" ends it.
            ++j;
            const size_t close = s.rfind(')');
            if (close == std::string::npos || close < j) return false;
            name = s.substr(j, close - j);
            size_t k = close + 1;
            while (k < s.size() && isWhite(s[k])) ++k;
            if (k >= s.size() || s[k] != '=') return false;
            ++k;
            while (k < s.size() && isWhite(s[k])) ++k;
            hex = s.substr(k);
            if (escaped && !unescapeName(name)) return false;
            return hex.size() == a.hexLength && allHex(hex);
        }
    }
    if (s.size() - i < a.hexLength + 2) return false;
    hex = s.substr(i, a.hexLength);
    i += a.hexLength;
    if (!isWhite(s[i])) return false;
    ++i;
    if (s.size() - i == 1 || (s[i] != ' ' && s[i] != '*')) {
        // "hash name": allowed only if no line so far used the two-character separator.
        if (bsdReversed == 0) return false;
        bsdReversed = 1;
    } else if (bsdReversed != 1) {
        bsdReversed = 0;
        ++i;
    }
    name = s.substr(i);
    if (escaped && !unescapeName(name)) return false;
    return allHex(hex);
}

std::string lower(std::string s) {
    for (char& c : s) c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
    return s;
}

// The name as status lines show it: escaped, with a leading "\", only when it holds a line end
// (as coreutils does; a backslash or CR alone is printed as it is).
void printStatus(const std::string& name, const char* result) {
    if (name.find('\n') != std::string::npos)
        printf("\\%s: %s\n", escapeName(name).c_str(), result);
    else
        printf("%s: %s\n", name.c_str(), result);
}

bool checkFile(const DigestAlgorithm& a, const Settings& s, const std::string& listName) {
    const std::string shown = listName == "-" ? quoteName("standard input") : quoteName(listName);
    FILE* list = listName == "-" ? stdin : fopen(listName.c_str(), "rb");
    if (list == nullptr) {
        fprintf(stderr, "kerna %s: %s: %s\n", a.command, shown.c_str(), strerror(errno));
        return false;
    }
    size_t lineNumber = 0, improper = 0, unreadable = 0, mismatched = 0, proper = 0, verified = 0;
    int bsdReversed = -1;
    char* buffer = nullptr;
    size_t capacity = 0;
    ssize_t got;
    while ((got = getline(&buffer, &capacity, list)) > 0) {
        ++lineNumber;
        std::string line(buffer, static_cast<size_t>(got));
        if (!line.empty() && line.back() == '\n') line.pop_back();
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty() || line[0] == '#') continue;
        std::string hex, name;
        if (!parseLine(a, line, bsdReversed, hex, name)) {
            ++improper;
            if (s.warn)
                fprintf(stderr, "kerna %s: %s: %zu: improperly formatted %s checksum line\n", a.command,
                        shown.c_str(), lineNumber, a.tag);
            continue;
        }
        ++proper;
        Input in;
        std::string actual;
        const bool opened = in.open(name);
        if (!opened && s.ignoreMissing && errno == ENOENT) continue;
        if (!opened || !a.digest(in, actual)) {
            fprintf(stderr, "kerna %s: %s: %s\n", a.command, quoteName(name).c_str(), strerror(errno));
            ++unreadable;
            if (!s.status) printStatus(name, "FAILED open or read");
            continue;
        }
        ++verified;
        if (lower(hex) == actual) {
            if (!s.status && !s.quiet) printStatus(name, "OK");
        } else {
            ++mismatched;
            if (!s.status) printStatus(name, "FAILED");
        }
    }
    free(buffer);
    const bool readError = ferror(list) != 0;
    if (listName == "-")
        clearerr(stdin);
    else
        fclose(list);
    if (readError) {
        fprintf(stderr, "kerna %s: %s: read error\n", a.command, shown.c_str());
        return false;
    }
    if (proper == 0) {
        fprintf(stderr, "kerna %s: %s: no properly formatted checksum lines found\n", a.command, shown.c_str());
        return false;
    }
    if (!s.status) {
        if (improper != 0)
            fprintf(stderr, "kerna %s: WARNING: %zu %s improperly formatted\n", a.command, improper,
                    improper == 1 ? "line is" : "lines are");
        if (unreadable != 0)
            fprintf(stderr, "kerna %s: WARNING: %zu listed %s could not be read\n", a.command, unreadable,
                    unreadable == 1 ? "file" : "files");
        if (mismatched != 0)
            fprintf(stderr, "kerna %s: WARNING: %zu computed %s did NOT match\n", a.command, mismatched,
                    mismatched == 1 ? "checksum" : "checksums");
    }
    if (s.ignoreMissing && verified == 0) {
        fprintf(stderr, "kerna %s: %s: no file was verified\n", a.command, shown.c_str());
        return false;
    }
    return unreadable == 0 && mismatched == 0 && (!s.strict || improper == 0);
}

bool printDigest(const DigestAlgorithm& a, const Settings& s, const std::string& name) {
    Input in;
    std::string hex;
    if (!in.open(name) || !a.digest(in, hex)) {
        fprintf(stderr, "kerna %s: %s: %s\n", a.command, quoteName(name).c_str(), strerror(errno));
        return false;
    }
    const bool escape = !s.zero && needsEscape(name);
    const std::string shown = escape ? escapeName(name) : name;
    std::string line = escape ? "\\" : "";
    if (s.tag)
        line += std::string(a.tag) + " (" + shown + ") = " + hex;
    else
        line += hex + (s.binary ? " *" : "  ") + shown;
    line += s.zero ? '\0' : '\n';
    return writeOut(line.data(), line.size());
}

}  // namespace

int runDigestCommand(const DigestAlgorithm& a, int argc, char** argv) {
    std::vector<ParsedOption> options;
    std::vector<std::string> files;
    if (!parseOptions(a.command, argc, argv, kOptions, options, files)) return 2;
    Settings s;
    bool checkOnlyOption = false;
    const char* checkOnlyName = nullptr;
    for (const ParsedOption& o : options) {
        switch (o.id) {
            case optHelp: printHelp(a); return 0;
            case optBinary: s.binary = true; break;
            case optText: s.binary = false; break;
            case optCheck: s.check = true; break;
            case optTag: s.tag = true; break;
            case optZero: s.zero = true; break;
            case optIgnoreMissing: s.ignoreMissing = true; checkOnlyOption = true; checkOnlyName = "--ignore-missing"; break;
            // --quiet, --status and --warn exclude each other: the last one given counts.
            case optQuiet: s.quiet = true; s.status = s.warn = false; checkOnlyOption = true; checkOnlyName = "--quiet"; break;
            case optStatus: s.status = true; s.quiet = s.warn = false; checkOnlyOption = true; checkOnlyName = "--status"; break;
            case optStrict: s.strict = true; checkOnlyOption = true; checkOnlyName = "--strict"; break;
            case optWarn: s.warn = true; s.quiet = s.status = false; checkOnlyOption = true; checkOnlyName = "--warn"; break;
        }
    }
    if (s.check && s.tag) {
        fprintf(stderr, "kerna %s: the --tag option is meaningless when verifying checksums\n", a.command);
        tryHelp(a.command);
        return 2;
    }
    if (s.check && s.zero) {
        fprintf(stderr, "kerna %s: the --zero option is not supported when verifying checksums\n", a.command);
        tryHelp(a.command);
        return 2;
    }
    if (!s.check && checkOnlyOption) {
        fprintf(stderr, "kerna %s: the %s option is meaningful only when verifying checksums\n", a.command,
                checkOnlyName);
        tryHelp(a.command);
        return 2;
    }
    if (files.empty()) files.push_back("-");
    bool ok = true;
    for (const std::string& f : files) ok = (s.check ? checkFile(a, s, f) : printDigest(a, s, f)) && ok;
    if (fflush(stdout) != 0) {
        fprintf(stderr, "kerna %s: write error: %s\n", a.command, strerror(errno));
        return 1;
    }
    return ok ? 0 : 1;
}

}  // namespace KernaTool
