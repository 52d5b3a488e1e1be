// ExampleClient.cpp
//
// The example's client, component, factories and query handler.
#include "ExampleClient.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdlib>

namespace RemoteExample {

using namespace Tessaran::Component;

namespace {

std::atomic<int> g_alive{0};
const int kReplyTimeoutSeconds = 2;
const size_t kMaxReply = 1024;

class RemoteText : public IRemoteText {
public:
    explicit RemoteText(ExampleClient* client) : m_client(client) {}
    void destroy() override { delete this; }
    void reserved() override {}
    bool upper(const std::string& text, std::string& result) override {
        return call("CALL UPPER " + text, result);
    }
    bool status(std::string& report) override { return call("STATUS", report); }

private:
    bool call(const std::string& line, std::string& result) {
        std::string reply;
        if (!m_client->request(line, reply) || reply.compare(0, 3, "OK ") != 0) return false;
        result = reply.substr(3);
        return true;
    }
    ExampleClient* m_client;  // the TComPtr that holds this component holds the client
};

}  // namespace

ExampleClient::ExampleClient() { ++g_alive; }
ExampleClient::~ExampleClient() {
    disconnect();
    --g_alive;
}

int ExampleClient::alive() { return g_alive.load(); }

void ExampleClient::destroy() { delete this; }

void ExampleClient::disconnect() {
    if (m_socket >= 0) ::close(m_socket);
    m_socket = -1;
}

bool ExampleClient::login() {
    ServerInfo info;
    getServerInfo(info);
    std::lock_guard<std::mutex> guard(m_lock);
    disconnect();  // a broken connection is replaced
    m_userId = -1;
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(info.port));
    if (info.address == nullptr || ::inet_pton(AF_INET, info.address, &address.sin_addr) != 1)
        return false;
    m_socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (m_socket < 0) return false;
    timeval timeout = {kReplyTimeoutSeconds, 0};
    ::setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    ::setsockopt(m_socket, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);
    std::string reply;
    if (::connect(m_socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        !exchange(std::string("LOGIN ") + info.userName + " " + info.password, reply) ||
        reply.compare(0, 3, "OK ") != 0) {
        disconnect();
        return false;
    }
    m_userId = std::atoi(reply.c_str() + 3);
    return true;
}

bool ExampleClient::checkBroken() {
    std::lock_guard<std::mutex> guard(m_lock);
    if (m_socket < 0) return true;
    // The server never speaks first: a readable socket means it has closed the connection.
    pollfd p = {m_socket, POLLIN, 0};
    if (::poll(&p, 1, 0) <= 0) return false;
    char byte;
    return ::recv(m_socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT) <= 0;
}

bool ExampleClient::logout() {
    std::lock_guard<std::mutex> guard(m_lock);
    std::string reply;
    const bool said = m_socket >= 0 && exchange("LOGOUT", reply);
    disconnect();
    m_userId = -1;
    return said;
}

bool ExampleClient::getUserID(int& id) {
    const int user = m_userId.load();
    if (user >= 0) id = user;
    return true;
}

bool ExampleClient::request(const std::string& line, std::string& reply) {
    std::lock_guard<std::mutex> guard(m_lock);
    if (m_socket < 0) return false;
    if (exchange(line, reply)) return true;
    disconnect();
    return false;
}

bool ExampleClient::exchange(const std::string& line, std::string& reply) {
    const std::string out = line + "\n";
    if (::send(m_socket, out.data(), out.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(out.size()))
        return false;
    reply.clear();
    char c;
    while (reply.size() <= kMaxReply) {
        const ssize_t n = ::recv(m_socket, &c, 1, 0);
        if (n <= 0) return false;
        if (c == '\n') return true;
        reply.push_back(c);
    }
    return false;
}

IClient* ExampleClientFactory::create(const ServerInfo&) { return new ExampleClient; }

IRemoteText* RemoteTextFactory::create(IClient* client) {
    if (client == nullptr) return nullptr;
    return static_cast<IRemoteText*>(Detail::CComponentHelper::makeComponentObject(
        new RemoteText(static_cast<ExampleClient*>(client))));
}

ExampleQueryer::ExampleQueryer(const std::string& address, int port, const std::string& user,
                               const std::string& password)
    : m_address(address), m_port(port), m_user(user), m_password(password) {}

bool ExampleQueryer::getServerInfoByChannel(int channel, Tessaran::Kerna::String& clsid,
                                            ServerInfo& serverInfo) {
    if (channel < 0 || channel > 15) return false;
    clsid = "ExampleClient.Text";
    serverInfo = ServerInfo();
    serverInfo.address = m_address.c_str();
    serverInfo.port = m_port.load();
    serverInfo.userName = m_user.c_str();
    serverInfo.password = m_password.c_str();
    return true;
}

bool ExampleQueryer::getServerInfoByDeviceId(const char*, Tessaran::Kerna::String&, ServerInfo&) {
    return false;
}

void registerExample() {
    static bool registered = [] {
        static ExampleClientFactory clients;
        static RemoteTextFactory texts;
        clients.registerFactory(IClient::IFactory::iid());
        texts.registerFactory(RemoteTextFactory::iid());
        return true;
    }();
    (void)registered;
}

TComPtr<IRemoteText> requestRemoteText(const ServerInfo& serverInfo) {
    IClient* client = nullptr;
    IFactoryUnknown* factory = Detail::CComponentHelper::getComponentFactory(
        RemoteTextFactory::iid(), "ExampleClient.Text", serverInfo, client);
    if (factory == nullptr) return TComPtr<IRemoteText>();
    return TComPtr<IRemoteText>(static_cast<RemoteTextFactory*>(factory)->create(client), client);
}

}  // namespace RemoteExample
