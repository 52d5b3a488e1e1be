// Startup.cpp
//
// The one place that makes the process-wide objects when the library is loaded, in their fixed
// order, before any caller runs (also inside dlopen). Every other process-wide object is made on
// first use, and nothing else in the library has a dynamic initializer, since C++ does not order
// the initialisation of different units. The packet managers are deliberately not made here:
// they are made on first use, so that a program can still choose a pool policy from main.
#include "sync/FunctionReuse.h"
#include "threads/ThreadLoadingController.h"
#include "file/FileTables.h"
#include "foundation/ErrorTable.h"
#include "kerna/kerna3/Error.h"
#include "kerna/kerna3/ThreadManager.h"
#include "kerna/kerna3/Timer.h"
#include "kerna/memory/SharePacketHelper.h"
#include "component/ClientInstanceList.h"
#include "component/ServerInfoQueryerHelper.h"
#include "foundation/VersionInternal.h"
#include "legacy/LegacyObjects.h"
#include "logfile/LogFileWriter.h"

namespace Tessaran {
namespace Kerna {
namespace Detail {
namespace {

class LibraryStartup {
public:
    LibraryStartup() {
        // The order below is the library's start order; each subsystem adds its line in place.
        startLogFileWriter();  // only a hook: the writer itself is made at the first line
        functionReuseSlot();
        lastErrorSlot();
        olderThreadManager();  // the global IThreadManager of the older interface
        CThreadManager::instance();
        olderTimerManager();  // the global ITimerManager of the older interface
        CTimerManager::instance();  // starts the "TimerManager" thread
        CThreadLoadingController::instance();
        defaultFileTable();
        utf8FileTable();
        getErrMsg(0);                            // the error table
        Memory::CSharePacketHelper::instance();  // touches no packet manager
        Component::CClientInstanceList::instance();  // starts the "ClientCheck" timer
        Component::CServerInfoQueryerHelper::instance();
        libraryLegacyVersion();  // the library states its own version in the older form
    }
};

LibraryStartup g_startup;

}  // namespace
}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran
