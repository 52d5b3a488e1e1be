// ExampleServer.cpp
//
// The loopback server of the example.
#include "ExampleServer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <kerna/kerna3/PrintLog.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <memory>
#include <string>

namespace RemoteExample {

namespace {

const size_t kMaxConnections = 64;

void sendAll(int fd, const std::string& text) {
    size_t sent = 0;
    while (sent < text.size()) {
        const ssize_t n =
            ::send(fd, text.data() + sent, text.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n <= 0) return;  // a client that doesn't read loses its replies
        sent += static_cast<size_t>(n);
    }
}

struct Connection {
    explicit Connection(const std::vector<Account>* accounts) : session(accounts) {}
    LineBuffer lines;
    Session session;
};

}  // namespace

ExampleServer::ExampleServer(std::vector<Account> accounts) : m_accounts(std::move(accounts)) {}

ExampleServer::~ExampleServer() { stop(); }

bool ExampleServer::start(uint16_t port) {
    if (m_thread.joinable()) return false;
    m_listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (m_listener < 0) return false;
    const int on = 1;
    ::setsockopt(m_listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);  // loopback only
    address.sin_port = htons(port);
    socklen_t length = sizeof address;
    if (::bind(m_listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(m_listener, 16) != 0 ||
        ::getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &length) != 0 ||
        ::pipe2(m_wake, O_CLOEXEC | O_NONBLOCK) != 0) {
        ::close(m_listener);
        m_listener = -1;
        return false;
    }
    m_port = ntohs(address.sin_port);
    m_thread = std::thread(&ExampleServer::serve, this);
    return true;
}

void ExampleServer::stop() {
    if (!m_thread.joinable()) return;
    const char byte = 0;
    (void)!::write(m_wake[1], &byte, 1);
    m_thread.join();
    ::close(m_wake[0]);
    ::close(m_wake[1]);
    ::close(m_listener);
    m_listener = m_wake[0] = m_wake[1] = -1;
    m_port = 0;
}

void ExampleServer::serve() {
    std::map<int, std::unique_ptr<Connection> > connections;
    auto drop = [&](int fd) {
        ::close(fd);
        connections.erase(fd);
    };
    while (true) {
        std::vector<pollfd> watched = {{m_wake[0], POLLIN, 0}, {m_listener, POLLIN, 0}};
        for (const auto& c : connections) watched.push_back({c.first, POLLIN, 0});
        if (::poll(watched.data(), watched.size(), 1000) < 0 && errno != EINTR) break;
        if (watched[0].revents != 0) break;  // stop
        if (watched[1].revents & POLLIN) {
            const int fd = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
            if (fd >= 0) {
                if (connections.size() >= kMaxConnections) {
                    ::close(fd);
                } else {
                    connections[fd].reset(new Connection(&m_accounts));
                }
            }
        }
        for (size_t i = 2; i < watched.size(); ++i) {
            if (watched[i].revents == 0) continue;
            const int fd = watched[i].fd;
            Connection& c = *connections[fd];
            char buffer[512];
            const ssize_t n = ::recv(fd, buffer, sizeof buffer, 0);
            if (n <= 0) {  // closed, perhaps in the middle of a request: forget it
                if (n == 0 || (errno != EAGAIN && errno != EINTR)) drop(fd);
                continue;
            }
            const bool fits = c.lines.feed(buffer, static_cast<size_t>(n));
            std::string line;
            bool close = false;
            while (!close && c.lines.next(line)) {
                const bool wasIn = c.session.loggedIn();
                sendAll(fd, c.session.answer(line, close));
                ++m_requests;
                // The user name only; never the password.
                if (!wasIn && c.session.loggedIn()) {
                    Tessaran::Kerna::logLibName(5, "ExampleServer", "user %s logged in\n",
                                                c.session.user().c_str());
                }
            }
            if (!fits) sendAll(fd, "ERR bad request\n");
            if (close || !fits) drop(fd);
        }
    }
    for (const auto& c : connections) ::close(c.first);
}

}  // namespace RemoteExample
