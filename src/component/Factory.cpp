// Factory.cpp
//
// Factories: the table from interface and class to factory, the resolution of a component's
// factory with its client (found or made, and logged in with no framework lock held), the class
// lists, and the framework's shut-down step.
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "base/Log.h"
#include "base/ProcessObject.h"
#include "component/ClientInstanceList.h"
#include "component/ClientInternal.h"
#include "component/ComponentHelper.h"
#include "component/FactoryUnknown.h"
#include "foundation/ErrorTable.h"
#include "kerna/kerna3/Error.h"
#include "kerna/kerna3/RecursiveMutex.h"

namespace Tessaran {
namespace Component {

using Kerna::CRecursiveGuard;

namespace {

const int kInterfaceNotFound = 0x10030000;
const int kClassNotFound = 0x10030001;

// factoryMap: iid -> clsid -> factory (not owned; null once unregistered).
struct FactoryTable {
    Kerna::CRecursiveMutex lock;  // factoryMapLock
    std::map<std::string, std::map<std::string, IFactoryUnknown*> > map;
    void published() {}
    void atProcessExit() {}
};

FactoryTable& factoryTable() { return *Kerna::Detail::ProcessObject<FactoryTable>::get(); }

// A factory's class, or null with a line when the registration can't be made.
const char* classForRegistration(IFactoryUnknown* factory, const char* iid) {
    const char* clsid = factory->clsid();
    if (iid == nullptr || clsid == nullptr) {
        KERNA_LOG(2, "this:%p iid:%s clsid:%s can't be registered\n", static_cast<void*>(factory),
                  iid != nullptr ? iid : "(null)", clsid != nullptr ? clsid : "(null)");
        return nullptr;
    }
    return clsid;
}

// Stores `entry` (the factory, or null to unregister it) under `iid` and the factory's class.
bool storeFactory(IFactoryUnknown* factory, const char* iid, IFactoryUnknown* entry) {
    const char* clsid = classForRegistration(factory, iid);
    if (clsid == nullptr) return false;
    FactoryTable& table = factoryTable();
    CRecursiveGuard guard(table.lock);
    table.map[iid][clsid] = entry;
    return true;
}

// What a found client needs before use, by its state. On failure the caller's reference is
// dropped and the request ends with a line at level 6 (level 2 for an unknown state).
bool readyFoundClient(IClient* client, const char* iid, const char* clsid) {
    const int state = Detail::clientState(client);
    const char* failure = nullptr;
    int level = 6;
    if (state == clientStateCreated || state == clientStateBroken) {
        if (!Detail::clientLogin(client))
            failure = "iid:%s, clsid:%s could not been got because login failed.\n";
    } else if (state == clientStateLogined) {
        if (Detail::clientUpdateBroken(client) && !Detail::clientLogin(client)) {
            failure = "iid:%s, clsid:%s could not been got because re-login failed.\n";
        }
    } else {
        failure = "iid:%s, clsid:%s client state is unknown!\n";
        level = 2;
    }
    if (failure == nullptr) return true;
    if (level == 2) KERNA_LOG(2, failure, iid, clsid);
    Detail::CComponentHelper::release(client);
    if (level == 6) KERNA_LOG(6, failure, iid, clsid);
    return false;
}

// The look-up of the request and the hand-over of its client (found, or null for a local
// component): under the table's lock the current user is set, the wrap is taken for "Client" and
// a first use is recorded. A missing entry or an unregistered (null) factory drops the client
// outside the lock.
IFactoryUnknown* finishRequest(const char* iid, const char* clsid, IClient* found,
                               bool isClientInterface, IClient*& client) {
    FactoryTable& table = factoryTable();
    IFactoryUnknown* result = nullptr;
    int error = 0;
    {
        CRecursiveGuard guard(table.lock);
        auto byInterface = table.map.find(iid);
        if (byInterface == table.map.end()) {
            error = kInterfaceNotFound;
        } else {
            auto byClass = byInterface->second.find(clsid);
            if (byClass == byInterface->second.end()) {
                error = kClassNotFound;
            } else {
                IFactoryUnknown* factory = byClass->second;
                if (found != nullptr) Detail::CComponentHelper::setAsCurrentUser(found);
                if (isClientInterface) {
                    result =
                        factory != nullptr ? ClientFactory::getClientFactoryWrap(factory) : nullptr;
                } else {
                    ClientFactory::markClientUsing(found);
                    result = factory;
                }
            }
        }
    }
    if (result == nullptr) {
        // No factory: the caller gets nothing, and the client's reference goes here.
        Detail::CComponentHelper::release(found);
        if (error != 0) Kerna::setLastError(error);
        return nullptr;
    }
    client = found;
    return result;
}

bool refuseNullRequest(const char* iid, const ClassID& clsid) {
    if (iid != nullptr && clsid.name != nullptr) return false;
    KERNA_LOG(2, "iid:%s, clsid:%s a request needs both\n", iid != nullptr ? iid : "(null)",
              clsid.name != nullptr ? clsid.name : "(null)");
    return true;
}

}  // namespace

IFactoryUnknown::~IFactoryUnknown() {}

bool IFactoryUnknown::registerFactory(const char* iid) {
    Kerna::Detail::installLibraryErrorMessages();
    return storeFactory(this, iid, this);
}

bool IFactoryUnknown::unregisterFactory(const char* iid) {
    return storeFactory(this, iid, nullptr);
}

class ClassIDListInternal {
public:
    std::vector<Kerna::String> ids;
};

ClassIDList::ClassIDList(const char* iid) : m_internal(new ClassIDListInternal) {
    if (iid == nullptr) return;
    FactoryTable& table = factoryTable();
    CRecursiveGuard guard(table.lock);
    auto found = table.map.find(iid);
    if (found == table.map.end()) return;
    for (const auto& entry : found->second)
        m_internal->ids.push_back(Kerna::String(entry.first.c_str()));
}

ClassIDList::~ClassIDList() { delete m_internal; }

size_t ClassIDList::count() const { return m_internal->ids.size(); }

Kerna::String ClassIDList::operator[](int index) const {
    KERNA_ASSERT((size_t)index < m_internal->ids.size());
    return m_internal->ids[static_cast<size_t>(index)];
}

Kerna::String getClassId(Kerna::String& clientClass, Kerna::String& rest) {
    if (rest.empty()) return clientClass;
    Kerna::String joined(clientClass);
    joined += ".";
    joined += rest;
    return joined;
}

namespace Detail {

IFactoryUnknown* CComponentHelper::getComponentFactory(const char* iid, const ClassID& clsid,
                                                       const ServerInfo& serverInfo,
                                                       IClient*& client) {
    client = nullptr;
    if (refuseNullRequest(iid, clsid)) return nullptr;
    const bool isClientInterface = std::strcmp(iid, IClient::IFactory::iid()) == 0;
    IClient* found = nullptr;
    if (!isClientInterface && &serverInfo != &ServerInfo::none) {
        found = ClientFactory::findClientObject(clsid, serverInfo);
        if (found != nullptr) {
            if (!readyFoundClient(found, iid, clsid.name)) return nullptr;
        } else {
            int error = 0;
            {
                FactoryTable& table = factoryTable();
                CRecursiveGuard guard(table.lock);
                auto byInterface = table.map.find(iid);
                if (byInterface == table.map.end()) {
                    error = kInterfaceNotFound;
                } else if (byInterface->second.find(clsid.name) == byInterface->second.end()) {
                    error = kClassNotFound;
                }
            }
            if (error != 0) {
                Kerna::setLastError(error);
                return nullptr;
            }
            found = ClientFactory::createAndMakeClientObject(clsid, serverInfo);
            if (found == nullptr) {
                KERNA_LOG(2,
                          "iid:%s, clsid:%s could not been got because clientInstance could not be "
                          "created.\n",
                          iid, clsid.name);
                return nullptr;
            }
            if (!clientLogin(found)) {
                CComponentHelper::release(found);
                KERNA_LOG(3, "iid:%s, clsid:%s could not been generated because login failed.\n",
                          iid, clsid.name);
                return nullptr;
            }
        }
    }
    return finishRequest(iid, clsid.name, found, isClientInterface, client);
}

IFactoryUnknown* CComponentHelper::getComponentFactory(const char* iid, const ClassID& clsid,
                                                       int userID, IClient*& client) {
    client = nullptr;
    if (refuseNullRequest(iid, clsid)) return nullptr;
    const bool isClientInterface = std::strcmp(iid, IClient::IFactory::iid()) == 0;
    IClient* found = nullptr;
    if (!isClientInterface && userID != -1) {
        found = ClientFactory::findClientObject(clsid, userID);
        if (found == nullptr) return nullptr;
    }
    return finishRequest(iid, clsid.name, found, isClientInterface, client);
}

}  // namespace Detail
}  // namespace Component
}  // namespace Tessaran

extern "C" void Kerna_uninitComponentFactory() {
    Tessaran::Component::CClientInstanceList::instance()->stop();
}
