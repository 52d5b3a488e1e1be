// UnknownInternal.h
//
// The hidden state of a component object and the framework's own operations on it: counting,
// handing out, naming the dynamic type for the per-type counts, and the record the registry
// leaves on an object it made.
#ifndef KERNA_SRC_COMPONENT_UNKNOWNINTERNAL_H_
#define KERNA_SRC_COMPONENT_UNKNOWNINTERNAL_H_

#include <atomic>
#include <cstdint>
#include <string>

#include "component/ObjectTable.h"
#include "component/Unknown.h"
#include "kerna/kerna3/Mutex.h"

namespace Tessaran {
namespace Component {

class UnknownInternal {
public:
    std::atomic<int64_t> refCount{1};
    std::atomic<int32_t> handedOut{0};  ///< 1 once a first user has taken up the first reference
    bool isInstance = false;            ///< a shared instance of the registry
    std::string classId;                ///< the registry's class name; empty for other objects
    std::atomic<Detail::CObjectTable*> table{nullptr};
    std::string typeName;        ///< the dynamic type, empty until first handed out
    Kerna::CMutex typeNameLock;  ///< guards the first setting of typeName
    std::atomic<bool> typeNamed{false};  ///< typeName is set: later hand-outs take no lock
    bool isClient = false;       ///< the object derives from IClient (set by its constructor)
};

namespace Detail {

/// The framework's access to the hidden state of IUnknown.
class UnknownAccess {
public:
    static UnknownInternal* of(IUnknown* object) { return object->m_internal; }
};

/// Lowers the count by one and returns the new value; nothing else happens.
int decreaseRefCount(IUnknown* object);
/// The count.
int getRefCount(IUnknown* object);
/// Records the table that keeps the object.
void setObjectTable(IUnknown* object, CObjectTable* table);
/// The hand-out step of a table: takes up the first reference or adds one.
void makeInstanceForTable(IUnknown* object);
/// Adds a reference unless the count has reached 0 (the object is on its way out); false then.
bool addRefUnlessGone(IUnknown* object);
/// True if the object derives from IClient.
bool isClientObject(IUnknown* object);

}  // namespace Detail
}  // namespace Component
}  // namespace Tessaran

#endif  // KERNA_SRC_COMPONENT_UNKNOWNINTERNAL_H_
