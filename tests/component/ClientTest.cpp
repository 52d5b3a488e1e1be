// Tests of clients, factories and the client list: one request end to end, failed and repeated
// logins, broken connections, the idle check on a clock of the test's own, the creation paths,
// the status signal and defaults of a client, its identity, and many threads requesting,
// using and releasing components of three servers while the idle check runs.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "component/ClientInstanceList.h"
#include "component/ClientInternal.h"
#include "component/ComPtr.h"
#include "component/ComSelInfo.h"
#include "component/ComponentTestSupport.h"
#include "component/LocalComSelectManager.h"
#include "component/ServerInfoQueryerHelper.h"
#include "component/UnknownInternal.h"
#include "kerna/kerna3/Error.h"
#include "kerna/kerna3/Time.h"
#include "support/LogCapture.h"

using namespace ComponentTest;
using KernaTest::LogCapture;
using Tessaran::Component::Detail::CComponentHelper;
using Tessaran::Kerna::getLastError;
using Tessaran::Kerna::setLastError;
using Tessaran::Kerna::String;

namespace {

CClientInstanceList& clientList() { return *CClientInstanceList::instance(); }

// A client class with its script and a component class reached through it, registered for the
// rest of the process (the tables keep plain pointers).
struct Classes {
    Classes(const char* clientClass, const char* echoClass)
        : script(new Script),
          clients(new ScriptedClientFactory(clientClass, script)),
          echo(new EchoFactory(echoClass)) {
        clients->registerFactory(IClient::IFactory::iid());
        echo->registerFactory(EchoFactory::iid());
    }
    IEcho* request(const ServerInfo& server, IClient*& client) {
        return static_cast<EchoFactory*>(CComponentHelper::getComponentFactory(
                   EchoFactory::iid(), echo->clsid(), server, client)) != nullptr
                   ? echo->create()
                   : nullptr;
    }
    // The component and its client in one pointer (null when the request fails).
    TComPtr<IEcho> connect(const ServerInfo& server) {
        IClient* client = nullptr;
        IEcho* component = request(server, client);
        return TComPtr<IEcho>(component, client);
    }
    // The classes stay registered for the process; a test that runs again starts its counts anew.
    Classes& restart() {
        script->restart();
        clients->creates = 0;
        clients->makesNothing = false;
        return *this;
    }
    Script* script;
    ScriptedClientFactory* clients;
    EchoFactory* echo;
};

ServerInfo server(const char* address, int port, const char* user = "alice",
                  const char* password = "secret") {
    ServerInfo info;
    info.address = address;
    info.port = port;
    info.userName = user;
    info.password = password;
    return info;
}

template <class Predicate>
bool eventually(Predicate done, int milliseconds = 10000) {
    for (int waited = 0; waited < milliseconds; waited += 5) {
        if (done()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return done();
}

// The client list's clock, moved by the test.
std::atomic<uint64_t> g_manualNow{0};
uint64_t manualNow() { return g_manualNow.load(); }
class ManualClientClock {
public:
    ManualClientClock() {
        g_manualNow = Tessaran::Kerna::CTime::getCurrentMilliSecond();
        Detail::setClientClock(&manualNow);
    }
    ~ManualClientClock() { Detail::setClientClock(nullptr); }
    void advance(uint64_t ms) { g_manualNow += ms; }
};

// Runs `work` on another thread and tells whether it ended within ten seconds. A thread that
// does not end (it would be blocked on a lock the caller holds) is left to end later.
bool endsOnAnotherThread(std::function<void()> work) {
    auto done = std::make_shared<std::promise<void> >();
    std::future<void> ended = done->get_future();
    std::thread([work, done] {
        work();
        done->set_value();
    }).detach();
    return ended.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
}

// The query handler of the process: channel 3 is served by the class "E2E.Echo" on a server.
class ChannelQueryer : public IServerInfoQueryer {
public:
    void destroy() override { delete this; }
    void reserved() override {}
    bool getServerInfoByChannel(int channel, String& clsid, ServerInfo& info) override {
        ++calls;
        if (channel != 3) return false;
        clsid = "E2E.Echo";
        info = server("127.0.0.1", 9000, "alice", "secret");
        return true;
    }
    bool getServerInfoByDeviceId(const char* deviceId, String& clsid, ServerInfo&) override {
        ++calls;
        clsid = deviceId;
        return true;
    }
    std::atomic<int> calls{0};
};

// Installs the handler once per process, with a client of user 99 of its own.
ChannelQueryer* queryer() {
    static ChannelQueryer* handler = [] {
        static Classes classes("QueryerUser", "QueryerUser.Echo");
        classes.script->userId = 99;
        IClient* client = nullptr;
        IClient::IFactory* wrap =
            static_cast<IClient::IFactory*>(CComponentHelper::getComponentFactory(
                "Client", "QueryerUser", ServerInfo::none, client));
        IClient* own = wrap->create(server("127.0.0.2", 1));
        ChannelQueryer* h =
            static_cast<ChannelQueryer*>(CComponentHelper::makeComponentObject(new ChannelQueryer));
        EXPECT_TRUE(setQueryerHandler(TComPtr<IServerInfoQueryer>(h, own)));
        return h;
    }();
    return handler;
}

}  // namespace

TEST(ClientRequest, OneRequestEndToEnd) {
    static Classes classes("E2E", "E2E.Echo");
    classes.restart();
    classes.script->userId = 42;
    // 1. The handler gives class and server for channel 3.
    String clsid;
    ServerInfo info;
    ASSERT_TRUE(queryer() != nullptr);
    ASSERT_TRUE(CServerInfoQueryerHelper::instance()->getServerInfoByChannel(3, clsid, info));
    EXPECT_EQ(clsid, "E2E.Echo");
    // 2.-5. No client yet: one is made under the class part, logged in, and kept by the caller.
    IClient* client = nullptr;
    IEcho* raw = classes.request(info, client);
    ASSERT_NE(raw, nullptr);
    ASSERT_NE(client, nullptr);
    EXPECT_EQ(classes.clients->creates.load(), 1);
    EXPECT_EQ(static_cast<ScriptedClient*>(client)->logins.load(), 1);
    EXPECT_EQ(Detail::getRefCount(client), 1);  // the list's reference went at this first use
    EXPECT_TRUE(clientList().contains(client));
    TComPtr<IEcho> first(raw, client);
    EXPECT_EQ(first->whoAmI(), 42);  // the call runs under the client's user
    // A second request with equal server fields shares the client: no new login, one broken check.
    ServerInfo copy = info;
    TComPtr<IEcho> second = classes.connect(copy);
    EXPECT_EQ(second.getClient(), client);
    EXPECT_EQ(Detail::getRefCount(client), 2);
    EXPECT_EQ(static_cast<ScriptedClient*>(client)->logins.load(), 1);
    EXPECT_EQ(static_cast<ScriptedClient*>(client)->brokenChecks.load(), 1);
    // 6. The last release ends the client with logout() and destroy() outside every framework
    // lock: from logout, another thread uses the factory table and the client list.
    std::atomic<bool> freeToGo{false};
    classes.script->onLogout = [&] {
        freeToGo = endsOnAnotherThread([] {
            IClient* none = nullptr;
            CComponentHelper::getComponentFactory(EchoFactory::iid(), "E2E.Echo", ServerInfo::none,
                                                  none);
            ClassIDList list(EchoFactory::iid());
            clientList().size();
        });
    };
    first = TComPtr<IEcho>();
    EXPECT_EQ(classes.script->alive(), 1);
    second = TComPtr<IEcho>();
    EXPECT_EQ(classes.script->alive(), 0);
    EXPECT_EQ(classes.script->endedAfterOneLogout.load(), 1);
    EXPECT_TRUE(freeToGo.load());
    classes.script->onLogout = nullptr;
}

TEST(ClientRequest, FailedLoginReturnsNullAndTheNextRequestTriesAgain) {
    static Classes classes("Fail", "Fail.Echo");
    classes.restart();
    LogCapture log(6, true);
    const ServerInfo info = server("10.1.1.1", 1);
    classes.script->loginSucceeds = false;
    IClient* client = nullptr;
    EXPECT_EQ(classes.request(info, client), nullptr);
    EXPECT_EQ(client, nullptr);
    EXPECT_TRUE(log.hasMessage(
        "iid:IEcho, clsid:Fail.Echo could not been generated because login failed.\n"));
    IClient* kept = clientList().findAlive("Fail", info);
    ASSERT_NE(kept, nullptr);
    EXPECT_EQ(Detail::getRefCount(kept), 1);  // only the list's reference
    EXPECT_EQ(classes.request(info, client), nullptr);
    EXPECT_TRUE(
        log.hasMessage("iid:IEcho, clsid:Fail.Echo could not been got because login failed.\n"));
    EXPECT_EQ(classes.clients->creates.load(), 1);
    EXPECT_EQ(classes.script->logins.load(), 2);
    classes.script->loginSucceeds = true;
    IEcho* echo = classes.request(info, client);
    ASSERT_NE(echo, nullptr);
    EXPECT_EQ(client, kept);
    EXPECT_EQ(Detail::getRefCount(kept), 1);  // the caller's; the list's went at this first use
    echo->release();
    EXPECT_EQ(CComponentHelper::release(client), 0);
    EXPECT_EQ(classes.script->endedAfterOneLogout.load(), 1);
}

TEST(ClientRequest, ABrokenConnectionIsNoticedAndMendedAtTheNextRequest) {
    static Classes classes("Broken", "Broken.Echo");
    classes.restart();
    LogCapture log(6, true);
    const ServerInfo info = server("10.1.1.2", 2);
    TComPtr<IEcho> held = classes.connect(info);
    ASSERT_TRUE(held);
    IClient* client = held.getClient();
    classes.script->broken = true;
    classes.script->loginSucceeds = false;
    IClient* none = nullptr;
    EXPECT_EQ(classes.request(info, none), nullptr);
    EXPECT_TRUE(log.hasMessage(
        "iid:IEcho, clsid:Broken.Echo could not been got because re-login failed.\n"));
    EXPECT_TRUE(Detail::clientIsBroken(client));
    classes.script->broken = false;
    classes.script->loginSucceeds = true;
    TComPtr<IEcho> next = classes.connect(info);
    EXPECT_EQ(next.getClient(), client);
    EXPECT_TRUE(Detail::clientIsLogined(client));
    EXPECT_EQ(classes.script->logins.load(), 3);
    EXPECT_EQ(classes.clients->creates.load(), 1);
}

TEST(ClientRequest, ByUserFindsAClientInAnyStateWithoutALogin) {
    static Classes classes("User", "User.Echo");
    classes.restart();
    classes.script->userId = 77;
    classes.script->loginSucceeds = false;
    IClient* client = nullptr;
    EXPECT_EQ(classes.request(server("10.1.1.3", 3), client), nullptr);  // stays, not logged in
    setLastError(0);
    EXPECT_EQ(CComponentHelper::getComponentFactory(EchoFactory::iid(), "User.Echo", 78, client),
              nullptr);
    EXPECT_EQ(getLastError(), 0);
    EXPECT_EQ(CComponentHelper::getComponentFactory(EchoFactory::iid(), "User.Echo", 77, client),
              classes.echo);
    ASSERT_NE(client, nullptr);
    EXPECT_EQ(classes.script->logins.load(), 1);
    EXPECT_EQ(classes.clients->instance(77), client);
    EXPECT_EQ(CComponentHelper::getComponentFactory(EchoFactory::iid(), "User.Echo", -1, client),
              classes.echo);
    EXPECT_EQ(client, nullptr);  // -1 asks for a local component
    // That first use gave up the list's reference: the request's is the last one.
    EXPECT_EQ(CComponentHelper::release(clientList().findForUser("User", 77)), 0);
    EXPECT_EQ(classes.script->alive(), 0);
    classes.script->loginSucceeds = true;
}

TEST(ClientRequest, UnknownInterfaceOrClassAndMissingClientFactories) {
    static Classes classes("Err", "Err.Echo");
    classes.restart();
    LogCapture log(6, true);
    const ServerInfo info = server("10.1.1.4", 4);
    IClient* client = nullptr;
    EXPECT_EQ(CComponentHelper::getComponentFactory("INope", "Err.Echo", info, client), nullptr);
    EXPECT_EQ(getLastError(), 0x10030000);
    EXPECT_EQ(CComponentHelper::getComponentFactory(EchoFactory::iid(), "Err.Nope", info, client),
              nullptr);
    EXPECT_EQ(getLastError(), 0x10030001);
    EXPECT_EQ(classes.clients->creates.load(), 0);  // no client made for a missing entry
    // With a client: its reference goes before null returns.
    TComPtr<IEcho> held = classes.connect(info);
    ASSERT_TRUE(held);
    EXPECT_EQ(CComponentHelper::getComponentFactory(EchoFactory::iid(), "Err.Nope", info, client),
              nullptr);
    EXPECT_EQ(Detail::getRefCount(held.getClient()), 1);
    // A copy of ServerInfo::none is a server: no client class "NoClient" exists.
    static EchoFactory* const orphan = [] {  // one for the process: the table keeps it
        EchoFactory* factory = new EchoFactory("NoClient.Echo");
        factory->registerFactory(EchoFactory::iid());
        return factory;
    }();
    log.clear();
    const ServerInfo noneCopy = ServerInfo::none;
    EXPECT_EQ(CComponentHelper::getComponentFactory(EchoFactory::iid(), "NoClient.Echo", noneCopy,
                                                    client),
              nullptr);
    EXPECT_EQ(getLastError(), 0x10030002);
    EXPECT_EQ(log.messages(),
              (std::vector<std::string>{"get factory failed, clsid: NoClient\n",
                                        "iid:IEcho, clsid:NoClient.Echo could not been got because "
                                        "clientInstance could not be created.\n"}));
    EXPECT_EQ(CComponentHelper::getComponentFactory(EchoFactory::iid(), "NoClient.Echo",
                                                    ServerInfo::none, client),
              orphan);
    // A client factory that makes nothing.
    classes.clients->makesNothing = true;
    EXPECT_EQ(classes.request(server("10.1.1.5", 5), client), nullptr);
    EXPECT_EQ(getLastError(), 0x10030003);
    EXPECT_TRUE(log.hasMessage("create client failed, clsid: Err\n"));
    classes.clients->makesNothing = false;
    // An unregistered factory: found, no error, null.
    classes.echo->unregisterFactory(EchoFactory::iid());
    setLastError(0);
    EXPECT_EQ(CComponentHelper::getComponentFactory(EchoFactory::iid(), "Err.Echo",
                                                    ServerInfo::none, client),
              nullptr);
    EXPECT_EQ(getLastError(), 0);
    classes.echo->registerFactory(EchoFactory::iid());
}

TEST(IClientFactoryWrap, CreateSharesAliveClientsButNeverLocalOnes) {
    static Classes classes("Wrap", "Wrap.Echo");
    classes.restart();
    static Script localScript;
    static const bool localRegistered =
        (new ScriptedClientFactory("Local", &localScript))->registerFactory("Client");
    ASSERT_TRUE(localRegistered);
    localScript.restart();
    IClient* client = nullptr;
    // A server in the arguments is ignored for "Client": no client is looked for.
    IClient::IFactory* wrap = static_cast<IClient::IFactory*>(
        CComponentHelper::getComponentFactory("Client", "Wrap", server("10.2.2.2", 2), client));
    ASSERT_NE(wrap, nullptr);
    EXPECT_EQ(client, nullptr);
    EXPECT_STREQ(wrap->clsid(), "Wrap");
    const ServerInfo info = server("10.2.2.1", 1);
    IClient* a = wrap->create(info);
    EXPECT_EQ(Detail::getRefCount(a), 1);
    EXPECT_EQ(Detail::clientGetAndMarkUsing(a), 1);  // in use from the start
    EXPECT_EQ(wrap->create(info), a);
    EXPECT_EQ(Detail::getRefCount(a), 2);
    IClient::IFactory* localWrap = static_cast<IClient::IFactory*>(
        CComponentHelper::getComponentFactory("Client", ClassID::local, ServerInfo::none, client));
    IClient* l1 = localWrap->create(info);
    IClient* l2 = localWrap->create(info);
    EXPECT_NE(l1, l2);
    EXPECT_TRUE(clientList().contains(l1) && clientList().contains(l2));
    for (IClient* c : {a, a, l1, l2}) CComponentHelper::release(c);
    EXPECT_EQ(classes.script->alive(), 0);
    EXPECT_EQ(localScript.alive(), 0);
    EXPECT_EQ(classes.script->endedAfterOneLogout.load() + localScript.endedAfterOneLogout.load(),
              3);
}

TEST(IClient, StatusSignalAbortDefaultsAndOwnState) {
    static Classes classes("Status", "Status.Echo");
    classes.restart();
    LogCapture log(6, true);
    IClient* none = nullptr;
    IClient::IFactory* wrap = static_cast<IClient::IFactory*>(
        CComponentHelper::getComponentFactory("Client", "Status", ServerInfo::none, none));
    ServerInfo info = server("10.3.3.3", 3, nullptr);
    info.textOption9 = "nine";
    info.bitsOption = 5;
    IClient* client = wrap->create(info);
    int marker = 0;
    client->setCustomData(&marker);
    struct Watcher {
        int calls = 0;
        void* data = nullptr;
        std::string cls;
        IClient* seen = nullptr;
        IClient::Status status = IClient::statusUnknown;
        int reason = 0;
        void on(void* d, ClassID c, TComPtr<IClient> ptr, IClient::Status s, int r) {
            ++calls;
            data = d;
            cls = c.name;
            seen = ptr.get();
            status = s;
            reason = r;
            ptr = TComPtr<IClient>();  // dropping its copy does not end the client
        }
    } watcher;
    EXPECT_TRUE(client->attachStatusProc(IClient::StatusProc(&Watcher::on, &watcher)));
    EXPECT_FALSE(client->attachStatusProc(IClient::StatusProc(&Watcher::on, &watcher)));
    EXPECT_TRUE(client->abort(7));
    EXPECT_EQ(watcher.calls, 1);
    EXPECT_EQ(watcher.data, &marker);
    EXPECT_EQ(watcher.cls, "Status");
    EXPECT_EQ(watcher.seen, client);
    EXPECT_EQ(watcher.status, IClient::statusAborted);
    EXPECT_EQ(watcher.reason, 7);
    EXPECT_EQ(Detail::getRefCount(client), 1);
    EXPECT_EQ(static_cast<ScriptedClient*>(client)->logouts.load(), 1);
    EXPECT_TRUE(client->detachStatusProc(IClient::StatusProc(&Watcher::on, &watcher)));
    EXPECT_FALSE(client->detachStatusProc(IClient::StatusProc(&Watcher::on, &watcher)));
    EXPECT_TRUE(client->abort(8));  // no procedure: still logs out
    EXPECT_EQ(static_cast<ScriptedClient*>(client)->logouts.load(), 2);

    Tessaran::Kerna::CTime time;
    setLastError(0);
    EXPECT_FALSE(client->getCurrentTime(time));
    EXPECT_EQ(getLastError(), 0x10030010);
    EXPECT_FALSE(client->loginFirst());
    ServerChallenge challenge;
    EXPECT_FALSE(client->getChallenge(challenge));
    EXPECT_TRUE(challenge.challengeText5.empty());
    EXPECT_EQ(challenge.challengeValues[26], 0);
    EXPECT_TRUE(client->getLoginTime(time));
    EXPECT_TRUE(time == Tessaran::Kerna::CTime());
    ServerInfo out;
    out.reservedBit = 1;
    out.reserved[0] = 9;
    EXPECT_TRUE(client->getServerInfo(out));  // an empty user name is reported
    EXPECT_TRUE(log.hasMessage(std::string("this:") +
                               testing::PrintToString(static_cast<void*>(client)) +
                               " userName of client is a null string!\n"));
    EXPECT_STREQ(out.address, "10.3.3.3");
    EXPECT_STREQ(out.textOption9, "nine");
    EXPECT_STREQ(out.textOption2, "");
    EXPECT_EQ(out.bitsOption, 5);
    EXPECT_EQ(out.reservedBit, 1);
    EXPECT_EQ(out.reserved[0], 9);
    EXPECT_TRUE(client->saveUserName("first"));
    EXPECT_TRUE(client->saveUserName("second"));
    EXPECT_TRUE(log.hasMessage(std::string("this:") +
                               testing::PrintToString(static_cast<void*>(client)) +
                               " username of client has already saved.\n"));
    client->getServerInfo(out);
    EXPECT_STREQ(out.userName, "first");
    CComponentHelper::release(client);
    EXPECT_EQ(classes.script->alive(), 0);
}

TEST(IClient, CurrentUserPerThread) {
    static Classes classes("Nobody", "Nobody.Echo");
    classes.restart();
    int onNewThread = -5;
    std::thread([&] { onNewThread = IClient::getCurrentUserID(); }).join();
    EXPECT_EQ(onNewThread, 0);
    ScriptedClient standalone(classes.script);  // getUserID stores nothing
    EXPECT_TRUE(CComponentHelper::setAsCurrentUser(&standalone));
    EXPECT_EQ(IClient::getCurrentUserID(), -1);
    classes.script->userId = 5;
    CComponentHelper::setAsCurrentUser(&standalone);
    EXPECT_EQ(IClient::getCurrentUserID(), 5);
    --classes.script->made;  // never handed to the framework
}

TEST(ClientIdentity, ServerFieldsThatCountAndTheClassPart) {
    static Script script;
    ServerInfo info = server("h", 1);
    info.textOption10 = "ten";
    ScriptedClient* c = new ScriptedClient(&script);
    Detail::clientCreateInternal(c, "Id.Rest", info, false);
    ServerInfo other = info;
    other.shortOption1 = 3;
    other.textOption5 = "5";
    other.bitsOption = 9;
    other.reservedBit = 1;
    other.intOption3 = 3;
    other.textOption9 = "9";
    other.reserved[5] = 1;
    EXPECT_TRUE(Detail::clientIsSameAs(c, "Id", other));
    EXPECT_TRUE(Detail::clientIsSameAs(c, "Id.Other", other));  // only the class part counts
    EXPECT_TRUE(Detail::clientIsSameAs(c, "I.x", other));       // a classId that merely begins so
    EXPECT_FALSE(Detail::clientIsSameAs(c, "Ix", other));
    other.textOption10 = nullptr;
    EXPECT_FALSE(Detail::clientIsSameAs(c, "Id", other));
    other.textOption10 = "ten";
    other.flagOption = 1;
    EXPECT_FALSE(Detail::clientIsSameAs(c, "Id", other));
    c->logout();
    c->destroy();
}

TEST(ClientCheck, RemovesAClientThatNeverLoggedInFiveMinutesAfterItsLastAttempt) {
    static Classes classes("Idle", "Idle.Echo");
    classes.restart();
    LogCapture quiet(2);
    ManualClientClock clock;
    // The boundary, on a client outside the list.
    ScriptedClient* lone = new ScriptedClient(classes.script);
    Detail::clientCreateInternal(lone, "Idle", ServerInfo::none, false);
    clock.advance(300000);
    EXPECT_FALSE(Detail::clientIsIdle(lone));
    clock.advance(1);
    EXPECT_TRUE(Detail::clientIsIdle(lone));
    EXPECT_TRUE(Detail::clientLogin(lone));
    clock.advance(400000);
    EXPECT_FALSE(Detail::clientIsIdle(lone));  // logged in once: never idle
    lone->logout();
    lone->destroy();

    // In the list: passed over while it has a user, removed once only the list holds it.
    classes.script->loginSucceeds = false;
    const ServerInfo info = server("10.4.4.4", 4);
    IClient* client = nullptr;
    EXPECT_EQ(classes.request(info, client), nullptr);
    IClient* user = clientList().findAndMake("Idle", info);
    ASSERT_NE(user, nullptr);
    clock.advance(300001);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));  // a few checks pass it over
    EXPECT_TRUE(clientList().contains(user));
    EXPECT_EQ(CComponentHelper::release(user), 1);
    EXPECT_TRUE(eventually([&] { return classes.script->alive() == 0; }));
    EXPECT_EQ(classes.script->endedAfterOneLogout.load(), 2);  // the lone one and this one
    classes.script->loginSucceeds = true;
}

TEST(ClientList, ThreadsRequestUseAndReleaseAcrossThreeServersWhileTheIdleCheckRuns) {
    static Classes classes("Stress", "Stress.Echo");
    classes.restart();
    classes.script->userId = 11;
    classes.script->failEveryLogin = 3;
    LogCapture quiet(2);  // the failed logins' lines
    ManualClientClock clock;
    const ServerInfo servers[3] = {server("10.5.5.1", 1), server("10.5.5.2", 2),
                                   server("10.5.5.3", 3, "bob")};
    std::atomic<bool> stop{false};
    std::atomic<int> served{0}, refused{0}, wrongUser{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; !stop.load(); ++i) {
                TComPtr<IEcho> a = classes.connect(servers[(t + i) % 3]);
                if (!a) {
                    ++refused;
                    continue;
                }
                TComPtr<IEcho> b(a);
                if (b->whoAmI() != 11) ++wrongUser;
                ++served;
                if (i % 7 == 0) classes.script->broken = !classes.script->broken.load();
            }
        });
    }
    for (int i = 0; i < 100; ++i) {
        clock.advance(60000);  // five minutes pass every five steps
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    stop = true;
    for (std::thread& t : threads) t.join();
    classes.script->broken = false;
    EXPECT_GT(served.load(), 0);
    EXPECT_GT(refused.load(), 0);
    EXPECT_EQ(wrongUser.load(), 0);
    // Clients that logged in ended with their last release; the others go with the idle check.
    clock.advance(1000000);
    EXPECT_TRUE(eventually([&] { return classes.script->alive() == 0; }, 20000))
        << classes.script->alive();
    EXPECT_EQ(classes.script->endedOtherwise.load(), 0);
    EXPECT_EQ(classes.script->endedAfterOneLogout.load(), classes.script->made.load());
}

TEST(ServerInfoQueryer, WithAHandler) {
    ChannelQueryer* handler = queryer();
    LogCapture log(6, true);
    const int calls = handler->calls.load();
    String clsid;
    ServerInfo info;
    EXPECT_TRUE(CServerInfoQueryerHelper::instance()->getServerInfoByChannel(-1, clsid, info));
    EXPECT_EQ(clsid, "Local");
    EXPECT_EQ(info.address, nullptr);
    EXPECT_FALSE(CServerInfoQueryerHelper::instance()->getServerInfoByChannel(-2, clsid, info));
    EXPECT_EQ(handler->calls.load(), calls);
    EXPECT_TRUE(log.hasMessage("channel:-2 is invalid \n"));
    CComponentHelper::setAsCurrentUser(nullptr);
    EXPECT_TRUE(CServerInfoQueryerHelper::instance()->getServerInfoByChannel(3, clsid, info));
    EXPECT_EQ(IClient::getCurrentUserID(), 99);  // asked under the user of the handler's client
    EXPECT_FALSE(
        CServerInfoQueryerHelper::instance()->getServerInfoByDeviceId(nullptr, clsid, info));
    EXPECT_TRUE(log.hasMessage("deviceId:(null) is empty\n"));
    EXPECT_TRUE(CServerInfoQueryerHelper::instance()->getServerInfoByDeviceId("", clsid, info));
    EXPECT_EQ(clsid, "");
    // Neither replaced nor cleared, also not by the same pointer.
    CComponentHelper::addRef(handler);
    EXPECT_FALSE(setQueryerHandler(TComPtr<IServerInfoQueryer>(handler)));
    EXPECT_FALSE(setQueryerHandler(TComPtr<IServerInfoQueryer>()));
    char expected[128];
    snprintf(expected, sizeof expected, "setQueryerHandler failed setPtr:%p, oldPtr:%p\n",
             static_cast<void*>(handler), static_cast<void*>(handler));
    EXPECT_TRUE(log.hasMessage(expected));
    EXPECT_TRUE(CServerInfoQueryerHelper::instance()->getServerInfoByChannel(3, clsid, info));
    EXPECT_EQ(clsid, "E2E.Echo");
}

TEST(CLocalComSelectManager, FirstDefaultStands) {
    // The first default stands for the process: each run of the test names a new interface.
    static int run = 0;
    const std::string iid = "ISelect" + std::to_string(++run);
    EXPECT_FALSE(CLocalComSelectManager::setDefaultComponent(nullptr, "X"));
    EXPECT_EQ(CLocalComSelectManager::getDefaultClassID(nullptr), "");
    EXPECT_EQ(CLocalComSelectManager::getDefaultClassID("ISelectNone"), "Local");
    EXPECT_TRUE(CLocalComSelectManager::setDefaultComponent(iid.c_str(), "First"));
    EXPECT_FALSE(CLocalComSelectManager::setDefaultComponent(iid.c_str(), "Second"));
    EXPECT_EQ(CLocalComSelectManager::getDefaultClassID(iid.c_str()), "First");
    const ComSelChannelInfo byDefault;
    EXPECT_EQ(byDefault.channel, ComSelChannelInfo::local.channel);
    EXPECT_EQ(byDefault.option, ComSelChannelInfo::local.option);
    EXPECT_EQ(byDefault.text, ComSelChannelInfo::local.text);
    const ComSelChannelInfo chosen(4, "t", 2);
    EXPECT_EQ(chosen.channel, 4);
    EXPECT_EQ(chosen.option, 2);
    static_assert(sizeof(ComSelChannelInfo) == sizeof(ComSelDeviceIdInfo), "same length");
}

TEST(FactoryTable, ClassListsAndCompoundNames) {
    // Entries stay in the table for the process: each run of the test names new interfaces.
    static int run = 0;
    const std::string list = "IList" + std::to_string(++run);
    const std::string listToo = list + "Too";
    static EchoFactory first("List.A"), second("List.B");
    second.registerFactory(list.c_str());
    ClassIDList before(list.c_str());
    first.registerFactory(list.c_str());
    first.registerFactory(listToo.c_str());  // one factory, two places
    ClassIDList after(list.c_str());
    EXPECT_EQ(before.count(), 1u);
    ASSERT_EQ(after.count(), 2u);
    EXPECT_EQ(after[0], "List.A");
    EXPECT_EQ(after[1], "List.B");
    EXPECT_EQ(ClassIDList("INoSuchList").count(), 0u);
    EXPECT_EQ(ClassIDList(listToo.c_str()).count(), 1u);
    EXPECT_STREQ(Tessaran::Kerna::getErrMsg(0x10030015),
                 "Component error: User or password not valid!");
    String client("Cam"), rest("Video"), nothing;
    EXPECT_EQ(getClassId(client, rest), "Cam.Video");
    EXPECT_EQ(getClassId(client, nothing), "Cam");
    EXPECT_EQ(rest, "Video");
#if GTEST_HAS_DEATH_TEST
    EXPECT_DEATH(after[2], "\\(size_t\\)index < m_internal->ids.size\\(\\)");
#endif
}
