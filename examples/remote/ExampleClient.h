// ExampleClient.h
//
// A concrete client of the component framework and a component that works through it, as a user
// writes them: ExampleClient speaks the protocol of RemoteProtocol.h to the server that its
// ServerInfo names (address, port, user name, password), and RemoteText is a component whose
// calls go over that connection. The framework shares one client among all components of one
// server and user, logs it in when a component is requested, and notices a lost connection at
// the next request (checkBroken), when it logs the client in again.
//
//   RemoteExample::registerExample();                 // the two factories, once
//   IClient* client = nullptr;
//   IFactoryUnknown* f = CComponentHelper::getComponentFactory("IRemoteText", "ExampleClient.Text",
//                                                              serverInfo, client);
//   TComPtr<IRemoteText> text(f ? static_cast<RemoteTextFactory*>(f)->create(client) : nullptr,
//   client);
#ifndef KERNA_EXAMPLES_REMOTE_EXAMPLECLIENT_H_
#define KERNA_EXAMPLES_REMOTE_EXAMPLECLIENT_H_

#include <kerna/kerna.h>

#include <atomic>
#include <mutex>
#include <string>

namespace RemoteExample {

using Tessaran::Component::IClient;

/// A connection to the example server.
class ExampleClient : public IClient {
public:
    ExampleClient();
    ~ExampleClient() override;

    void destroy() override;
    void reserved() override {}
    /// Connects to the server of getServerInfo and logs in with its user name and password.
    bool login() override;
    /// True if the server has closed the connection (or there is none).
    bool checkBroken() override;
    bool logout() override;
    bool getUserID(int& id) override;

    /// Sends one request line and reads the reply line (without "\n"). False if the connection
    /// fails; it is then closed, and the next request for a component logs in again.
    bool request(const std::string& line, std::string& reply);

    /// Clients alive in the process (for the demo and tests).
    static int alive();

private:
    bool exchange(const std::string& line, std::string& reply);  // under m_lock
    void disconnect();                                           // under m_lock

    std::mutex m_lock;
    int m_socket = -1;
    std::atomic<int> m_userId{-1};
};

/// The factory of ExampleClient, registered under "Client" as "ExampleClient".
class ExampleClientFactory : public IClient::IFactory {
public:
    const char* clsid() override { return "ExampleClient"; }
    IClient* create(const Tessaran::Component::ServerInfo& serverInfo) override;
};

/// The remote component's interface.
class IRemoteText : public Tessaran::Component::IUnknown {
public:
    /// The text in capitals, computed by the server. False if the server can't be reached.
    virtual bool upper(const std::string& text, std::string& result) = 0;
    /// The server's status report for this connection.
    virtual bool status(std::string& report) = 0;
};

/// The factory of the remote component: iid "IRemoteText", class "ExampleClient.Text" (made
/// through clients of the class "ExampleClient").
class RemoteTextFactory : public Tessaran::Component::IFactoryUnknown {
public:
    static const char* iid() { return "IRemoteText"; }
    const char* clsid() override { return "ExampleClient.Text"; }
    /// A component whose calls go through `client` (the client getComponentFactory gave).
    IRemoteText* create(IClient* client);
};

/// Answers a channel with the class "ExampleClient.Text" and the server of this process.
class ExampleQueryer : public Tessaran::Component::IServerInfoQueryer {
public:
    ExampleQueryer(const std::string& address, int port, const std::string& user,
                   const std::string& password);
    void destroy() override { delete this; }
    void reserved() override {}
    bool getServerInfoByChannel(int channel, Tessaran::Kerna::String& clsid,
                                Tessaran::Component::ServerInfo& serverInfo) override;
    bool getServerInfoByDeviceId(const char* deviceId, Tessaran::Kerna::String& clsid,
                                 Tessaran::Component::ServerInfo& serverInfo) override;
    /// Points the channels at another port.
    void setPort(int port) { m_port = port; }

private:
    std::string m_address;
    std::atomic<int> m_port;
    std::string m_user;
    std::string m_password;
};

/// Registers the client factory and the component factory (once per process).
void registerExample();

/// Asks for the component of `serverInfo` and wraps it with its client; empty on failure.
Tessaran::Component::TComPtr<IRemoteText> requestRemoteText(
    const Tessaran::Component::ServerInfo& serverInfo);

}  // namespace RemoteExample

#endif  // KERNA_EXAMPLES_REMOTE_EXAMPLECLIENT_H_
