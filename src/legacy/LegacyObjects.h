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
#include "kerna/kerna3/Mutex.h"

class CFSOperation;
class IThreadManager;
class ITimerManager;

/// The hook rows of the older file interface: 32 rows (row 0 unused), each a prefix of at most
/// 31 characters and the CFSOperation made for it. `lock` guards the rows and is held only to
/// read or change them, never while hookFileSystem runs: a row whose hook is on its way to
/// hookFileSystem is `pending`; an unhook that finds it so leaves the unhook to the hooking
/// thread (`unhookAfterHook`), which makes it once its own hookFileSystem call has returned.
/// `hooked` is the prefix as hookFileSystem received it (up to its 255 characters): the unhook
/// passes it on, so that the library's table never keeps a CFSOperation that has been freed,
/// also when a prefix longer than 31 characters was found by its cut text.
struct LegacyFileHooks {
    struct Row {
        char prefix[32];
        char hooked[256];
        bool pending;
        bool unhookAfterHook;
    };
    Tessaran::Kerna::CMutex lock;
    Row rows[32];
    ::CFSOperation* fsOpts[32];
};

namespace Tessaran {
namespace Kerna {
namespace Detail {

/// The global CThreadManager; the start-up unit makes it when the library is loaded.
KERNA_API ::IThreadManager* olderThreadManager();

/// The global CTimerManager; the start-up unit makes it when the library is loaded.
KERNA_API ::ITimerManager* olderTimerManager();

/// The hook rows of the older file interface, all empty at first; made on first use.
KERNA_API ::LegacyFileHooks* olderFileHooks();

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_LEGACY_LEGACYOBJECTS_H_
