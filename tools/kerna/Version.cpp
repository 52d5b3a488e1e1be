// Version.cpp
//
// `kerna version`: the version of the tool and of the library it runs on.
#include <stdio.h>

#include "Commands.h"

namespace KernaTool {

int cmdVersion(int /*argc*/, char** /*argv*/) {
    printf("kerna %s\n", KERNA_VERSION_TEXT);
    return 0;
}

}  // namespace KernaTool
