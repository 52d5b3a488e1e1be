// Tests through the public interface, as a user's program links libkerna.so: classes found in
// modules beside the library by name, selection without a query handler, and the shut-down step.
#include <gtest/gtest.h>

#include <string>
#include <typeinfo>

#include "component/ComponentHelper.h"
#include "component/ComponentRegistry.h"
#include "component/FactoryUnknown.h"
#include "component/ServerInfoQueryerHelper.h"
#include "component/Unknown.h"
#include "support/LogCapture.h"

using namespace Tessaran::Component;
using KernaTest::LogCapture;

namespace {

class LocalWidget : public IUnknown {
public:
    void destroy() override { delete this; }
    void reserved() override {}
};

IUnknown* makeLocal(const ServerInfo*) {
    return Detail::CComponentHelper::makeComponentObject(new LocalWidget);
}

bool fromModule(IUnknown* object) {
    return std::string(typeid(*object).name()).find("ModuleWidget") != std::string::npos;
}

}  // namespace

TEST(ComponentModule, ClassesAreFoundInModulesBesideTheLibrary) {
    LogCapture log(6, true);
    IUnknown* shared = getComponentInstance("KernaTestModule", nullptr);
    ASSERT_NE(shared, nullptr);
    EXPECT_TRUE(fromModule(shared));
    EXPECT_EQ(getComponentInstance("KernaTestModule", nullptr), shared);
    // The module registered a class of its own while it was being loaded.
    IUnknown* registered = createComponentObject("KernaTestModuleRegistered", nullptr);
    ASSERT_NE(registered, nullptr);
    registered->release();
    // Cut names: "lib" + 26 characters + ".so" keeps 31 characters,
    // "libKernaLongNamedTestModuleXY.s", and the creator's name is cut to
    // "createKernaLongNamedTestModuleX".
    IUnknown* cut = createComponentObject("KernaLongNamedTestModuleXY", nullptr);
    ASSERT_NE(cut, nullptr);
    cut->release();
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(createComponentObject("KernaNoCreator", nullptr), nullptr);
    EXPECT_EQ(log.messages(),
              (std::vector<std::string>{
                  "getDynamicCreator get proc:createKernaNoCreatorObject failed!\n"}));
    log.clear();
    EXPECT_EQ(createComponentObject("KernaNoSuchModule", nullptr), nullptr);  // nothing reported
    EXPECT_EQ(getComponentInstance("KernaNoSuchModule", nullptr), nullptr);
    EXPECT_TRUE(log.lines().empty());
    // A creator registered later takes precedence over the loaded module.
    registerComponent("KernaTestModule", &makeLocal);
    IUnknown* local = createComponentObject("KernaTestModule", nullptr);
    EXPECT_FALSE(fromModule(local));
    local->release();
    shared->release();
    shared->release();
    registerComponent("KernaTestModule", nullptr);  // found in its module again, for a next run
}

TEST(ServerInfoQueryer, WithoutAHandler) {
    LogCapture log(6, true);
    Tessaran::Kerna::String clsid;
    ServerInfo info;
    for (int channel : {-5, -1, 0, 3}) {
        clsid = "";
        EXPECT_TRUE(
            CServerInfoQueryerHelper::instance()->getServerInfoByChannel(channel, clsid, info));
        EXPECT_EQ(clsid, "Local");
    }
    EXPECT_FALSE(
        CServerInfoQueryerHelper::instance()->getServerInfoByDeviceId("cam-1", clsid, info));
    EXPECT_FALSE(setQueryerHandler(TComPtr<IServerInfoQueryer>()));
    EXPECT_EQ(log.messages(),
              (std::vector<std::string>{"please call setQueryerHandler interface\n",
                                        "setQueryerHandler failed setPtr:(nil), oldPtr:(nil)\n"}));
}

TEST(ClientCheck, StoppingTwiceReportsTwice) {
    LogCapture log(6, true);
    Kerna_uninitComponentFactory();  // the test main stopped it once already
    Kerna_uninitComponentFactory();
    int stopped = 0;
    for (const std::string& m : log.messages()) {
        stopped += m.find(" client check timer stopped successfully.\n") != std::string::npos;
    }
    EXPECT_EQ(stopped, 2);
}
