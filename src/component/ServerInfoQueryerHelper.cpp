// ServerInfoQueryerHelper.cpp
//
// Selection of class and server: the query handler's place and the questions put to it, the
// default class of each interface for local use, and the selection records.
#include "component/ServerInfoQueryerHelper.h"

#include <atomic>
#include <map>
#include <string>

#include "base/Log.h"
#include "base/ProcessObject.h"
#include "component/ComSelInfo.h"
#include "component/LocalComSelectManager.h"
#include "kerna/kerna3/Mutex.h"

namespace Tessaran {
namespace Component {

using Kerna::CGuard;

const ComSelChannelInfo ComSelChannelInfo::local(-1, nullptr, -1);

namespace Detail {

// Keeps the helper. The handler is set once and read without a lock from then on: `ready` is
// raised after the handler is stored, and a query reads the handler only once it sees `ready`.
// The helper and its handler are kept to the end of the process: queries may still run on other
// threads while exit routines run.
class QueryerHelperHolder {
public:
    QueryerHelperHolder() : helper(new CServerInfoQueryerHelper) {}
    void published() {}
    void atProcessExit() {}

    CServerInfoQueryerHelper* helper;
    Kerna::CMutex setLock;
    std::atomic<bool> ready{false};
};

}  // namespace Detail

namespace {

Detail::QueryerHelperHolder& holder() {
    return *Kerna::Detail::ProcessObject<Detail::QueryerHelperHolder>::get();
}

// The default class of each interface.
struct DefaultComponents {
    Kerna::CMutex defaultComponentLock;
    std::map<std::string, std::string> defaultComponentMap;
    void published() {}
    void atProcessExit() {}
};

DefaultComponents& defaults() { return *Kerna::Detail::ProcessObject<DefaultComponents>::get(); }

}  // namespace

CServerInfoQueryerHelper::CServerInfoQueryerHelper() {}
CServerInfoQueryerHelper::~CServerInfoQueryerHelper() {}

CServerInfoQueryerHelper* CServerInfoQueryerHelper::instance() { return holder().helper; }

bool CServerInfoQueryerHelper::setQueryerHandler(const TComPtr<IServerInfoQueryer>& handler) {
    Detail::QueryerHelperHolder& h = holder();
    TComPtr<IServerInfoQueryer> copy(handler);  // counted outside the lock
    void* old;
    bool stored = false;
    {
        CGuard guard(h.setLock);
        old = m_handler.get();
        if (copy && !m_handler) {
            m_handler.swap(copy);
            h.ready.store(true, std::memory_order_release);
            stored = true;
        }
    }
    if (!stored) {
        KERNA_LOG(2, "setQueryerHandler failed setPtr:%p, oldPtr:%p\n",
                  static_cast<void*>(handler.get()), old);
    }
    return stored;
}

bool CServerInfoQueryerHelper::getServerInfoByChannel(int channel, Kerna::String& clsid,
                                                      ServerInfo& serverInfo) {
    if (!holder().ready.load(std::memory_order_acquire) || channel == -1) {
        clsid = ClassID::local.name;
        return true;
    }
    if (channel < 0) {
        KERNA_LOG(2, "channel:%d is invalid \n", channel);
        return false;
    }
    return m_handler->getServerInfoByChannel(channel, clsid, serverInfo);
}

bool CServerInfoQueryerHelper::getServerInfoByDeviceId(const char* deviceId, Kerna::String& clsid,
                                                       ServerInfo& serverInfo) {
    if (!holder().ready.load(std::memory_order_acquire)) {
        KERNA_LOG(2, "please call setQueryerHandler interface\n");
        return false;
    }
    if (deviceId == nullptr) {
        KERNA_LOG(2, "deviceId:%s is empty\n", "(null)");
        return false;
    }
    return m_handler->getServerInfoByDeviceId(deviceId, clsid, serverInfo);
}

bool setQueryerHandler(TComPtr<IServerInfoQueryer> handler) {
    return CServerInfoQueryerHelper::instance()->setQueryerHandler(handler);
}

bool CLocalComSelectManager::setDefaultComponent(const char* iid, const char* clsid) {
    if (iid == nullptr) return false;
    DefaultComponents& d = defaults();
    CGuard comGuard(d.defaultComponentLock);
    return d.defaultComponentMap.emplace(iid, clsid != nullptr ? clsid : "").second;
}

Kerna::String CLocalComSelectManager::getDefaultClassID(const char* iid) {
    if (iid == nullptr) return Kerna::String();
    Kerna::String answer(ClassID::local.name);
    DefaultComponents& d = defaults();
    CGuard comGuard(d.defaultComponentLock);
    auto found = d.defaultComponentMap.find(iid);
    if (found != d.defaultComponentMap.end()) answer = found->second.c_str();
    return answer;
}

}  // namespace Component
}  // namespace Tessaran
