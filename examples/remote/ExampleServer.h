// ExampleServer.h
//
// The example's server: the protocol of RemoteProtocol.h on TCP, bound to the loopback address
// only, one thread that serves every connection with poll(). It survives garbage and clients that
// disconnect in the middle of a request, never prints a password, and stops (closing every
// connection and ending its thread) in stop() or its destructor.
#ifndef KERNA_EXAMPLES_REMOTE_EXAMPLESERVER_H_
#define KERNA_EXAMPLES_REMOTE_EXAMPLESERVER_H_

#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

#include "RemoteProtocol.h"

namespace RemoteExample {

class ExampleServer {
public:
    explicit ExampleServer(std::vector<Account> accounts);
    ~ExampleServer();
    ExampleServer(const ExampleServer&) = delete;
    ExampleServer& operator=(const ExampleServer&) = delete;

    /// Listens on 127.0.0.1:`port` (0: a free port) and starts serving. False if the port can't
    /// be had or the server runs already.
    bool start(uint16_t port = 0);
    /// Closes every connection and the listening socket, and waits for the thread to end.
    void stop();
    /// The port listened on (0 when stopped).
    uint16_t port() const { return m_port; }
    /// Requests answered so far.
    long requests() const { return m_requests.load(); }

private:
    void serve();

    std::vector<Account> m_accounts;
    int m_listener = -1;
    int m_wake[2] = {-1, -1};
    uint16_t m_port = 0;
    std::atomic<long> m_requests{0};
    std::thread m_thread;
};

}  // namespace RemoteExample

#endif  // KERNA_EXAMPLES_REMOTE_EXAMPLESERVER_H_
