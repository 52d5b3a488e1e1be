// TestModule.cpp
//
// A component module as a user builds one: a shared object "lib<class>.so" that exports the
// creator "create<class>Object". KERNA_TEST_CREATOR names the creator it exports (none when it is
// not defined); while it is being loaded, the module registers one more class of its own.
#include <typeinfo>

#include "component/ComponentHelper.h"
#include "component/ComponentRegistry.h"
#include "component/Unknown.h"

namespace {

class ModuleWidget : public Tessaran::Component::IUnknown {
public:
    void destroy() override { delete this; }
    void reserved() override {}
};

Tessaran::Component::IUnknown* makeWidget(const Tessaran::Component::ServerInfo*) {
    return Tessaran::Component::Detail::CComponentHelper::makeComponentObject(new ModuleWidget);
}

__attribute__((constructor)) void registerOnLoad() {
    Tessaran::Component::registerComponent(KERNA_TEST_MODULE_NAME "Registered", &makeWidget);
}

}  // namespace

#ifdef KERNA_TEST_CREATOR
extern "C" __attribute__((visibility("default"))) Tessaran::Component::IUnknown* KERNA_TEST_CREATOR(
    const Tessaran::Component::ServerInfo* serverInfo) {
    return makeWidget(serverInfo);
}
#endif
