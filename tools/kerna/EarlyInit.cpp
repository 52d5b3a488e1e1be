// EarlyInit.cpp
//
// The library makes its process-wide objects when it is loaded, and the first use of its clock
// then prints a line. The tool's commands write data to standard output (digests, conversions),
// so before the library starts the tool routes the library's lines to standard error, without
// colours. `kerna demo` brings the console back. The tool links the library's objects, so that
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
        Tessaran::Kerna::setLogPrinter(Tessaran::Kerna::TFunction1<void, const char*>(&toStandardError));
    }
};

__attribute__((init_priority(101))) EarlyInit g_earlyInit;

}  // namespace

namespace KernaTool {

void useConsoleForLibraryLines() {
    Tessaran::Kerna::setPrintOptions(Tessaran::Kerna::PrintOptions());
    Tessaran::Kerna::setLogPrinter(Tessaran::Kerna::TFunction1<void, const char*>());
}

}  // namespace KernaTool
