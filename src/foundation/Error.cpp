// Error.cpp
//
// The last error of each thread, in one thread-local slot for the process, and the message table,
// a process-wide map from code to text behind a lock, made on first use and dropped at exit.

#include "kerna/kerna3/Error.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>

#include "foundation/ErrorTable.h"
#include "base/Log.h"
#include "kerna/kerna3/Mutex.h"
#include "kerna/kerna3/ThreadSpecific.h"

namespace Tessaran {
namespace Kerna {

namespace Detail {

const ErrorRow kLibraryErrorRows[] = {
    {0x10030000, "Component error: interface not found!"},
    {0x10030001, "Component error: class not found!"},
    {0x10030002, "Component error: client not found!"},
    {0x10030003, "Component error: client not exist!"},
    {0x10030004, "Component error: not login yet!"},
    {0x10030005, "Component error: tring login!"},
    {0x10030006, "Component error: user's name not valid!"},
    {0x10030007, "Component error: password not valid!"},
    {0x10030008, "Component error: peer has been blocked!"},
    {0x10030009, "Component error: peer in Blocklist!"},
    {0x1003000a, "Component error: user's name has been used!"},
    {0x1003000b, "Component error: too many connections!"},
    {0x1003000c, "Component error: no authority!"},
    {0x1003000d, "Component error: creating object failed!"},
    {0x1003000e, "Component error: getting instance failed!"},
    {0x1003000f, "Component error: login challenge!"},
    {0x10030015, "Component error: User or password not valid!"},
};
const size_t kLibraryErrorRowCount = sizeof(kLibraryErrorRows) / sizeof(kLibraryErrorRows[0]);

namespace {
std::atomic<bool> g_libraryRowsInstalled{false};
}  // namespace

// Each thread's value is stored in the slot's pointer-sized word itself.
CThreadSpecific& lastErrorSlot() {
    static CThreadSpecific* const slot = new CThreadSpecific();
    return *slot;
}

bool installLibraryErrorMessages() {
    if (g_libraryRowsInstalled.exchange(true, std::memory_order_acq_rel)) return false;
    for (size_t i = 0; i < kLibraryErrorRowCount; ++i) {
        setErrMsg(kLibraryErrorRows[i].code, kLibraryErrorRows[i].text);
    }
    return true;
}

}  // namespace Detail

namespace {

struct MessageTable {
    CMutex lock;
    std::map<int32_t, std::string> texts;
};

std::atomic<MessageTable*> g_table{nullptr};

CMutex& tableCreationLock() {
    static CMutex* const lock = new CMutex();
    return *lock;
}

void resetMessageTable() {
    CGuard guard(tableCreationLock());
    delete g_table.exchange(nullptr, std::memory_order_acq_rel);
}

MessageTable& messageTable() {
    MessageTable* table = g_table.load(std::memory_order_acquire);
    if (table != nullptr) return *table;
    CGuard guard(tableCreationLock());
    table = g_table.load(std::memory_order_acquire);
    if (table == nullptr) {
        table = new MessageTable();
        g_table.store(table, std::memory_order_release);
        if (std::atexit(resetMessageTable) != 0) KERNA_LOG(4, "atexit failed!\n");
    }
    return *table;
}

const char kEmptyText[] = "";

}  // namespace

size_t Detail::errorMessageCount() {
    MessageTable& table = messageTable();
    CGuard guard(table.lock);
    return table.texts.size();
}

void setLastError(int code) {
    Detail::lastErrorSlot().setValue(reinterpret_cast<const void*>(static_cast<intptr_t>(code)));
}

int getLastError() {
    void* value = nullptr;
    if (!Detail::lastErrorSlot().getValue(&value)) return 0;
    return static_cast<int>(reinterpret_cast<intptr_t>(value));
}

void setErrMsg(int code, const char* text) {
    MessageTable& table = messageTable();
    CGuard guard(table.lock);
    table.texts[code] = text != nullptr ? text : "";
}

const char* getErrMsg(int code) {
    MessageTable& table = messageTable();
    CGuard guard(table.lock);
    const auto found = table.texts.find(code);
    return found != table.texts.end() ? found->second.c_str() : kEmptyText;
}

void setErrorMessage(int code, const String& text) {
    MessageTable& table = messageTable();
    CGuard guard(table.lock);
    table.texts[code].assign(text.c_str(), text.size());
}

String getErrorMessage(int code) {
    MessageTable& table = messageTable();
    CGuard guard(table.lock);
    const auto found = table.texts.find(code);
    if (found == table.texts.end()) return String();
    return String(found->second.c_str(), found->second.size());
}

}  // namespace Kerna
}  // namespace Tessaran
