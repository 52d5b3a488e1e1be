// RunpathProbe.cpp
//
// A program that knows no folder of the library: it asks for the class "KernaRunpathProbe",
// whose module lies only beside the libkerna.so it was started with. Exit status 0 if the module
// was found and made the object.
#include <cstdio>

#include "component/ComponentRegistry.h"
#include "component/Unknown.h"
#include "kerna/kerna3/testing/SimulatedClock.h"

int main() {
    Tessaran::Kerna::Testing::forbidRealClockSet();  // as every program under tests/ does
    Tessaran::Component::IUnknown* object =
        Tessaran::Component::createComponentObject("KernaRunpathProbe", nullptr);
    std::printf("KernaRunpathProbe: %s\n", object != nullptr ? "found beside the library" : "not found");
    if (object == nullptr) return 1;
    object->release();
    return 0;
}
