// Tests of component objects and the registry: counts and hand-out, the per-type counts, the
// object table, TComPtr, creation by class name with shared instances per server data, and the
// interval between an instance's last release and the removal of its record.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "component/ComPtr.h"
#include "component/ComponentHelper.h"
#include "component/ComponentRegistry.h"
#include "component/ObjectTable.h"
#include "component/RegistryInternal.h"
#include "component/ServerInfo.h"
#include "component/UnknownInternal.h"
#include "kerna/kerna3/Error.h"
#include "support/LogCapture.h"

using namespace Tessaran::Component;
using KernaTest::LogCapture;
using Tessaran::Component::Detail::CComponentHelper;
using Tessaran::Kerna::getLastError;
using Tessaran::Kerna::setLastError;

namespace ObjectTestTypes {

// A component that counts its ends and can check, when it ends, that its table let it go.
struct Widget : IUnknown {
    static int destroyed;
    Detail::CObjectTable* table = nullptr;
    bool wasInTable = false;
    void destroy() override {
        ++destroyed;
        if (table != nullptr) {
            table->lock();
            for (size_t i = 0; i < table->count(); ++i) wasInTable |= table->get(i) == this;
            table->unlock();
            EXPECT_FALSE(wasInTable);
        }
        delete this;
    }
    void reserved() override {}
};
int Widget::destroyed = 0;

struct Gadget : Widget {};

struct WidgetKey : Detail::key_base {
    explicit WidgetKey(IUnknown* wanted) : object(wanted) {}
    bool matches(IUnknown* candidate) const override { return candidate == object; }
    IUnknown* object;
};

IUnknown* makeGadget(const ServerInfo*) {
    return CComponentHelper::makeComponentObject(new Gadget);
}
IUnknown* makeNothing(const ServerInfo*) { return nullptr; }

}  // namespace ObjectTestTypes

using namespace ObjectTestTypes;

namespace {
// The row of `type`; -1 when there is none.
int countOf(const std::string& type) {
    std::map<std::string, int> info;
    EXPECT_TRUE(getComponentCountInfo(info));
    return info.count(type) ? info[type] : -1;
}
int valueOf(const std::string& type) { return countOf(type) < 0 ? 0 : countOf(type); }
}  // namespace

TEST(CComponentHelper, NullObjects) {
    setLastError(0);
    EXPECT_EQ(CComponentHelper::addRef(nullptr), 0);
    EXPECT_EQ(CComponentHelper::release(nullptr), 0);
    EXPECT_EQ(getLastError(), 0);
    EXPECT_EQ(CComponentHelper::makeComponentObject(nullptr), nullptr);
    EXPECT_EQ(getLastError(), 0x1003000d);
    EXPECT_EQ(CComponentHelper::makeComponentInstance(nullptr), nullptr);
    EXPECT_EQ(getLastError(), 0x1003000e);
}

TEST(IUnknown, HandOutCountsAndTypeRows) {
    const int endedBefore = Widget::destroyed;
    const int untyped = valueOf("");
    const int gadgets = valueOf("ObjectTestTypes::Gadget");
    Gadget* g = new Gadget;
    EXPECT_EQ(countOf(""), untyped + 1);
    EXPECT_EQ(CComponentHelper::makeComponentInstance(g), g);
    EXPECT_EQ(Detail::getRefCount(g), 1);  // the first hand-out takes up the first reference
    EXPECT_EQ(countOf(""), untyped);
    EXPECT_EQ(countOf("ObjectTestTypes::Gadget"), gadgets + 1);
    CComponentHelper::makeComponentInstance(g);
    EXPECT_EQ(Detail::getRefCount(g), 2);
    CComponentHelper::makeComponentObject(g);  // named already: no row moves
    EXPECT_EQ(countOf("ObjectTestTypes::Gadget"), gadgets + 1);
    EXPECT_EQ(g->addRef(), 3);  // the new counts, not the old ones
    EXPECT_EQ(g->release(), 2);
    EXPECT_EQ(g->release(), 1);
    EXPECT_EQ(Widget::destroyed, endedBefore);
    EXPECT_EQ(g->release(), 0);
    EXPECT_EQ(Widget::destroyed, endedBefore + 1);
    EXPECT_EQ(countOf("ObjectTestTypes::Gadget"), gadgets);  // the row stays, at its old value
    EXPECT_EQ(countOf(""), untyped);
}

TEST(CObjectTable, FindInsertAndTheLastReleaseLeaveTheTableFirst) {
    Detail::CObjectTable table;
    Widget* w = new Widget;
    w->table = &table;
    table.lock();
    WidgetKey key(w);
    EXPECT_EQ(table.find(key), nullptr);
    table.insert(w);
    EXPECT_EQ(Detail::getRefCount(w), 1);  // the creator's reference
    EXPECT_EQ(table.find(key), w);
    EXPECT_EQ(Detail::getRefCount(w), 2);
    table.unlock();
    CComponentHelper::makeComponentObject(w);  // in a table: only names the type
    EXPECT_EQ(Detail::getRefCount(w), 2);
    EXPECT_EQ(table.count(), 1u);
    table.erase(reinterpret_cast<IUnknown*>(&table));  // not in the table: nothing changes
    EXPECT_EQ(table.count(), 1u);
    const int ended = Widget::destroyed;
    EXPECT_EQ(w->release(), 1);
    EXPECT_EQ(CComponentHelper::release(w), 0);
    EXPECT_EQ(Widget::destroyed, ended + 1);
    EXPECT_EQ(table.count(), 0u);
}

TEST(TComPtr, CopiesCountAndTheArrowKeepsTheUserOfALocalComponent) {
    Gadget* g = static_cast<Gadget*>(CComponentHelper::makeComponentObject(new Gadget));
    {
        TComPtr<Gadget> a(g);
        TComPtr<Gadget> b(a);
        EXPECT_EQ(Detail::getRefCount(g), 2);
        TComPtr<Gadget> c;
        EXPECT_FALSE(c);
        EXPECT_TRUE(!c);
        c = b;
        c = c;
        EXPECT_EQ(Detail::getRefCount(g), 3);
        c = TComPtr<Gadget>();
        EXPECT_EQ(Detail::getRefCount(g), 2);
        EXPECT_FALSE(CComponentHelper::setAsCurrentUser(nullptr));
        const int user = IClient::getCurrentUserID();
        EXPECT_EQ(a.operator->(), g);
        EXPECT_EQ(IClient::getCurrentUserID(), user);
        EXPECT_EQ(a.get(), g);
        EXPECT_EQ(a.getClient(), nullptr);
    }
}

#if GTEST_HAS_DEATH_TEST
TEST(ComponentDeathTest, LimitsOfTheCaller) {
    TComPtr<Gadget> empty;
    EXPECT_DEATH(empty->reserved(), "m_ptr != NULL");
    Detail::CObjectTable table;
    EXPECT_DEATH(table.get(0), "index < m_internal->objects.size\\(\\)");
}
#endif

TEST(Registry, SharedInstancesPerServerData) {
    LogCapture log(6, true);
    ASSERT_TRUE(registerComponent("ObjectTestGadget", &makeGadget));
    ServerInfo one;
    one.address = "10.0.0.1";
    one.port = 80;
    one.userName = "u";
    one.byteOption1 = 1;
    ServerInfo same = one;
    same.textOption1 = "other fields do not count";
    same.intOption3 = 7;
    same.password = "";  // null and "" compare alike
    IUnknown* a = getComponentInstance("ObjectTestGadget", &one);
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(getComponentInstance("ObjectTestGadget", &same), a);
    EXPECT_EQ(Detail::getRefCount(a), 2);
    IUnknown* local = getComponentInstance("ObjectTestGadget", nullptr);
    EXPECT_NE(local, a);
    ServerInfo empty;  // a server, all empty: not the same as no server
    IUnknown* emptyServer = getComponentInstance("ObjectTestGadget", &empty);
    EXPECT_NE(emptyServer, local);
    IUnknown* fresh = createComponentObject("ObjectTestGadget", &one);
    EXPECT_NE(fresh, a);
    EXPECT_EQ(Detail::getRefCount(fresh), 1);
    fresh->release();
    emptyServer->release();
    local->release();
    a->release();
    a->release();
    IUnknown* again = getComponentInstance("ObjectTestGadget", &one);
    EXPECT_EQ(Detail::getRefCount(again), 1);  // a new object once both references went
    again->release();

    ASSERT_TRUE(registerComponent("ObjectTestGadget", &makeGadget));
    EXPECT_TRUE(log.hasMessage(
        "registerComponentCreator creator for cid:ObjectTestGadget already exist!\n"));
    ASSERT_TRUE(registerComponent("ObjectTestNothing", &makeNothing));
    EXPECT_EQ(getComponentInstance("ObjectTestNothing", nullptr), nullptr);
    log.clear();
    EXPECT_EQ(getComponentInstance("ObjectTestNoSuchClass", nullptr), nullptr);  // no module either
    EXPECT_EQ(createComponentObject("ObjectTestNoSuchClass", nullptr), nullptr);
    EXPECT_TRUE(log.lines().empty());
    EXPECT_FALSE(registerComponent(nullptr, &makeGadget));
    EXPECT_EQ(getComponentInstance(nullptr, nullptr), nullptr);
}

TEST(Registry, AnInstanceOnItsWayOutIsNeverHandedOutAgain) {
    ASSERT_TRUE(registerComponent("ObjectTestDying", &makeGadget));
    IUnknown* dying = getComponentInstance("ObjectTestDying", nullptr);
    ASSERT_NE(dying, nullptr);
    // The state between the last decrement of a release and the removal of the record.
    EXPECT_EQ(Detail::decreaseRefCount(dying), 0);
    IUnknown* next = getComponentInstance("ObjectTestDying", nullptr);
    EXPECT_NE(next, dying);
    EXPECT_EQ(Detail::getRefCount(dying), 0);
    Detail::destroyComponent(dying, "ObjectTestDying", true);  // the rest of that release
    EXPECT_EQ(getComponentInstance("ObjectTestDying", nullptr), next);
    next->release();
    next->release();
}
