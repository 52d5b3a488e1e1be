// LegacyObjects.h
//
// The process-wide objects of the older interface's source-level classes. The classes' code is
// built twice, into libkerna.so and into the static companion library kerna_source, but each
// object must exist once in a process: the objects live in libkerna.so alone, made by the
// functions below, which libkerna.so exports for the companion library's copy of the code. They
// are declared in no installed header and are meant for nothing else.
#ifndef KERNA_SRC_LEGACY_LEGACYOBJECTS_H_
#define KERNA_SRC_LEGACY_LEGACYOBJECTS_H_

#include "kerna/kerna3/Defs.h"

class IThreadManager;
class ITimerManager;

namespace Tessaran {
namespace Kerna {
namespace Detail {

/// The global CThreadManager; the start-up unit makes it when the library is loaded.
KERNA_API ::IThreadManager* olderThreadManager();

/// The global CTimerManager; the start-up unit makes it when the library is loaded.
KERNA_API ::ITimerManager* olderTimerManager();

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_LEGACY_LEGACYOBJECTS_H_
