// Client.h
//
// IClient, the abstract logged-in connection through which remote components reach a server,
// and IClient::IFactory, the base of a client class's factory. Concrete clients and their login
// protocol are written outside the library: a client derives from IClient and provides login,
// logout, checkBroken, getUserID and destroy; its factory registers under the interface "Client".
// The framework shares one client among all components of a process that reach one server as one
// user, logs it in when a component is requested, notices a lost connection at the next request,
// and ends it (logout, then destroy, with no framework lock held) when its last reference goes.
#ifndef KERNA_COMPONENT_CLIENT_H_
#define KERNA_COMPONENT_CLIENT_H_

#include "component/ClassID.h"
#include "component/ComPtr.h"
#include "component/FactoryUnknown.h"
#include "component/ServerInfo.h"
#include "component/Unknown.h"
#include "kerna/kerna3/Defs.h"
#include "kerna/kerna3/Function.h"
#include "kerna/kerna3/Time.h"

namespace Tessaran {
namespace Component {

class ClientInternal;
namespace Detail {
class ClientAccess;
}

/// A logged-in connection to a server. Operations other than the virtual ones of a concrete
/// client may be used only on a client the framework has made (through its factory).
class KERNA_API IClient : public IUnknown {
public:
    /// What a status procedure is told; the library itself reports only statusAborted.
    enum Status { statusUnknown = 0, statusLogined = 1, statusAborted = 2, statusBroken = 3 };

    /// A status procedure: custom data, the client's class, the client, the status, a reason.
    typedef Kerna::TFunction5<void, void*, ClassID, TComPtr<IClient>, Status, int> StatusProc;

    /// The factory of a concrete client class, registered under iid() ("Client").
    class KERNA_API IFactory : public IFactoryUnknown {
    public:
        ~IFactory() override;
        /// "Client".
        static const char* iid();
        /// A new client for `serverInfo` with count 1, on which the framework has done nothing
        /// yet, or null. Called by the framework under its client creation lock.
        virtual IClient* create(const ServerInfo& serverInfo) = 0;
        /// The oldest client of this class whose user is `userID`, or null. No reference is
        /// taken: a caller that keeps it passes it through makeComponentInstance.
        IClient* instance(int userID);
    };

    IClient();
    ~IClient() override;

    /// True if the connection has been lost since the login. Called at each request for a
    /// component on a logged-in client, with no framework lock held.
    virtual bool checkBroken() = 0;
    /// Logs in with the data getServerInfo gives; true when logged in. May take long: no
    /// framework lock is held, and two threads may be inside it at once. On false it may set the
    /// last error to one of the framework's rows.
    virtual bool login() = 0;
    /// Ends the connection. Runs right before destroy(), with no framework lock held.
    virtual bool logout() = 0;
    /// Stores the identifier of the connection's user in `id`, which reads -1 on entry. May be
    /// called under the client list's lock: it must not call the framework.
    virtual bool getUserID(int& id) = 0;

    /// Optional operations of a concrete client; these defaults set the last error 0x10030010 and
    /// return false. The library never calls them.
    virtual bool getCurrentTime(Kerna::CTime& time);
    virtual bool setCurrentTime(const Kerna::CTime& time, int option);
    virtual bool loginAgain(const ServerInfo& serverInfo);
    virtual bool checkAuthorityString(const char* authority);
    virtual bool loginFirst();
    virtual bool getChallenge(ServerChallenge& challenge);

    /// Attaches a status procedure (at most 8); false if it is empty, attached already, or no
    /// slot is free.
    virtual bool attachStatusProc(StatusProc proc);
    /// Detaches a status procedure without waiting for its running calls; false if it is empty
    /// or not attached.
    virtual bool detachStatusProc(StatusProc proc);

    /// Fills every field of `info` (but the unused bit and the reserved tail) with the client's
    /// copies; the texts are the client's own, valid while it lives (userName until saveUserName
    /// stores a name). An empty user name is reported at level 3. True.
    bool getServerInfo(ServerInfo& info);
    /// Stores `name` as the user name the first time; later calls change nothing and log at
    /// level 3. True.
    bool saveUserName(const char* name);
    /// The time of the last successful login; the default CTime before it. True.
    bool getLoginTime(Kerna::CTime& time);
    /// Tells the status procedures statusAborted with `reason` (the client lives through the
    /// call), then logs out; the result is that of logout().
    bool abort(int reason);
    void setCustomData(void* data);
    void* getCustomData();

    /// The user under whom the calling thread works (set by every call through a TComPtr with a
    /// client); 0 for a thread that never had one.
    static int getCurrentUserID();

private:
    friend class Detail::ClientAccess;
    ClientInternal* m_internal;
};

}  // namespace Component
}  // namespace Tessaran

#endif  // KERNA_COMPONENT_CLIENT_H_
