// Process.cpp
//
// systemCall, the process id, and the per-thread function-reuse value.
#include "kerna/kerna3/Process.h"

#include <stdint.h>
#include <string.h>

#include "base/ProcessObject.h"
#include "sync/FunctionReuse.h"
#include "kerna/kerna3/Function.h"
#include "kerna/kerna3/PrintLog.h"
#include "platform/Process.h"
#include "platform/Tls.h"

namespace Tessaran {
namespace Kerna {

namespace {
const size_t commandBufferSize = 260;  // a command of 259 characters still fits
}

int systemCall(const char* command) {
    if (command == nullptr) return 1;
    if (strnlen(command, commandBufferSize) >= commandBufferSize) {
        logError("systemCall's input parameter is too long, command:%s\n", command);
        return -1;
    }
    char buffer[commandBufferSize];
    memset(buffer, 0, sizeof buffer);
    strcpy(buffer, command);
    if (!Detail::Platform::runProcessAndWait(buffer)) {
        logWarn("systemCall CreateProcessA cmd:%s failed\n", buffer);
        return -1;
    }
    return 0;
}

unsigned long long getCurrectProcessID() { return Detail::Platform::currentProcessId(); }

namespace Detail {

namespace {
struct FunctionReuseSlot {
    CThreadSpecific slot;
    void published() {}
    void atProcessExit() {}
};
}  // namespace

CThreadSpecific& functionReuseSlot() { return ProcessObject<FunctionReuseSlot>::get()->slot; }

void setCurrentFunctionReuse(unsigned int value) {
    functionReuseSlot().setValue(reinterpret_cast<const void*>(static_cast<uintptr_t>(value)));
}

}  // namespace Detail

unsigned int getCurrentFunctionReuse() {
    void* value = nullptr;
    if (!Detail::functionReuseSlot().getValue(&value)) return 0;
    return static_cast<unsigned int>(reinterpret_cast<uintptr_t>(value));
}

}  // namespace Kerna
}  // namespace Tessaran
