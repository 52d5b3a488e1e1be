// main.cpp
//
// The kerna tool: `kerna <command> [arguments]`.
#include <stdio.h>
#include <string.h>

#include "Commands.h"

namespace {

void usage(FILE* out) {
    fprintf(out, "Usage: kerna <command> [arguments]\n\nCommands:\n");
    for (const KernaTool::Command* c = KernaTool::commands; c->name; ++c) {
        fprintf(out, "  %-10s %s\n", c->name, c->summary);
    }
    fprintf(out, "\n'kerna <command> --help' tells more about a command.\n");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        usage(stderr);
        return 2;
    }
    if (strcmp(argv[1], "--help") == 0 || strcmp(argv[1], "-h") == 0 || strcmp(argv[1], "help") == 0) {
        usage(stdout);
        return 0;
    }
    for (const KernaTool::Command* c = KernaTool::commands; c->name; ++c) {
        if (strcmp(argv[1], c->name) == 0) return c->run(argc - 1, argv + 1);
    }
    fprintf(stderr, "kerna: unknown command '%s'\n", argv[1]);
    usage(stderr);
    return 2;
}
