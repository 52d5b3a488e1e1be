// HookTable.cpp
//
// The table of hooked file systems: 32 rows of a prefix and a table pointer, of which rows 1 to
// 31 are used. A row is free while its prefix is empty. A path selects the first row whose
// prefix begins it, else the default table. The rows are changed and read under a lock of their
// own, held only for the copy of a row (never while a line prints), so that a hook from one
// thread and an open on another never see a half-written prefix. While nothing is hooked, the
// selection takes no lock.
#include <atomic>
#include <cstring>

#include "base/Log.h"
#include "base/ProcessObject.h"
#include "file/FileTables.h"
#include "kerna/kerna3/Mutex.h"
#include "kerna/kerna3/PrintLog.h"
#include "platform/Fork.h"
#include "sync/MutexAccess.h"

namespace Tessaran {
namespace Kerna {

namespace {

const int hookRows = 32;
const size_t prefixSize = 256;

struct HookRow {
    char prefix[prefixSize];
    IFileSystem* table;
};

struct HookTable {
    HookTable() { Detail::keepLockAcrossFork<HookTable>(Detail::Platform::forkRankFiles); }
    void published() {}
    void atProcessExit() {}  // the rows serve to the end of the process

    CMutex lock;
    HookRow rows[hookRows] = {};
    std::atomic<int> hooked{0};  // rows with a prefix
};

HookTable& hookTable() { return *Detail::ProcessObject<HookTable>::get(); }

void countHooked(HookTable& t) {
    int n = 0;
    for (int i = 1; i < hookRows; ++i) n += t.rows[i].prefix[0] != '\0';
    t.hooked.store(n, std::memory_order_release);
}

}  // namespace

void hookFileSystem(const char* prefix, IFileSystem* table) {
    logInfo("hookFileSystem called!, CFile/CLfsFile member function may be hooked!\n");
    if (prefix == nullptr) {
        KERNA_LOG(2, "prefix is NULL, table:%p\n", static_cast<void*>(table));
        return;
    }
    HookTable& t = hookTable();
    CGuard guard(t.lock);
    for (int i = 1; i < hookRows; ++i) {
        HookRow& row = t.rows[i];
        if (table != nullptr) {
            if (row.prefix[0] != '\0') continue;
            std::strncpy(row.prefix, prefix, prefixSize - 1);
            row.prefix[prefixSize - 1] = '\0';
            row.table = table;
            break;
        }
        // A row holds 255 characters of a prefix: that much of it decides, so that a longer
        // prefix can be unhooked as it was hooked.
        if (std::strncmp(row.prefix, prefix, prefixSize - 1) == 0) {
            row.prefix[0] = '\0';
            row.table = nullptr;
            break;
        }
    }
    countHooked(t);
}

namespace Detail {

IFileSystem* selectFileTable(const char* path, bool* hooked) {
    if (hooked != nullptr) *hooked = false;
    HookTable& t = hookTable();
    if (path != nullptr && t.hooked.load(std::memory_order_acquire) != 0) {
        CGuard guard(t.lock);
        for (int i = 1; i < hookRows; ++i) {
            const HookRow& row = t.rows[i];
            const size_t length = std::strlen(row.prefix);
            if (length != 0 && std::strncmp(row.prefix, path, length) == 0) {
                if (hooked != nullptr) *hooked = true;
                return row.table;
            }
        }
    }
    return defaultFileTable();
}

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran
