// Crc32.cpp
//
// `kerna crc32`: the CRC-32 (ISO-HDLC, as zlib and Ethernet) of files, one line per file in the
// layout of md5sum: eight lower-case hexadecimal digits, two blanks, the name.
#include <errno.h>
#include <stdio.h>
#include <string.h>

#include <string>
#include <vector>

#include "Commands.h"
#include "ToolSupport.h"
#include "kerna/utils/Crc.h"

namespace KernaTool {

namespace {

enum { optHelp = 1 };
const OptionDef kOptions[] = {{"help", 0, false, optHelp}, {nullptr, 0, false, 0}};

void printHelp() {
    printf("Usage: kerna crc32 [FILE]...\n"
           "Print the CRC-32 checksum (ISO-HDLC: zlib, gzip, Ethernet) of each FILE\n"
           "as eight hexadecimal digits, two blanks and the file name.\n\n"
           "With no FILE, or when FILE is -, read standard input.\n\n"
           "      --help        display this help and exit\n\n"
           "Exit status: 0 if all went well, 1 if a file could not be read, 2 if the\n"
           "command line is wrong.\n");
}

}  // namespace

int cmdCrc32(int argc, char** argv) {
    std::vector<ParsedOption> options;
    std::vector<std::string> files;
    if (!parseOptions("crc32", argc, argv, kOptions, options, files)) return 2;
    if (!options.empty()) {
        printHelp();
        return 0;
    }
    if (files.empty()) files.push_back("-");
    static unsigned char buffer[1 << 16];
    int status = 0;
    for (const std::string& name : files) {
        Input in;
        unsigned int crc = 0;
        bool ok = in.open(name);
        if (ok) {
            size_t n;
            while ((n = in.read(buffer, sizeof buffer)) > 0) crc = Tessaran::Utils::crc32(crc, buffer, n);
            ok = !in.failed();
        }
        if (!ok) {
            fprintf(stderr, "kerna crc32: %s: %s\n", quoteName(name).c_str(), strerror(errno));
            status = 1;
            continue;
        }
        printf("%08x  %s\n", crc, name.c_str());
    }
    if (fflush(stdout) != 0) {
        fprintf(stderr, "kerna crc32: write error: %s\n", strerror(errno));
        return 1;
    }
    return status;
}

}  // namespace KernaTool
