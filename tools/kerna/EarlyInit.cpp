// EarlyInit.cpp
//
// The library makes its process-wide objects when it is loaded, and the first use of its clock
// then prints an info line. The tool's commands write data to standard output (digests,
// conversions) and their messages to standard error as coreutils do, so before the library
// starts the tool routes the library's lines to standard error, without colours, and lets only
// warnings and errors through. `kerna demo` brings the console and the default level back. The tool links the library's objects, so that
// this object can be made first (init_priority orders objects within one program).
#include <stdio.h>

#include <kerna/kerna3/PrintLog.h>

#include "Commands.h"

namespace {

void toStandardError(const char* line) {
    fputs(line, stderr);
}

class EarlyInit {
public:
    EarlyInit() {
        Tessaran::Kerna::PrintOptions options = {};
        options.noColor = true;
        Tessaran::Kerna::setPrintOptions(options);
        Tessaran::Kerna::setPrintLogLevel(3);
        Tessaran::Kerna::setLogPrinter(Tessaran::Kerna::TFunction1<void, const char*>(&toStandardError));
    }
};

__attribute__((init_priority(101))) EarlyInit g_earlyInit;

}  // namespace

namespace KernaTool {

void useConsoleForLibraryLines() {
    Tessaran::Kerna::setPrintLogLevel(4);
    Tessaran::Kerna::setPrintOptions(Tessaran::Kerna::PrintOptions());
    Tessaran::Kerna::setLogPrinter(Tessaran::Kerna::TFunction1<void, const char*>());
}

}  // namespace KernaTool
