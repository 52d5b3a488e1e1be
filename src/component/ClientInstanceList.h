// ClientInstanceList.h
//
// The clients of the process: CClientInstanceList with its idle check, IClientFactoryWrap, which
// makes clients known to the framework, and ClientFactory, the operations the rest of the
// framework calls. Every client alive is in the list, in order of creation, whatever its state;
// all components that reach one server as one user share the first matching client. A client's
// last reference is counted here, and its logout() and destroy() run outside the list's lock.
#ifndef KERNA_SRC_COMPONENT_CLIENTINSTANCELIST_H_
#define KERNA_SRC_COMPONENT_CLIENTINSTANCELIST_H_

#include <cstddef>
#include <list>

#include "component/Client.h"
#include "kerna/kerna3/RecursiveMutex.h"
#include "kerna/kerna3/Timer.h"

namespace Tessaran {
namespace Component {

/// The process-wide list, made when the library is loaded. Its "ClientCheck" timer runs the idle
/// check every 60 ms until stop(). Clients still in it at exit are neither logged out nor ended.
class CClientInstanceList {
public:
    static CClientInstanceList* instance();

    /// The first client of the class part of `clsid` whose user is `userID`, or null; no
    /// reference is taken (getUserID runs under the list's lock).
    IClient* findForUser(const ClassID& clsid, int userID);
    /// The first client of the class part of `clsid` with these server fields (or this user), in
    /// any state, handed out with a reference for the caller; or null.
    IClient* findAndMake(const ClassID& clsid, const ServerInfo& serverInfo);
    IClient* findAndMake(const ClassID& clsid, int userID);
    /// The first client that is not broken with these server fields, or null. With `addRef` the
    /// caller gets a reference, taken under the list's lock; without, none is taken.
    IClient* findAlive(const ClassID& clsid, const ServerInfo& serverInfo, bool addRef = false);
    /// Appends `client`; nothing for null.
    void addClientInstance(IClient* client);
    /// Lowers the client's count under the list's lock, and at 0 takes it out of the list and
    /// calls logout() and destroy() outside the lock. The new count.
    int releaseClientInstance(IClient* client);
    /// The timer's procedure: clients that never logged in, were made by the framework, have had
    /// no attempt for five minutes and have no user left are logged out and ended.
    void removeIdleClientInstance(unsigned long);
    /// Stops the idle check for good (waiting for a running check) and logs at level 4.
    void stop();

    /// Held through the whole creation of a client, so that the check for an existing client and
    /// the addition of the new one are a unit. Taken before the list's lock.
    Kerna::CRecursiveMutex& creationLock() { return m_clientCreationLock; }
    /// For tests: whether `client` is in the list, and how many clients are.
    bool contains(IClient* client);
    size_t size();

    CClientInstanceList();
    ~CClientInstanceList();
    void published() {}
    void atProcessExit();

private:
    CClientInstanceList(const CClientInstanceList&) = delete;
    CClientInstanceList& operator=(const CClientInstanceList&) = delete;

    Kerna::CRecursiveMutex m_clientLock;
    std::list<IClient*> m_clients;
    Kerna::CTimer m_checkTimer;
    Kerna::CRecursiveMutex m_clientCreationLock;
};

/// Wraps the registered factory of a client class; what getComponentFactory gives for "Client".
class IClientFactoryWrap : public IClient::IFactory {
public:
    /// `factory` must be an IClient::IFactory.
    explicit IClientFactoryWrap(IFactoryUnknown* factory);
    const char* clsid() override;
    /// A client for `serverInfo` made on the caller's behalf: an alive client of the list with
    /// these server fields (not for the class "Local"), or a new one with count 1 and in use from
    /// the start. Null if the factory made nothing.
    IClient* create(const ServerInfo& serverInfo) override;
    /// As create, but a new client gets a second reference that keeps it in the list until its
    /// first successful use (or the idle check ends it).
    IClient* createAndMake(const ServerInfo& serverInfo);

private:
    IClient* make(const ServerInfo& serverInfo, bool userCreated);
    IClient::IFactory* m_original;
};

/// The operations the rest of the framework calls.
class ClientFactory {
public:
    /// Finds the factory of the class part of `clsid` under "Client" and has it make a client for
    /// `serverInfo` (level 2 line and last error 0x10030002 without a factory, 0x10030003 if it
    /// made nothing).
    static IClient* createAndMakeClientObject(const ClassID& clsid, const ServerInfo& serverInfo);
    /// CClientInstanceList::releaseClientInstance.
    static int releaseClientObject(IClient* client);
    static IClient* findClientObject(const ClassID& clsid, const ServerInfo& serverInfo);
    static IClient* findClientObject(const ClassID& clsid, int userID);
    /// The one wrap of `factory`, made at the first request and kept for the life of the process.
    static IFactoryUnknown* getClientFactoryWrap(IFactoryUnknown* factory);
    /// The first successful use of a client made by createAndMake drops the list's reference.
    static void markClientUsing(IClient* client);
};

}  // namespace Component
}  // namespace Tessaran

#endif  // KERNA_SRC_COMPONENT_CLIENTINSTANCELIST_H_
