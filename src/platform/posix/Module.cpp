// Module.cpp - shared modules through the dynamic loader.
//
// Only POSIX code; no library logic.
//
// RTLD_NOW resolves every import at load, so a module that can't be used fails here and not at a
// later call; RTLD_LOCAL keeps its names out of the process-wide scope. Modules are never closed.
// A bare file name is searched as the loader searches it for this library (LD_LIBRARY_PATH, then
// the library's run path "$ORIGIN", then the system's places). Where the loader takes someone
// else for the caller (a sanitizer's runtime intercepts dlopen and becomes the caller, whose run
// path is not ours), a name not found that way is tried once more in this library's own folder,
// which is what "$ORIGIN" names.
#include "platform/Module.h"

#include <dlfcn.h>

#include <cstring>
#include <string>

namespace Tessaran {
namespace Kerna {
namespace Detail {
namespace Platform {

void* loadModule(const char* fileName) {
    if (fileName == nullptr) return nullptr;
    void* module = dlopen(fileName, RTLD_NOW | RTLD_LOCAL);
    if (module != nullptr || std::strchr(fileName, '/') != nullptr) return module;
    Dl_info self;
    if (dladdr(reinterpret_cast<void*>(&loadModule), &self) == 0 || self.dli_fname == nullptr)
        return nullptr;
    const char* slash = std::strrchr(self.dli_fname, '/');
    if (slash == nullptr) return nullptr;
    const std::string beside = std::string(self.dli_fname, slash + 1) + fileName;
    return dlopen(beside.c_str(), RTLD_NOW | RTLD_LOCAL);
}

void* findModuleSymbol(void* module, const char* symbol) {
    if (module == nullptr || symbol == nullptr) return nullptr;
    return dlsym(module, symbol);
}

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran
