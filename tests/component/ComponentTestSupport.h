// ComponentTestSupport.h
//
// Test doubles of the component tests: a scripted client whose login, broken check and user are
// set by the test and which counts what the framework calls on it; its factory; a small remote
// component with its factory; and a clock of the test's own under the client list.
#ifndef KERNA_TESTS_COMPONENT_COMPONENTTESTSUPPORT_H_
#define KERNA_TESTS_COMPONENT_COMPONENTTESTSUPPORT_H_

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>

#include "component/Client.h"
#include "component/ComPtr.h"
#include "component/ComponentHelper.h"
#include "component/FactoryUnknown.h"
#include "kerna/kerna3/Time.h"

namespace ComponentTest {

using namespace Tessaran::Component;

// What the clients of one factory do, and what happened to them: the test changes the switches
// while the clients live. A script outlives its clients (tests keep scripts for the process).
struct Script {
    std::atomic<bool> loginSucceeds{true};
    std::atomic<int> failEveryLogin{0};  // above 0: every n-th login fails as well
    std::atomic<bool> broken{false};
    std::atomic<int> userId{-1};     // -1: getUserID stores nothing
    std::function<void()> onLogout;  // runs inside logout()

    std::atomic<int> made{0};
    std::atomic<int> logins{0};
    std::atomic<int> endedAfterOneLogout{0};
    std::atomic<int> endedOtherwise{0};
    int alive() const { return made.load() - endedAfterOneLogout.load() - endedOtherwise.load(); }

    /// Switches and counts as new, for a test that runs again in the same process (its clients
    /// of the run before have all ended).
    void restart() {
        loginSucceeds = true;
        failEveryLogin = 0;
        broken = false;
        userId = -1;
        onLogout = nullptr;
        made = 0;
        logins = 0;
        endedAfterOneLogout = 0;
        endedOtherwise = 0;
    }
};

class ScriptedClient : public IClient {
public:
    explicit ScriptedClient(Script* script) : m_script(script) { ++script->made; }
    void destroy() override {
        ++(logouts.load() == 1 ? m_script->endedAfterOneLogout : m_script->endedOtherwise);
        delete this;
    }
    void reserved() override {}
    bool checkBroken() override {
        ++brokenChecks;
        return m_script->broken.load();
    }
    bool login() override {
        ++logins;
        const int n = ++m_script->logins;
        const int every = m_script->failEveryLogin.load();
        return m_script->loginSucceeds.load() && (every <= 0 || n % every != 0);
    }
    bool logout() override {
        ++logouts;
        if (m_script->onLogout) m_script->onLogout();
        return true;
    }
    bool getUserID(int& id) override {
        const int user = m_script->userId.load();
        if (user != -1) id = user;
        return true;
    }

    std::atomic<int> logins{0};
    std::atomic<int> logouts{0};
    std::atomic<int> brokenChecks{0};

private:
    Script* m_script;
};

class ScriptedClientFactory : public IClient::IFactory {
public:
    ScriptedClientFactory(const char* clsid, Script* script) : m_clsid(clsid), m_script(script) {}
    const char* clsid() override { return m_clsid; }
    IClient* create(const ServerInfo&) override {
        ++creates;
        return makesNothing ? nullptr : new ScriptedClient(m_script);
    }
    std::atomic<int> creates{0};
    std::atomic<bool> makesNothing{false};

private:
    const char* m_clsid;
    Script* m_script;
};

// A remote component: its call reports the user under whom it runs.
class IEcho : public IUnknown {
public:
    virtual int whoAmI() = 0;
};

class EchoComponent : public IEcho {
public:
    void destroy() override { delete this; }
    void reserved() override {}
    int whoAmI() override { return IClient::getCurrentUserID(); }
};

class EchoFactory : public IFactoryUnknown {
public:
    explicit EchoFactory(const char* clsid) : m_clsid(clsid) {}
    static const char* iid() { return "IEcho"; }
    const char* clsid() override { return m_clsid; }
    IEcho* create() {
        return static_cast<IEcho*>(
            Detail::CComponentHelper::makeComponentObject(new EchoComponent));
    }

private:
    const char* m_clsid;
};

}  // namespace ComponentTest

#endif  // KERNA_TESTS_COMPONENT_COMPONENTTESTSUPPORT_H_
