// Commands.cpp
//
// The table of the kerna tool's subcommands.
#include "Commands.h"

namespace KernaTool {

const Command commands[] = {
    {"version", cmdVersion, "print the library version"},
    {"demo", cmdDemo, "show the library at work"},
    {"iconv", cmdIconv, "convert text between UTF-8, GBK, UCS-4 and code pages"},
    {nullptr, nullptr, nullptr},
};

}  // namespace KernaTool
