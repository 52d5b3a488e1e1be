// FactoryUnknown.h
//
// Factories: IFactoryUnknown, the base of every factory, which registers itself under an
// interface identifier ("iid") and its class ("clsid"); ClassIDList, a snapshot of the classes of
// one interface; getClassId, which joins a compound class name; and the framework's shut-down
// call. A component is found by Detail::CComponentHelper::getComponentFactory.
#ifndef KERNA_COMPONENT_FACTORYUNKNOWN_H_
#define KERNA_COMPONENT_FACTORYUNKNOWN_H_

#include <cstddef>

#include "kerna/kerna3/Defs.h"
#include "kerna/kerna3/FlexString.h"

namespace Tessaran {
namespace Component {

/// Base of all factories. The factory table keeps plain pointers: a factory registered by a
/// module must be unregistered before the module goes away.
class KERNA_API IFactoryUnknown {
public:
    virtual ~IFactoryUnknown();
    /// The class this factory makes.
    virtual const char* clsid() = 0;

    /// Enters this factory under `iid` and clsid(), replacing one registered there before. The
    /// first registration in the process installs the framework's rows of the message table.
    /// True; false for a null `iid` or clsid() (level 2 line).
    bool registerFactory(const char* iid);
    /// Stores a null factory under `iid` and clsid(): the entry stays, requests for it find no
    /// factory. True; false for a null `iid` or clsid() (level 2 line).
    bool unregisterFactory(const char* iid);
};

class ClassIDListInternal;

/// The classes registered under one interface at construction, in ascending order, unregistered
/// ones included.
class KERNA_API ClassIDList {
public:
    /// An unknown (or null) `iid` gives an empty list.
    explicit ClassIDList(const char* iid);
    ~ClassIDList();
    ClassIDList(const ClassIDList&) = delete;
    ClassIDList& operator=(const ClassIDList&) = delete;

    size_t count() const;
    /// A copy of entry `index`; an index outside the list ends the process.
    Kerna::String operator[](int index) const;

private:
    ClassIDListInternal* m_internal;
};

/// `clientClass` alone if `rest` is empty, else "clientClass.rest". The arguments stay unchanged.
KERNA_API Kerna::String getClassId(Kerna::String& clientClass, Kerna::String& rest);

}  // namespace Component
}  // namespace Tessaran

extern "C" {
/// The framework's shut-down step, called once before the timers are taken down: stops the client
/// list's idle check for good and waits for a running check. Clients and factories stay usable.
KERNA_API void Kerna_uninitComponentFactory();
}

#endif  // KERNA_COMPONENT_FACTORYUNKNOWN_H_
