// Unknown.h
//
// IUnknown, the reference-counted base of every component. A component is made by a factory, a
// registered creator or a singleton factory, handed to its users through TComPtr, and ended by
// its own destroy() when the last reference goes: the framework never deletes a component.
#ifndef KERNA_COMPONENT_UNKNOWN_H_
#define KERNA_COMPONENT_UNKNOWN_H_

#include "kerna/kerna3/Defs.h"

namespace Tessaran {
namespace Component {

class UnknownInternal;
namespace Detail {
class UnknownAccess;
}

/// Base of every component. The count starts at 1, the reference of the first user. Counting is
/// lock-free for an object outside an object table.
class KERNA_API IUnknown {
public:
    /// Count 1, not yet handed out, no class name, no table; counted under the type "" until the
    /// framework first hands the object out.
    IUnknown();
    /// Takes the object off the count of its type.
    virtual ~IUnknown();
    IUnknown(const IUnknown&) = delete;
    IUnknown& operator=(const IUnknown&) = delete;

    /// Ends the object. Called by the framework, never by users, once the last reference has
    /// gone, with no framework lock held (an object usually deletes itself here).
    virtual void destroy() = 0;
    /// Reserved for the implementer; the library never calls it.
    virtual void reserved() = 0;
    /// Adds a reference (and marks the object as handed out). Returns the new count.
    virtual int addRef();
    /// Drops a reference; at 0 the object leaves its table or registry record and is ended by
    /// destroy(). Returns the new count. Client objects are released only through
    /// Detail::CComponentHelper::release (TComPtr does that), never directly.
    virtual int release();

private:
    friend class Detail::UnknownAccess;
    UnknownInternal* m_internal;
};

}  // namespace Component
}  // namespace Tessaran

#endif  // KERNA_COMPONENT_UNKNOWN_H_
