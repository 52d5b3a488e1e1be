// Defs.h
//
// Build-wide definitions shared by every public header: the export macro that marks the
// library's exported interface (everything else in libkerna.so is hidden) and the library version.
#ifndef KERNA_KERNA3_DEFS_H_
#define KERNA_KERNA3_DEFS_H_

/// Marks a class or function as part of the exported interface of libkerna.so.
#define KERNA_API __attribute__((visibility("default")))

#define KERNA_VERSION_MAJOR 0
#define KERNA_VERSION_MINOR 1
#define KERNA_VERSION_PATCH 0

#endif  // KERNA_KERNA3_DEFS_H_
