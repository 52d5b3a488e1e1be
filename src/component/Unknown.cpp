// Unknown.cpp
//
// Component objects: the count and hand-out state of IUnknown, the per-type counts of live
// objects, the reference operations of CComponentHelper and the object table.
#include "component/Unknown.h"

#include <cxxabi.h>

#include <cstdlib>
#include <map>
#include <string>
#include <typeinfo>
#include <vector>

#include "base/Log.h"
#include "base/ProcessObject.h"
#include "component/ClassID.h"
#include "component/ClientInstanceList.h"
#include "component/ComponentHelper.h"
#include "component/ComponentRegistry.h"
#include "component/RegistryInternal.h"
#include "component/UnknownInternal.h"
#include "kerna/kerna3/Error.h"

namespace Tessaran {
namespace Component {

using Kerna::CGuard;
using Kerna::CMutex;

const ClassID ClassID::local("Local");

namespace {

const int kCreatingObjectFailed = 0x1003000d;
const int kGettingInstanceFailed = 0x1003000e;

// Live component objects by dynamic type; "" counts those not yet handed out. Rows stay.
struct ComponentCounts {
    CMutex lock;  // componentCountLock
    std::map<std::string, int> counts;
    void published() {}
    void atProcessExit() {}
};

ComponentCounts& counts() { return *Kerna::Detail::ProcessObject<ComponentCounts>::get(); }

// The readable name of the object's dynamic type ("Example::EchoComponent").
std::string dynamicTypeName(IUnknown* object) {
    const char* raw = typeid(*object).name();
    int status = 0;
    char* readable = abi::__cxa_demangle(raw, nullptr, nullptr, &status);
    std::string name = (status == 0 && readable != nullptr) ? readable : raw;
    std::free(readable);
    return name;
}

// The first step of every hand-out: the type's row takes the object over from the row "".
// The lock is taken only until the type has been named once.
void nameType(IUnknown* object) {
    UnknownInternal* in = Detail::UnknownAccess::of(object);
    if (in->typeNamed.load(std::memory_order_acquire)) return;
    CGuard typeGuard(in->typeNameLock);
    if (!in->typeName.empty()) return;
    in->typeName = dynamicTypeName(object);
    {
        ComponentCounts& c = counts();
        CGuard countGuard(c.lock);
        ++c.counts[in->typeName];
        --c.counts[""];
    }
    in->typeNamed.store(true, std::memory_order_release);
}

}  // namespace

IUnknown::IUnknown() : m_internal(new UnknownInternal) {
    ComponentCounts& c = counts();
    CGuard guard(c.lock);
    ++c.counts[""];
}

IUnknown::~IUnknown() {
    {
        ComponentCounts& c = counts();
        CGuard guard(c.lock);
        --c.counts[m_internal->typeName];
    }
    delete m_internal;
}

int IUnknown::addRef() {
    // The flag only ever goes from 0 to 1: skip the write once it is set.
    if (m_internal->handedOut.load(std::memory_order_acquire) == 0) {
        m_internal->handedOut.exchange(1, std::memory_order_acq_rel);
    }
    return static_cast<int>(m_internal->refCount.fetch_add(1, std::memory_order_relaxed) + 1);
}

int IUnknown::release() {
    UnknownInternal* in = m_internal;
    Detail::CObjectTable* table = in->table.load(std::memory_order_acquire);
    if (table != nullptr) table->lock();
    const int64_t count = in->refCount.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (count == 0) {
        if (!in->classId.empty()) {
            // The registry ends it; the table (of an object that has both) is left first, so
            // that destroy() runs with no framework lock held.
            if (table != nullptr) table->unlock();
            table = nullptr;
            Detail::destroyComponent(this, in->classId.c_str(), in->isInstance);
        } else {
            if (table != nullptr) {
                table->erase(this);
                table->unlock();
                table = nullptr;
            }
            destroy();
        }
    }
    if (table != nullptr) table->unlock();
    return static_cast<int>(count);
}

namespace Detail {

int decreaseRefCount(IUnknown* object) {
    KERNA_ASSERT(object);
    return static_cast<int>(
        UnknownAccess::of(object)->refCount.fetch_sub(1, std::memory_order_acq_rel) - 1);
}

int getRefCount(IUnknown* object) {
    KERNA_ASSERT(object);
    return static_cast<int>(UnknownAccess::of(object)->refCount.load(std::memory_order_acquire));
}

void setObjectTable(IUnknown* object, CObjectTable* table) {
    KERNA_ASSERT(object);
    UnknownAccess::of(object)->table.store(table, std::memory_order_release);
}

void makeInstanceForTable(IUnknown* object) {
    KERNA_ASSERT(object);
    UnknownInternal* in = UnknownAccess::of(object);
    if (in->handedOut.exchange(1, std::memory_order_acq_rel) == 1) {
        in->refCount.fetch_add(1, std::memory_order_relaxed);
    }
}

bool addRefUnlessGone(IUnknown* object) {
    UnknownInternal* in = UnknownAccess::of(object);
    int64_t count = in->refCount.load(std::memory_order_acquire);
    do {
        if (count <= 0) return false;
    } while (!in->refCount.compare_exchange_weak(count, count + 1, std::memory_order_acq_rel,
                                                 std::memory_order_acquire));
    in->handedOut.store(1, std::memory_order_release);
    return true;
}

bool isClientObject(IUnknown* object) { return UnknownAccess::of(object)->isClient; }

int CComponentHelper::addRef(IUnknown* object) { return object != nullptr ? object->addRef() : 0; }

int CComponentHelper::release(IUnknown* object) {
    if (object == nullptr) return 0;
    // A client's last reference is counted by the client list. The mark left by IClient's
    // constructor answers as a dynamic_cast to IClient would, without its cost on every release.
    if (isClientObject(object))
        return ClientFactory::releaseClientObject(static_cast<IClient*>(object));
    return object->release();
}

IUnknown* CComponentHelper::makeComponentObject(IUnknown* object) {
    if (object == nullptr) {
        Kerna::setLastError(kCreatingObjectFailed);
        return nullptr;
    }
    nameType(object);
    UnknownInternal* in = UnknownAccess::of(object);
    if (in->table.load(std::memory_order_acquire) == nullptr)
        in->handedOut.store(1, std::memory_order_release);
    return object;
}

IUnknown* CComponentHelper::makeComponentInstance(IUnknown* object) {
    if (object == nullptr) {
        Kerna::setLastError(kGettingInstanceFailed);
        return nullptr;
    }
    nameType(object);
    UnknownInternal* in = UnknownAccess::of(object);
    if (in->table.load(std::memory_order_acquire) == nullptr &&
        in->handedOut.exchange(1, std::memory_order_acq_rel) == 1) {
        in->refCount.fetch_add(1, std::memory_order_relaxed);
    }
    return object;
}

// The object table.

class ObjectTableInternal {
public:
    CMutex mutex;
    std::vector<IUnknown*> objects;
};

CObjectTable::CObjectTable() : m_internal(new ObjectTableInternal) {}
CObjectTable::~CObjectTable() { delete m_internal; }

void CObjectTable::lock() { m_internal->mutex.enter(); }
void CObjectTable::unlock() { m_internal->mutex.leave(); }

IUnknown* CObjectTable::find(const key_base& key) const {
    for (IUnknown* object : m_internal->objects) {
        if (key.matches(object)) {
            makeInstanceForTable(object);
            return object;
        }
    }
    return nullptr;
}

void CObjectTable::insert(IUnknown* object) {
    setObjectTable(object, this);
    makeInstanceForTable(object);
    m_internal->objects.push_back(object);
}

void CObjectTable::erase(IUnknown* object) {
    std::vector<IUnknown*>& objects = m_internal->objects;
    for (auto it = objects.begin(); it != objects.end(); ++it) {
        if (*it == object) {
            objects.erase(it);
            return;
        }
    }
}

size_t CObjectTable::count() const { return m_internal->objects.size(); }

IUnknown* CObjectTable::get(size_t index) const {
    KERNA_ASSERT(index < m_internal->objects.size());
    return m_internal->objects[index];
}

}  // namespace Detail

bool getComponentCountInfo(std::map<std::string, int>& info) {
    ComponentCounts& c = counts();
    CGuard guard(c.lock);
    info = c.counts;
    return true;
}

}  // namespace Component
}  // namespace Tessaran
