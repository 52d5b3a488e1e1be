// InterfaceLog.h
//
// KERNA_LOG for the units that the static companion library (kerna_source) carries as well as
// libkerna.so: a copy of such a unit runs outside the library and may reach the print path only
// through the exported interface. The line is the one KERNA_LOG prints (library and version
// "Unknown", file without folder and extension, function with its namespace and class); the file
// and function texts are given as written.
#ifndef KERNA_SRC_BASE_INTERFACELOG_H_
#define KERNA_SRC_BASE_INTERFACELOG_H_

#include "kerna/kerna3/PrintLog.h"

#define KERNA_INTERFACE_LOG(level, file, function, ...) \
    ::Tessaran::Kerna::logFilter(level, "Unknown", file, function, __LINE__, "Unknown", __VA_ARGS__)

#endif  // KERNA_SRC_BASE_INTERFACELOG_H_
