// Client.cpp
//
// Client objects: the hidden state of a client, its state machine, its identity as the client
// list compares it, the status signal, the thread's current user and the records ServerInfo and
// ServerChallenge.
#include "component/Client.h"

#include <cstring>

#include "base/Log.h"
#include "base/ProcessObject.h"
#include "component/ClientInstanceList.h"
#include "component/ClientInternal.h"
#include "component/UnknownInternal.h"
#include "kerna/kerna3/Error.h"
#include "kerna/kerna3/ThreadSpecific.h"

namespace Tessaran {
namespace Component {

using Kerna::CGuard;

const ServerInfo ServerInfo::none;

ServerChallenge::ServerChallenge() : challengeValues() {}

namespace {

const int kNotProvided = 0x10030010;

// The text fields of ServerInfo, in the order of the record; the first eleven take part in the
// identity of a client, textOption5 and textOption9 do not.
typedef const char* ServerInfo::*TextField;
const TextField kTextFields[13] = {
    &ServerInfo::address,     &ServerInfo::userName,     &ServerInfo::password,
    &ServerInfo::textOption1, &ServerInfo::textOption2,  &ServerInfo::textOption3,
    &ServerInfo::textOption4, &ServerInfo::textOption6,  &ServerInfo::textOption7,
    &ServerInfo::textOption8, &ServerInfo::textOption10, &ServerInfo::textOption5,
    &ServerInfo::textOption9};
const int kIdentityTexts = 11;
const int kUserNameText = 1;

const char* orEmpty(const char* text) { return text != nullptr ? text : ""; }

// The thread's current user.
struct CurrentUser {
    Kerna::CThreadSpecific slot;
    void published() {}
    void atProcessExit() {}
};

Kerna::CThreadSpecific& currentUserSlot() {
    return Kerna::Detail::ProcessObject<CurrentUser>::get()->slot;
}

uint64_t monotonicNow() { return Kerna::CTime::getCurrentMilliSecond(); }
std::atomic<uint64_t (*)()> g_clientClock{&monotonicNow};

ClientInternal* internalOf(IClient* client) {
    KERNA_ASSERT(client != NULL && Detail::ClientAccess::of(client) != NULL);
    return Detail::ClientAccess::of(client);
}

// The length of the class part of `clsid`: up to its first ".".
size_t classPartLength(const char* clsid) {
    const char* dot = std::strchr(clsid, '.');
    return dot != nullptr ? static_cast<size_t>(dot - clsid) : std::strlen(clsid);
}

bool sameClassPart(const ClientInternal* in, const ClassID& clsid) {
    const char* name = orEmpty(clsid.name);
    return std::strncmp(in->classId.c_str(), name, classPartLength(name)) == 0;
}

}  // namespace

ClientInternal::ClientInternal(const ClassID& clsid, const ServerInfo& serverInfo,
                               bool userCreatedIn)
    : classId(orEmpty(clsid.name)), info(serverInfo), userCreated(userCreatedIn) {
    for (int i = 0; i < 13; ++i) {
        texts[i] = orEmpty(serverInfo.*kTextFields[i]);
        info.*kTextFields[i] = texts[i].c_str();
    }
    lastActiveTime.store(Detail::clientClockNow());
}

IClient::IClient() : m_internal(nullptr) { Detail::UnknownAccess::of(this)->isClient = true; }

IClient::~IClient() { delete m_internal; }

IClient::IFactory::~IFactory() {}

const char* IClient::IFactory::iid() { return "Client"; }

IClient* IClient::IFactory::instance(int userID) {
    return CClientInstanceList::instance()->findForUser(ClassID(clsid()), userID);
}

bool IClient::getCurrentTime(Kerna::CTime&) {
    Kerna::setLastError(kNotProvided);
    return false;
}
bool IClient::setCurrentTime(const Kerna::CTime&, int) {
    Kerna::setLastError(kNotProvided);
    return false;
}
bool IClient::loginAgain(const ServerInfo&) {
    Kerna::setLastError(kNotProvided);
    return false;
}
bool IClient::checkAuthorityString(const char*) {
    Kerna::setLastError(kNotProvided);
    return false;
}
bool IClient::loginFirst() {
    Kerna::setLastError(kNotProvided);
    return false;
}
bool IClient::getChallenge(ServerChallenge&) {
    Kerna::setLastError(kNotProvided);
    return false;
}

bool IClient::attachStatusProc(StatusProc proc) {
    KERNA_ASSERT(m_internal);
    return m_internal->statusSignal.attach(proc) > 0;
}

bool IClient::detachStatusProc(StatusProc proc) {
    KERNA_ASSERT(m_internal);
    return m_internal->statusSignal.detach(proc, false) >= 0;
}

bool IClient::getServerInfo(ServerInfo& info) {
    KERNA_ASSERT(m_internal);
    bool emptyUser;
    {
        CGuard guard(m_internal->fieldLock);
        const ServerInfo& own = m_internal->info;
        // Every field but the unused bit and the reserved tail, which stay as they were.
        info.address = own.address;
        info.port = own.port;
        info.userName = own.userName;
        info.password = own.password;
        info.textOption1 = own.textOption1;
        info.byteOption1 = own.byteOption1;
        info.byteOption2 = own.byteOption2;
        info.shortOption1 = own.shortOption1;
        info.textOption2 = own.textOption2;
        info.textOption3 = own.textOption3;
        info.textOption4 = own.textOption4;
        info.textOption5 = own.textOption5;
        info.intOption1 = own.intOption1;
        info.textOption6 = own.textOption6;
        info.byteOption3 = own.byteOption3;
        info.flagOption = own.flagOption;
        info.bitsOption = own.bitsOption;
        info.shortOption2 = own.shortOption2;
        info.intOption2 = own.intOption2;
        info.intOption3 = own.intOption3;
        info.textOption7 = own.textOption7;
        info.textOption8 = own.textOption8;
        info.textOption9 = own.textOption9;
        info.textOption10 = own.textOption10;
        info.byteOption4 = own.byteOption4;
        emptyUser = m_internal->texts[kUserNameText].empty();
    }
    if (emptyUser)
        KERNA_LOG(3, "this:%p userName of client is a null string!\n", static_cast<void*>(this));
    return true;
}

bool IClient::saveUserName(const char* name) {
    if (m_internal == nullptr) {
        KERNA_LOG(2, "this:%p client has no state yet, user name not saved\n",
                  static_cast<void*>(this));
        return true;
    }
    bool saved;
    {
        CGuard guard(m_internal->fieldLock);
        saved = m_internal->userNameSaved;
        if (!saved) {
            m_internal->texts[kUserNameText] = orEmpty(name);
            m_internal->info.userName = m_internal->texts[kUserNameText].c_str();
            m_internal->userNameSaved = true;
        }
    }
    if (saved)
        KERNA_LOG(3, "this:%p username of client has already saved.\n", static_cast<void*>(this));
    return true;
}

bool IClient::getLoginTime(Kerna::CTime& time) {
    KERNA_ASSERT(m_internal);
    CGuard guard(m_internal->fieldLock);
    time = m_internal->loginTime;
    return true;
}

bool IClient::abort(int reason) {
    KERNA_ASSERT(m_internal);
    bool result;
    {
        // The client lives through the whole call, whatever the status procedures release.
        Detail::CComponentHelper::addRef(this);
        TComPtr<IClient> self(this);
        m_internal->statusSignal(m_internal->customData.load(),
                                 ClassID(m_internal->classId.c_str()), self, statusAborted, reason);
        result = logout();
    }
    return result;
}

void IClient::setCustomData(void* data) {
    KERNA_ASSERT(m_internal);
    m_internal->customData.store(data);
}

void* IClient::getCustomData() {
    KERNA_ASSERT(m_internal);
    return m_internal->customData.load();
}

int IClient::getCurrentUserID() {
    void* value = nullptr;
    if (!currentUserSlot().getValue(&value)) return 0;
    return static_cast<int>(reinterpret_cast<intptr_t>(value));
}

namespace Detail {

bool CComponentHelper::setAsCurrentUser(IClient* client) {
    if (client == nullptr) return false;
    int id = -1;
    client->getUserID(id);
    return currentUserSlot().setValue(reinterpret_cast<const void*>(static_cast<intptr_t>(id)));
}

void clientCreateInternal(IClient* client, const ClassID& clsid, const ServerInfo& info,
                          bool userCreated) {
    KERNA_ASSERT(client != NULL && ClientAccess::of(client) == NULL);
    ClientAccess::set(client, new ClientInternal(clsid, info, userCreated));
}

bool clientLogin(IClient* client) {
    ClientInternal* in = internalOf(client);
    in->lastActiveTime.store(clientClockNow());
    if (!client->login()) return false;
    const Kerna::CTime now = Kerna::CTime::getCurrentTime();
    {
        CGuard guard(in->fieldLock);
        in->loginTime = now;
    }
    in->state.store(clientStateLogined);
    return true;
}

bool clientUpdateBroken(IClient* client) {
    ClientInternal* in = internalOf(client);
    in->lastActiveTime.store(clientClockNow());
    if (!client->checkBroken()) return false;
    in->state.store(clientStateBroken);
    return true;
}

int clientState(IClient* client) { return internalOf(client)->state.load(); }
bool clientIsCreated(IClient* client) { return clientState(client) == clientStateCreated; }
bool clientIsLogined(IClient* client) { return clientState(client) == clientStateLogined; }
bool clientIsBroken(IClient* client) { return clientState(client) == clientStateBroken; }

bool clientIsIdle(IClient* client) {
    const uint64_t now = clientClockNow();
    ClientInternal* in = internalOf(client);
    const uint64_t last = in->lastActiveTime.load();
    return in->state.load() == clientStateCreated && !in->userCreated && now > last &&
           now - last > kClientIdleMilliseconds;
}

bool clientIsSameAs(IClient* client, const ClassID& clsid, int userID) {
    ClientInternal* in = internalOf(client);
    int curuid = -1;
    client->getUserID(curuid);
    return sameClassPart(in, clsid) && curuid == userID;
}

bool clientIsSameAs(IClient* client, const ClassID& clsid, const ServerInfo& info) {
    ClientInternal* in = internalOf(client);
    if (!sameClassPart(in, clsid)) return false;
    const ServerInfo& own = in->info;
    if (own.port != info.port || own.byteOption1 != info.byteOption1 ||
        own.byteOption2 != info.byteOption2 || own.intOption1 != info.intOption1 ||
        own.byteOption3 != info.byteOption3 || own.flagOption != info.flagOption ||
        own.shortOption2 != info.shortOption2 || own.intOption2 != info.intOption2 ||
        own.byteOption4 != info.byteOption4) {
        return false;
    }
    CGuard guard(in->fieldLock);  // the user name may be saved meanwhile
    for (int i = 0; i < kIdentityTexts; ++i) {
        if (in->texts[i] != orEmpty(info.*kTextFields[i])) return false;
    }
    return true;
}

long clientGetAndMarkUsing(IClient* client) { return internalOf(client)->inUse.exchange(1); }

uint64_t clientClockNow() { return g_clientClock.load(std::memory_order_acquire)(); }

void setClientClock(uint64_t (*now)()) {
    g_clientClock.store(now != nullptr ? now : &monotonicNow, std::memory_order_release);
}

}  // namespace Detail
}  // namespace Component
}  // namespace Tessaran
