// Module.cpp - shared modules through the dynamic loader.
//
// Only POSIX code; no library logic.
//
// RTLD_NOW resolves every import at load, so a module that can't be used fails here and not at a
// later call; RTLD_LOCAL keeps its names out of the process-wide scope. Modules are never closed.
#include "platform/Module.h"

#include <dlfcn.h>

namespace Tessaran {
namespace Kerna {
namespace Detail {
namespace Platform {

void* loadModule(const char* fileName) {
    if (fileName == nullptr) return nullptr;
    return dlopen(fileName, RTLD_NOW | RTLD_LOCAL);
}

void* findModuleSymbol(void* module, const char* symbol) {
    if (module == nullptr || symbol == nullptr) return nullptr;
    return dlsym(module, symbol);
}

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran
