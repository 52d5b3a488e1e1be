// ClientInstanceList.cpp
//
// The client list, the creation of clients through the wrapped factories, and the idle check.
#include "component/ClientInstanceList.h"

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "base/Log.h"
#include "base/ProcessObject.h"
#include "component/ClientInternal.h"
#include "component/UnknownInternal.h"
#include "kerna/kerna3/Error.h"
#include "kerna/kerna3/Mutex.h"

namespace Tessaran {
namespace Component {

using Kerna::CRecursiveGuard;

namespace {

const int kClientNotFound = 0x10030002;
const int kClientNotExist = 0x10030003;

// One wrap per client factory, for the life of the process.
struct FactoryWraps {
    Kerna::CMutex lock;  // factoryWrapLock
    std::map<IFactoryUnknown*, IClientFactoryWrap*> wraps;
    void published() {}
    void atProcessExit() {}
};

// Ends a client whose last reference has gone: outside every framework lock.
void endClient(IClient* client) {
    client->logout();
    client->destroy();
}

}  // namespace

// The list.

CClientInstanceList::CClientInstanceList() : m_checkTimer("ClientCheck") {
    // Every 60 ms, with a watch-dog of 60 s on the worker; the first check runs at once.
    m_checkTimer.start(Kerna::TFunction1<void, unsigned long>(
                           &CClientInstanceList::removeIdleClientInstance, this),
                       0, 60, 0, 60000);
}

CClientInstanceList::~CClientInstanceList() { m_checkTimer.stopAndWait(); }

CClientInstanceList* CClientInstanceList::instance() {
    return Kerna::Detail::ProcessObject<CClientInstanceList>::get();
}

void CClientInstanceList::atProcessExit() { m_checkTimer.stopAndWait(); }

IClient* CClientInstanceList::findForUser(const ClassID& clsid, int userID) {
    CRecursiveGuard guard(m_clientLock);
    for (IClient* client : m_clients) {
        if (Detail::clientIsSameAs(client, clsid, userID)) return client;
    }
    return nullptr;
}

IClient* CClientInstanceList::findAndMake(const ClassID& clsid, const ServerInfo& serverInfo) {
    CRecursiveGuard guard(m_clientLock);
    for (IClient* client : m_clients) {
        if (Detail::clientIsSameAs(client, clsid, serverInfo)) {
            return static_cast<IClient*>(Detail::CComponentHelper::makeComponentInstance(client));
        }
    }
    return nullptr;
}

IClient* CClientInstanceList::findAndMake(const ClassID& clsid, int userID) {
    CRecursiveGuard guard(m_clientLock);
    for (IClient* client : m_clients) {
        if (Detail::clientIsSameAs(client, clsid, userID)) {
            return static_cast<IClient*>(Detail::CComponentHelper::makeComponentInstance(client));
        }
    }
    return nullptr;
}

IClient* CClientInstanceList::findAlive(const ClassID& clsid, const ServerInfo& serverInfo,
                                        bool addRef) {
    CRecursiveGuard guard(m_clientLock);
    for (IClient* client : m_clients) {
        if (!Detail::clientIsBroken(client) && Detail::clientIsSameAs(client, clsid, serverInfo)) {
            if (addRef) client->addRef();
            return client;
        }
    }
    return nullptr;
}

void CClientInstanceList::addClientInstance(IClient* client) {
    if (client == nullptr) return;
    CRecursiveGuard guard(m_clientLock);
    m_clients.push_back(client);
}

int CClientInstanceList::releaseClientInstance(IClient* client) {
    KERNA_ASSERT(client != NULL);
    int count;
    {
        CRecursiveGuard guard(m_clientLock);
        count = Detail::decreaseRefCount(client);
        if (count == 0) m_clients.remove(client);
    }
    if (count != 0) return count;
    endClient(client);
    return 0;
}

void CClientInstanceList::removeIdleClientInstance(unsigned long) {
    std::vector<IClient*> idleClientList;
    {
        CRecursiveGuard guard(m_clientLock);
        for (auto it = m_clients.begin(); it != m_clients.end();) {
            // Below 2: only the list's own reference is left.
            if (Detail::clientIsIdle(*it) && Detail::getRefCount(*it) < 2) {
                idleClientList.push_back(*it);
                it = m_clients.erase(it);
            } else {
                ++it;
            }
        }
    }
    for (IClient* client : idleClientList) {
        KERNA_ASSERT(client != NULL);
        if (Detail::decreaseRefCount(client) == 0) endClient(client);
    }
}

void CClientInstanceList::stop() {
    if (m_checkTimer.stopAndWait()) {
        KERNA_LOG(4, "this:%p client check timer stopped successfully.\n",
                  static_cast<void*>(this));
    }
}

bool CClientInstanceList::contains(IClient* client) {
    CRecursiveGuard guard(m_clientLock);
    for (IClient* c : m_clients) {
        if (c == client) return true;
    }
    return false;
}

size_t CClientInstanceList::size() {
    CRecursiveGuard guard(m_clientLock);
    return m_clients.size();
}

// The wrap.

IClientFactoryWrap::IClientFactoryWrap(IFactoryUnknown* factory)
    : m_original(dynamic_cast<IClient::IFactory*>(factory)) {
    KERNA_ASSERT(m_original != NULL);
}

const char* IClientFactoryWrap::clsid() { return m_original->clsid(); }

IClient* IClientFactoryWrap::create(const ServerInfo& serverInfo) { return make(serverInfo, true); }

IClient* IClientFactoryWrap::createAndMake(const ServerInfo& serverInfo) {
    return make(serverInfo, false);
}

IClient* IClientFactoryWrap::make(const ServerInfo& serverInfo, bool userCreated) {
    CClientInstanceList* list = CClientInstanceList::instance();
    const char* cls = clsid();
    const ClassID classId(cls);
    const bool local = cls != nullptr && std::strcmp(cls, ClassID::local.name) == 0;
    IClient* client;
    IClient* already = nullptr;
    {
        CRecursiveGuard guard(list->creationLock());
        if (!local) {
            // The reference is taken under the list's lock: the client can't end meanwhile.
            client = list->findAlive(classId, serverInfo, true);
            if (client != nullptr) return client;
        }
        client = m_original->create(serverInfo);
        if (client == nullptr) return nullptr;
        Detail::clientCreateInternal(client, classId, serverInfo, userCreated);
        if (userCreated) {
            Detail::clientGetAndMarkUsing(client);
        } else {
            Detail::CComponentHelper::makeComponentObject(client);
            Detail::CComponentHelper::addRef(client);  // the list's reference
        }
        if (!local) already = list->findAlive(classId, serverInfo);
        list->addClientInstance(client);
    }
    if (already != nullptr) {
        KERNA_LOG(2, "this:%p remote client instance:%p has been in CClientInstanceList already.\n",
                  static_cast<void*>(this), static_cast<void*>(already));
    }
    Detail::CComponentHelper::setAsCurrentUser(client);
    return client;
}

// The framework's entry points.

IClient* ClientFactory::createAndMakeClientObject(const ClassID& clsid,
                                                  const ServerInfo& serverInfo) {
    const char* name = clsid.name != nullptr ? clsid.name : "";
    const char* dot = std::strchr(name, '.');
    const std::string tempclsid = dot != nullptr ? std::string(name, dot) : std::string(name);
    IClient* noclient = nullptr;
    IClientFactoryWrap* wrap =
        static_cast<IClientFactoryWrap*>(Detail::CComponentHelper::getComponentFactory(
            IClient::IFactory::iid(), ClassID(tempclsid.c_str()), ServerInfo::none, noclient));
    if (wrap == nullptr) {
        KERNA_LOG(2, "get factory failed, clsid: %s\n", tempclsid.c_str());
        Kerna::setLastError(kClientNotFound);
        return nullptr;
    }
    IClient* client = wrap->createAndMake(serverInfo);
    if (client == nullptr) {
        KERNA_LOG(2, "create client failed, clsid: %s\n", tempclsid.c_str());
        Kerna::setLastError(kClientNotExist);
        return nullptr;
    }
    return client;
}

int ClientFactory::releaseClientObject(IClient* client) {
    KERNA_ASSERT(client != NULL);
    return CClientInstanceList::instance()->releaseClientInstance(client);
}

IClient* ClientFactory::findClientObject(const ClassID& clsid, const ServerInfo& serverInfo) {
    return CClientInstanceList::instance()->findAndMake(clsid, serverInfo);
}

IClient* ClientFactory::findClientObject(const ClassID& clsid, int userID) {
    return CClientInstanceList::instance()->findAndMake(clsid, userID);
}

IFactoryUnknown* ClientFactory::getClientFactoryWrap(IFactoryUnknown* factory) {
    FactoryWraps* table = Kerna::Detail::ProcessObject<FactoryWraps>::get();
    Kerna::CGuard guard(table->lock);
    IClientFactoryWrap*& wrap = table->wraps[factory];
    if (wrap == nullptr) wrap = new IClientFactoryWrap(factory);
    return wrap;
}

void ClientFactory::markClientUsing(IClient* client) {
    if (client != nullptr && Detail::clientGetAndMarkUsing(client) == 0) {
        Detail::CComponentHelper::release(client);
    }
}

}  // namespace Component
}  // namespace Tessaran
