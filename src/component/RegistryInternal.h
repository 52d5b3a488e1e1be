// RegistryInternal.h
//
// The registry's side of the release of an object it made.
#ifndef KERNA_SRC_COMPONENT_REGISTRYINTERNAL_H_
#define KERNA_SRC_COMPONENT_REGISTRYINTERNAL_H_

namespace Tessaran {
namespace Component {

class IUnknown;

namespace Detail {

/// The last step of the release of an object with a class name: a shared instance leaves its
/// record under the registry's lock, then the object's destroy() runs outside it. True.
bool destroyComponent(IUnknown* object, const char* cid, bool isInstance);

}  // namespace Detail
}  // namespace Component
}  // namespace Tessaran

#endif  // KERNA_SRC_COMPONENT_REGISTRYINTERNAL_H_
