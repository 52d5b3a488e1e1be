// ClientInternal.h
//
// The hidden state of a client object, the framework's helpers on any client (state machine,
// identity, first use), and the clock the client list reads for its idle check.
#ifndef KERNA_SRC_COMPONENT_CLIENTINTERNAL_H_
#define KERNA_SRC_COMPONENT_CLIENTINTERNAL_H_

#include <atomic>
#include <cstdint>
#include <string>

#include "component/Client.h"
#include "kerna/kerna3/Mutex.h"
#include "kerna/kerna3/SignalTemplate.h"
#include "kerna/kerna3/Time.h"

namespace Tessaran {
namespace Component {

/// Client states.
enum ClientState { clientStateCreated = 0, clientStateLogined = 1, clientStateBroken = 2 };

/// Milliseconds after the last login attempt at which a client that never logged in is idle.
const uint64_t kClientIdleMilliseconds = 300000;

class ClientInternal {
public:
    ClientInternal(const ClassID& clsid, const ServerInfo& serverInfo, bool userCreatedIn);
    ClientInternal(const ClientInternal&) = delete;
    ClientInternal& operator=(const ClientInternal&) = delete;

    std::string classId;
    /// The copies of the server data: scalars in `info`, whose text pointers point at `texts`.
    ServerInfo info;
    std::string texts[13];
    bool userNameSaved = false;
    std::atomic<int32_t> state{clientStateCreated};
    Kerna::CTime loginTime;
    std::atomic<uint64_t> lastActiveTime{0};
    bool userCreated;
    std::atomic<int32_t> inUse{0};
    std::atomic<void*> customData{nullptr};
    Kerna::TSignal5<void*, ClassID, TComPtr<IClient>, IClient::Status, int> statusSignal{8};
    /// Guards what a client may change after creation while others read it: the user name and
    /// the login time. A leaf lock: nothing else is taken or called under it.
    Kerna::CMutex fieldLock;
};

namespace Detail {

/// The framework's access to the hidden state of IClient.
class ClientAccess {
public:
    static ClientInternal* of(IClient* client) { return client->m_internal; }
    static void set(IClient* client, ClientInternal* internal) { client->m_internal = internal; }
};

/// Gives a client made by its factory its hidden state: state created, not in use, last active now.
void clientCreateInternal(IClient* client, const ClassID& clsid, const ServerInfo& info,
                          bool userCreated);
/// Logs the client in (no lock held): last active now, then login(); on success the login time
/// and the state logged-in. The result of login().
bool clientLogin(IClient* client);
/// Asks a logged-in client whether its connection is lost (no lock held): last active now, then
/// checkBroken(); true moves it to broken.
bool clientUpdateBroken(IClient* client);
/// The client's state (ClientState).
int clientState(IClient* client);
bool clientIsCreated(IClient* client);
bool clientIsLogined(IClient* client);
bool clientIsBroken(IClient* client);
/// Never logged in, made by the framework, and more than five minutes past its last attempt.
bool clientIsIdle(IClient* client);
/// Same class part (up to the first "." of `clsid`) and the same user.
bool clientIsSameAs(IClient* client, const ClassID& clsid, int userID);
/// Same class part and the same server fields.
bool clientIsSameAs(IClient* client, const ClassID& clsid, const ServerInfo& info);
/// Marks the client in use; the former mark (0 for the first use).
long clientGetAndMarkUsing(IClient* client);

/// The clock of the client list (monotonic milliseconds): creation, login attempts and broken
/// checks are stamped with it, and the idle check reads it.
uint64_t clientClockNow();
/// Puts a clock of the test's own under the client list (null brings back the monotonic clock).
void setClientClock(uint64_t (*now)());

}  // namespace Detail
}  // namespace Component
}  // namespace Tessaran

#endif  // KERNA_SRC_COMPONENT_CLIENTINTERNAL_H_
