// ObjectTable.h
//
// Detail::CObjectTable, a table of shared component instances found again by a search key, and
// Detail::key_base, the abstract key. Singleton factories written outside the library use them:
//   table.lock(); obj = table.find(key); if (!obj) { obj = make(); table.insert(obj); }
//   table.unlock();
// The table holds no reference: an object stays in it while its users hold references and leaves
// it, under the table's lock, when the last one goes, before its destroy() runs.
#ifndef KERNA_COMPONENT_OBJECTTABLE_H_
#define KERNA_COMPONENT_OBJECTTABLE_H_

#include <cstddef>

#include "kerna/kerna3/Defs.h"

namespace Tessaran {
namespace Component {

class IUnknown;

namespace Detail {

class ObjectTableInternal;

/// A search key of an object table; concrete keys are written beside the singleton factories.
class key_base {
public:
    virtual ~key_base() {}
    /// True if `object` is the one this key looks for.
    virtual bool matches(IUnknown* object) const = 0;
};

/// Shared instances in order of insertion. find, insert, erase, count and get take no lock:
/// the caller brackets them with lock() and unlock(). The table must outlive its objects.
class KERNA_API CObjectTable {
public:
    CObjectTable();
    /// Frees the table's own storage; releases no object.
    ~CObjectTable();
    CObjectTable(const CObjectTable&) = delete;
    CObjectTable& operator=(const CObjectTable&) = delete;

    void lock();
    void unlock();
    /// The first object, oldest first, that `key` matches, handed out to one more user (its
    /// count goes up unless this takes up the creator's first reference); null if none.
    IUnknown* find(const key_base& key) const;
    /// Puts `object` in the table and takes up its first reference (its count stays).
    void insert(IUnknown* object);
    /// Removes the entry of `object`; an object not in the table changes nothing.
    void erase(IUnknown* object);
    /// The number of entries.
    size_t count() const;
    /// The entry at `index`, no count changed. An index past the end ends the process.
    IUnknown* get(size_t index) const;

private:
    ObjectTableInternal* m_internal;
};

}  // namespace Detail
}  // namespace Component
}  // namespace Tessaran

#endif  // KERNA_COMPONENT_OBJECTTABLE_H_
