// ComponentRegistry.h
//
// Creation by class name: a class name maps to a creator, registered in the process or found in
// a module "lib<class>.so" under the exported name "create<class>Object" (an extern "C" function
// of the ComponentCreator type). The registry keeps the shared instances of each class per server
// data, so that a second request with the same address, port, user name, password and first byte
// option gets the same object.
#ifndef KERNA_COMPONENT_COMPONENTREGISTRY_H_
#define KERNA_COMPONENT_COMPONENTREGISTRY_H_

#include <map>
#include <string>

#include "kerna/kerna3/Defs.h"

namespace Tessaran {
namespace Component {

class IUnknown;
struct ServerInfo;

/// Makes a new object of a class for `serverInfo` (may be null: no server), or returns null. The
/// object comes with its first reference; a creator passes it through
/// Detail::CComponentHelper::makeComponentObject.
typedef IUnknown* (*ComponentCreator)(const ServerInfo* serverInfo);

/// Registers `creator` for the class `cid`; a second registration replaces the first (with a line
/// at level 3) and keeps the class's instances and module. May be called from a module's
/// constructor while the module is being loaded. True; false for a null `cid` (level 2 line).
KERNA_API bool registerComponent(const char* cid, ComponentCreator creator);

/// The shared instance of `cid` for these server data (null: none), made if there is none. The
/// caller gets one reference. Null if the class has no creator and no module, or its creator
/// made nothing. The creator runs with no registry lock held.
KERNA_API IUnknown* getComponentInstance(const char* cid, const ServerInfo* serverInfo);

/// A new object of `cid` each time, never shared; the caller gets one reference. Null as above.
KERNA_API IUnknown* createComponentObject(const char* cid, const ServerInfo* serverInfo);

/// Replaces `info` with the number of live component objects per dynamic type ("" for those not
/// yet handed out by the framework). A type whose objects have all gone stays with 0. True.
KERNA_API bool getComponentCountInfo(std::map<std::string, int>& info);

}  // namespace Component
}  // namespace Tessaran

#endif  // KERNA_COMPONENT_COMPONENTREGISTRY_H_
