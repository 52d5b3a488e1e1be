// ClassID.h
//
// ClassID, the name of a component class: a non-owning handle on the class's text. A class name
// may be compound, "clientClass.rest", where the part in front of the first "." names the client
// class through which the component reaches its server.
#ifndef KERNA_COMPONENT_CLASSID_H_
#define KERNA_COMPONENT_CLASSID_H_

#include "kerna/kerna3/Defs.h"

namespace Tessaran {
namespace Component {

/// A class name. The text is neither copied nor owned: a ClassID lives no longer than its text.
class KERNA_API ClassID {
public:
    /// Names the class `text`.
    constexpr ClassID(const char* text) : name(text) {}

    /// The class of a component that runs in this process: the text "Local".
    static const ClassID local;

    /// The class's text.
    const char* name;
};

}  // namespace Component
}  // namespace Tessaran

#endif  // KERNA_COMPONENT_CLASSID_H_
