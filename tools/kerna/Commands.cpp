// Commands.cpp
//
// The table of the kerna tool's subcommands.
#include "Commands.h"

namespace KernaTool {

const Command commands[] = {
    {"version", cmdVersion, "print the library version"},
    {"demo", cmdDemo, "show the library at work"},
    {nullptr, nullptr, nullptr},
};

}  // namespace KernaTool
