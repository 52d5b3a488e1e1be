// Module.h
//
// Private platform interface: loading a shared module by file name and finding an exported name
// in it. Declarations only; no OS types. The code is in posix/Module.cpp.
#ifndef KERNA_SRC_PLATFORM_MODULE_H_
#define KERNA_SRC_PLATFORM_MODULE_H_

namespace Tessaran {
namespace Kerna {
namespace Detail {
namespace Platform {

/// Loads the module `fileName` with every import resolved at once, and returns its handle, or
/// null if it can't be found or loaded. A name without "/" is looked for in the library search
/// path, the run path of libkerna.so included (so a module beside the library is found). A
/// module is never unloaded; loading it again gives the same handle.
void* loadModule(const char* fileName);

/// The address of the exported name `symbol` in `module`, or null.
void* findModuleSymbol(void* module, const char* symbol);

}  // namespace Platform
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_PLATFORM_MODULE_H_
