// Tests of the delegates: layout, the equality table with reuse tags, and calls through plain,
// member, const, virtual and multiply inherited targets.
#include <gtest/gtest.h>

#include <cstddef>
#include <thread>

#include "kerna/kerna3/Function.h"
#include "kerna/kerna3/Process.h"

using namespace Tessaran::Kerna;

namespace {

int twice(int x) { return 2 * x; }
int thrice(int x) { return 3 * x; }

struct Base1 {
    virtual ~Base1() {}
    int a = 1;
};
struct Target {
    virtual ~Target() {}
    virtual int add(int x) { return x + offset; }
    int get(int) const { return offset; }
    int reuse(int) { return static_cast<int>(getCurrentFunctionReuse()); }
    int offset = 100;
};
struct Derived : Target {
    int add(int x) override { return x + 1000; }
};
// Target is a non-primary base here: calling through it needs the this-adjustment.
struct Multi : Base1, Target {
    int b = 2;
};

typedef TFunction1<int, int> F;

}  // namespace

TEST(TFunction, LayoutIsFourFields) {
    EXPECT_EQ(sizeof(F), 32u);
    EXPECT_EQ(offsetof(F, m_function), 0u);
    EXPECT_EQ(offsetof(F, m_object), 8u);
    EXPECT_EQ(offsetof(F, m_kind), 16u);
    EXPECT_EQ(offsetof(F, m_objectType), 24u);
}

TEST(TFunction, ConstructionKinds) {
    F empty;
    EXPECT_TRUE(empty.empty());
    F fromNull(static_cast<int (*)(int)>(nullptr));
    EXPECT_TRUE(fromNull.empty());
    EXPECT_EQ(fromNull.m_kind, 0u);
    F plain(&twice);
    EXPECT_EQ(plain.m_kind, 2u);
    EXPECT_EQ(plain.m_objectType, nullptr);
    Target t;
    F member(&Target::add, &t);
    EXPECT_EQ(member.m_kind, 1u);
    EXPECT_NE(member.m_objectType, nullptr);
}

TEST(TFunction, CallsEveryKindOfTarget) {
    EXPECT_EQ(F(&twice)(21), 42);
    Target t;
    EXPECT_EQ(F(&Target::add, &t)(1), 101);
    EXPECT_EQ(F(&Target::get, static_cast<const Target*>(&t))(0), 100);
    Derived d;
    EXPECT_EQ(F(&Target::add, static_cast<Target*>(&d))(1), 1001);  // virtual dispatch
    Multi m;
    m.offset = 7;
    EXPECT_EQ(F(&Target::add, &m)(1), 8);  // object adjusted to the Target base
    TFunction0<void> nothing;
    nothing();  // calling an empty delegate does nothing
    TFunction5<int, int, int, int, int, int> five(
        [](int p, int q, int r, int s, int u) { return p + q + r + s + u; });
    EXPECT_EQ(five(1, 2, 3, 4, 5), 15);
}

TEST(TFunction, EqualityTable) {
    Target t1, t2;
    F m1(&Target::add, &t1), m1b(&Target::add, &t1), m2(&Target::add, &t2);
    F p1(&twice), p1b(&twice), p2(&thrice);
    EXPECT_EQ(F(), F());
    EXPECT_EQ(m1, m1b);
    EXPECT_NE(m1, m2);  // same function, different objects
    EXPECT_EQ(p1, p1b);
    EXPECT_NE(p1, p2);
    EXPECT_NE(p1, m1);
    EXPECT_NE(F(), p1);
    // Plain delegates compare the function only, whatever m_object holds.
    F p1odd(&twice);
    p1odd.m_object = &t1;
    EXPECT_EQ(p1, p1odd);
    // Reuse tags.
    F tag16 = m1.withReuse(16), tag17 = m1.withReuse(17), any = m1.anyReuse();
    EXPECT_EQ(tag16.m_kind, 16u);
    EXPECT_EQ(any.m_kind, 0xFFFFFFFFu);
    EXPECT_NE(tag16, tag17);
    EXPECT_EQ(any, tag16);
    EXPECT_EQ(tag17, any);
    EXPECT_NE(any, m1);  // kind 1 is not a reuse tag
    EXPECT_NE(tag16, m1);
    EXPECT_NE(m2.anyReuse(), tag16);  // other object
    EXPECT_EQ(p1.withReuse(16).m_kind, 2u);  // a plain delegate takes no tag
    EXPECT_EQ(m1.withReuse(5).m_kind, 1u);   // 3-15 are not tags
}

TEST(TFunction, ReuseTagReachesTheTargetOnItsThread) {
    Target t;
    F plainMember(&Target::reuse, &t);
    std::thread([&] {
        EXPECT_EQ(getCurrentFunctionReuse(), 0u);
        EXPECT_EQ(plainMember(0), 0);            // kind 1 leaves the slot alone
        EXPECT_EQ(plainMember.withReuse(77)(0), 77);
        EXPECT_EQ(plainMember(0), 77);           // still the last stored value
        EXPECT_EQ(plainMember.withReuse(0xFFFFFFFEu)(0), static_cast<int>(0xFFFFFFFEu));
    }).join();
    EXPECT_EQ(getCurrentFunctionReuse(), 0u);  // another thread's value is not seen here
}
