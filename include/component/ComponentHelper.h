// ComponentHelper.h
//
// Detail::CComponentHelper: the reference operations of the framework and the resolution of a
// component's factory by interface and class. Users mostly reach it through TComPtr.
#ifndef KERNA_COMPONENT_COMPONENTHELPER_H_
#define KERNA_COMPONENT_COMPONENTHELPER_H_

#include "component/ClassID.h"
#include "kerna/kerna3/Defs.h"

namespace Tessaran {
namespace Component {

class IUnknown;
class IClient;
class IFactoryUnknown;
struct ServerInfo;

namespace Detail {

/// Static operations of the framework.
class KERNA_API CComponentHelper {
public:
    /// 0 for null, else the object's addRef().
    static int addRef(IUnknown* object);
    /// 0 for null. A client goes to the client list, which counts its last reference (logout()
    /// and destroy() then run outside the list's lock); any other object gets its release().
    /// Returns the new count.
    static int release(IUnknown* object);
    /// For a new object going to one user: names its type for the component counts and marks it
    /// handed out (unless it sits in an object table); the count stays. Null sets the last error
    /// 0x1003000d and returns null.
    static IUnknown* makeComponentObject(IUnknown* object);
    /// For an object going to one more user: names its type and, outside a table, takes up the
    /// first user's reference or adds one. Null sets the last error 0x1003000e and returns null.
    static IUnknown* makeComponentInstance(IUnknown* object);

    /// The factory registered for `iid` and `clsid`, or null. For a `serverInfo` other than the
    /// object ServerInfo::none (and an `iid` other than "Client") the client of that server is
    /// found or made and logged in first, with no framework lock held during the login; a failed
    /// login returns null and the next request tries again. On success `client` is that client
    /// (null for a local component) and the caller owns one reference on it; on failure `client`
    /// is null and the caller owns nothing. For `iid` "Client" the result is the factory's
    /// wrapper that makes clients known to the framework. Sets the last error 0x10030000 (no such
    /// interface) or 0x10030001 (no such class); a null `iid` or class text is refused with a
    /// line at level 2.
    static IFactoryUnknown* getComponentFactory(const char* iid, const ClassID& clsid,
                                                const ServerInfo& serverInfo, IClient*& client);
    /// As above, with the client of user `userID` in any state (no login is tried); -1 asks for
    /// a local component. Null without a message when there is no client for that user.
    static IFactoryUnknown* getComponentFactory(const char* iid, const ClassID& clsid, int userID,
                                                IClient*& client);

    /// Makes the user of `client` the calling thread's current user (see
    /// IClient::getCurrentUserID). False for null, which leaves the thread's value as it was.
    static bool setAsCurrentUser(IClient* client);
};

}  // namespace Detail
}  // namespace Component
}  // namespace Tessaran

#endif  // KERNA_COMPONENT_COMPONENTHELPER_H_
