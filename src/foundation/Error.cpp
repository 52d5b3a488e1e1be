// Error.cpp
//
// The last error of each thread, in one thread-local slot for the process, and the message table,
// a process-wide map from code to text behind a lock, made on first use and kept to the end of
// the process (threads and exit routines may still read and add rows while the process exits,
// and a text once handed out stays valid until its row is replaced).

#include "kerna/kerna3/Error.h"

#include <cstdint>
#include <map>
#include <string>

#include "base/Log.h"
#include "base/ProcessObject.h"
#include "foundation/ErrorTable.h"
#include "kerna/kerna3/Mutex.h"
#include "kerna/kerna3/ThreadSpecific.h"
#include "platform/Fork.h"
#include "sync/MutexAccess.h"

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

// Each thread's value is stored in the slot's pointer-sized word itself.
struct LastErrorSlot {
    CThreadSpecific slot;
    void published() {}
    void atProcessExit() {}
};

struct MessageTable {
    CMutex lock;
    std::map<int32_t, std::string> texts;
    bool libraryRowsInstalled = false;  // under lock
    MessageTable() { keepLockAcrossFork<MessageTable>(Platform::forkRankPrint); }
    void published() {}
    void atProcessExit() {}
};

}  // namespace

template <>
struct ProcessObjectName<MessageTable> {
    static constexpr const char* value = "Tessaran::Kerna::getErrMsg";
};

CThreadSpecific& lastErrorSlot() { return ProcessObject<LastErrorSlot>::get()->slot; }

bool installLibraryErrorMessages() {
    // Under the table's lock for the whole installation (it is re-enterable): a second caller
    // waits until the rows are there.
    MessageTable& table = *ProcessObject<MessageTable>::get();
    CGuard guard(table.lock);
    if (table.libraryRowsInstalled) return false;
    for (size_t i = 0; i < kLibraryErrorRowCount; ++i) {
        setErrMsg(kLibraryErrorRows[i].code, kLibraryErrorRows[i].text);
    }
    table.libraryRowsInstalled = true;
    return true;
}

void forgetLibraryErrorMessages() {
    MessageTable& table = *ProcessObject<MessageTable>::get();
    CGuard guard(table.lock);
    for (size_t i = 0; i < kLibraryErrorRowCount; ++i) table.texts.erase(kLibraryErrorRows[i].code);
    table.libraryRowsInstalled = false;
}

}  // namespace Detail

namespace {

Detail::MessageTable& messageTable() { return *Detail::ProcessObject<Detail::MessageTable>::get(); }

const char kEmptyText[] = "";

}  // namespace

size_t Detail::errorMessageCount() {
    Detail::MessageTable& table = messageTable();
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
    Detail::MessageTable& table = messageTable();
    CGuard guard(table.lock);
    table.texts[code] = text != nullptr ? text : "";
}

const char* getErrMsg(int code) {
    Detail::MessageTable& table = messageTable();
    CGuard guard(table.lock);
    const auto found = table.texts.find(code);
    return found != table.texts.end() ? found->second.c_str() : kEmptyText;
}

void setErrorMessage(int code, const String& text) {
    Detail::MessageTable& table = messageTable();
    CGuard guard(table.lock);
    table.texts[code].assign(text.c_str(), text.size());
}

String getErrorMessage(int code) {
    Detail::MessageTable& table = messageTable();
    CGuard guard(table.lock);
    const auto found = table.texts.find(code);
    if (found == table.texts.end()) return String();
    return String(found->second.c_str(), found->second.size());
}

}  // namespace Kerna
}  // namespace Tessaran
