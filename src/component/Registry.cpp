// Registry.cpp
//
// Creation by class name: registered creators, creators found in modules by name, and the shared
// instances of each class per server data.
#include <cstdio>
#include <cstring>
#include <list>
#include <map>
#include <string>

#include "base/Log.h"
#include "base/ProcessObject.h"
#include "component/ComponentHelper.h"
#include "component/ComponentRegistry.h"
#include "component/RegistryInternal.h"
#include "component/ServerInfo.h"
#include "component/Unknown.h"
#include "component/UnknownInternal.h"
#include "kerna/kerna3/Mutex.h"
#include "platform/Module.h"

namespace Tessaran {
namespace Component {

using Kerna::CGuard;

namespace {

const char* orEmpty(const char* text) { return text != nullptr ? text : ""; }

// One shared instance and the five server values that identify it.
struct ComponentInstance {
    IUnknown* object;  // no reference held
    bool hasServerInfo;
    std::string address;
    int port;
    std::string userName;
    std::string password;
    int byteOption1;

    bool matches(const ServerInfo* info) const {
        if (info == nullptr) return !hasServerInfo;
        return hasServerInfo && address == orEmpty(info->address) && port == info->port &&
               userName == orEmpty(info->userName) && password == orEmpty(info->password) &&
               byteOption1 == info->byteOption1;
    }
};

struct ComponentInfo {
    ComponentCreator creator = nullptr;      // set only by registerComponent
    std::list<ComponentInstance> instances;  // oldest first
    void* module = nullptr;                  // loaded module, kept for the life of the process
};

struct ComponentRegistry {
    Kerna::CMutex lock;  // componentMapLock; re-entered by a module's constructor during its load
    std::map<std::string, ComponentInfo> map;
    void published() {}
    void atProcessExit() {}
};

ComponentRegistry& registry() { return *Kerna::Detail::ProcessObject<ComponentRegistry>::get(); }

// "lib%s.so" and "create%sObject" go into 32-byte buffers: longer names are cut at 31 characters.
const size_t kNameBuffer = 32;

// The creator of `cid` from its module, loading the module the first time. Under the registry's
// lock. A module without the creator leaves the name that was asked for in `missing`.
ComponentCreator getDynamicCreator(ComponentRegistry& reg, const char* cid,
                                   char (&missing)[kNameBuffer]) {
    char dllname[kNameBuffer] = {};
    std::snprintf(dllname, sizeof dllname, "lib%s.so", cid);
    ComponentInfo& info = reg.map[cid];
    if (info.module == nullptr) info.module = Kerna::Detail::Platform::loadModule(dllname);
    if (info.module == nullptr) return nullptr;
    char procname[kNameBuffer] = {};
    std::snprintf(procname, sizeof procname, "create%sObject", cid);
    void* address = Kerna::Detail::Platform::findModuleSymbol(info.module, procname);
    if (address == nullptr) std::memcpy(missing, procname, sizeof procname);
    return reinterpret_cast<ComponentCreator>(address);
}

// Steps shared by both ways of creation: the creator (registered or from the module) runs with
// the lock left, and the lock is held again on return. Null if there is no creator or it made
// nothing.
IUnknown* createUnderLock(ComponentRegistry& reg, const char* cid, const ServerInfo* serverInfo) {
    char missing[kNameBuffer] = {};
    ComponentCreator creator = reg.map[cid].creator;
    if (creator == nullptr) creator = getDynamicCreator(reg, cid, missing);
    reg.lock.leave();
    if (missing[0] != '\0') KERNA_LOG(2, "getDynamicCreator get proc:%s failed!\n", missing);
    IUnknown* object = creator != nullptr ? creator(serverInfo) : nullptr;
    reg.lock.enter();
    return object;
}

bool refuseNullClass(const char* cid) {
    if (cid != nullptr) return false;
    KERNA_LOG(2, "class name is NULL\n");
    return true;
}

}  // namespace

bool registerComponent(const char* cid, ComponentCreator creator) {
    if (refuseNullClass(cid)) return false;
    ComponentRegistry& reg = registry();
    bool existed;
    {
        CGuard guard(reg.lock);
        auto found = reg.map.find(cid);
        existed = found != reg.map.end();
        if (existed) {
            found->second.creator = creator;
        } else {
            reg.map[cid].creator = creator;
        }
    }
    if (existed) KERNA_LOG(3, "registerComponentCreator creator for cid:%s already exist!\n", cid);
    return true;
}

IUnknown* getComponentInstance(const char* cid, const ServerInfo* serverInfo) {
    if (refuseNullClass(cid)) return nullptr;
    ComponentRegistry& reg = registry();
    CGuard guard(reg.lock);
    auto found = reg.map.find(cid);
    if (found != reg.map.end()) {
        for (ComponentInstance& record : found->second.instances) {
            // An instance whose count has reached 0 is on its way out (its release is about to
            // remove the record): it is passed over, never handed out again.
            if (record.matches(serverInfo) && Detail::addRefUnlessGone(record.object))
                return record.object;
        }
    }
    IUnknown* object = createUnderLock(reg, cid, serverInfo);
    if (object == nullptr) return nullptr;
    ComponentInstance record = {object, serverInfo != nullptr, "", 0, "", "", 0};
    if (serverInfo != nullptr) {
        record.address = orEmpty(serverInfo->address);
        record.port = serverInfo->port;
        record.userName = orEmpty(serverInfo->userName);
        record.password = orEmpty(serverInfo->password);
        record.byteOption1 = serverInfo->byteOption1;
    }
    reg.map[cid].instances.push_back(record);
    UnknownInternal* in = Detail::UnknownAccess::of(object);
    in->isInstance = true;
    in->classId = cid;
    return object;
}

IUnknown* createComponentObject(const char* cid, const ServerInfo* serverInfo) {
    if (refuseNullClass(cid)) return nullptr;
    ComponentRegistry& reg = registry();
    CGuard guard(reg.lock);
    IUnknown* object = createUnderLock(reg, cid, serverInfo);
    if (object != nullptr) Detail::UnknownAccess::of(object)->classId = cid;
    return object;
}

bool Detail::destroyComponent(IUnknown* object, const char* cid, bool isInstance) {
    bool classFound = true;
    bool recordFound = true;
    if (isInstance) {
        ComponentRegistry& reg = registry();
        CGuard guard(reg.lock);
        auto pi = reg.map.find(cid);
        classFound = pi != reg.map.end();
        if (classFound) {
            std::list<ComponentInstance>& instances = pi->second.instances;
            auto pj = instances.begin();
            while (pj != instances.end() && pj->object != object) ++pj;
            recordFound = pj != instances.end();
            if (recordFound) instances.erase(pj);
        }
    }
    // Checked once the lock is left: a record that has gone is an inner fault.
    if (!classFound) {
        Kerna::Detail::assertionFailed("pi != s_componentMap.end()", __PRETTY_FUNCTION__, __FILE__,
                                       __LINE__);
    }
    if (!recordFound) {
        Kerna::Detail::assertionFailed("pj != (*pi).second.instances.end()", __PRETTY_FUNCTION__,
                                       __FILE__, __LINE__);
    }
    object->destroy();
    return true;
}

}  // namespace Component
}  // namespace Tessaran
