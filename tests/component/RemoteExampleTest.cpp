// Tests of the remote example (examples/remote/): its protocol against known answers, its server
// on loopback with garbage, a disconnect in the middle of a request and refused logins, and a
// remote component through the framework across a server that stops and comes back.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>

#include "ExampleClient.h"
#include "ExampleServer.h"
#include "RemoteProtocol.h"
#include "support/LogCapture.h"

using namespace RemoteExample;
using KernaTest::LogCapture;

namespace {

const std::vector<Account> kAccounts = {{"alice", "s3cr3t-Pa55", 1001}, {"bob", "hunter2", 1002}};

// A raw connection to the server, for what a well-behaved client never sends.
class RawConnection {
public:
    explicit RawConnection(uint16_t port) : m_fd(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in a = {};
        a.sin_family = AF_INET;
        a.sin_port = htons(port);
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        timeval timeout = {5, 0};
        ::setsockopt(m_fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
        connected = ::connect(m_fd, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0;
    }
    ~RawConnection() { ::close(m_fd); }
    void send(const std::string& bytes) { ::send(m_fd, bytes.data(), bytes.size(), MSG_NOSIGNAL); }
    std::string line() {
        std::string out;
        char c;
        while (::recv(m_fd, &c, 1, 0) == 1 && c != '\n') out.push_back(c);
        return out;
    }
    bool connected;

private:
    int m_fd;
};

}  // namespace

TEST(RemoteProtocol, ParsesRequestsAndRefusesEverythingElse) {
    Request r;
    ASSERT_TRUE(parseRequest("LOGIN alice s3cr3t-Pa55", 23, r));
    EXPECT_EQ(r.verb, Request::login);
    EXPECT_EQ(r.user, "alice");
    EXPECT_EQ(r.password, "s3cr3t-Pa55");
    ASSERT_TRUE(parseRequest("CALL UPPER two words\r", 21, r));
    EXPECT_EQ(r.text, "two words");
    EXPECT_TRUE(parseRequest("STATUS", 6, r));
    for (const char* bad :
         {"", "STATUS ", "LOGIN alice", "LOGIN alice pw extra", "LOGIN  alice pw", "LOGIN al!ce pw",
          "CALL DELETE x", "CALL UPPER", "login alice pw", "LOGOUT now", "CALL ECHO a\tb"}) {
        EXPECT_FALSE(parseRequest(bad, strlen(bad), r)) << bad;
    }
    const std::string longest = "CALL ECHO " + std::string(kMaxLine - 10, 'x');
    EXPECT_TRUE(parseRequest(longest.data(), longest.size(), r));
    EXPECT_FALSE(parseRequest((longest + "x").data(), longest.size() + 1, r));
    LineBuffer lines;
    EXPECT_TRUE(lines.feed("STAT", 4));
    EXPECT_TRUE(lines.feed("US\nLOG", 6));
    std::string line;
    ASSERT_TRUE(lines.next(line));
    EXPECT_EQ(line, "STATUS");
    EXPECT_FALSE(lines.next(line));
    EXPECT_FALSE(lines.feed(std::string(kMaxLine, 'y').data(), kMaxLine));
}

TEST(RemoteProtocol, WrongPasswordAndUnknownUserAreAnsweredAlike) {
    Session session(&kAccounts);
    bool close = false;
    EXPECT_EQ(session.answer("STATUS", close), "ERR not logged in\n");
    const std::string wrongPassword = session.answer("LOGIN alice hunter2", close);
    const std::string unknownUser = session.answer("LOGIN mallory s3cr3t-Pa55", close);
    EXPECT_EQ(wrongPassword, "ERR login refused\n");
    EXPECT_EQ(unknownUser, wrongPassword);
    EXPECT_EQ(session.answer("LOGIN bob hunter2", close), "OK 1002\n");
    EXPECT_EQ(session.answer("CALL UPPER abc", close), "OK ABC\n");
    EXPECT_EQ(session.answer("\x01\x02garbage", close), "ERR bad request\n");
    EXPECT_EQ(session.answer("STATUS", close), "OK user=bob requests=7\n");
    EXPECT_FALSE(close);
    EXPECT_EQ(session.answer("LOGOUT", close), "OK bye\n");
    EXPECT_TRUE(close);
}

TEST(ExampleServer, SurvivesGarbageAndHalfRequestsAndNeverLogsAPassword) {
    LogCapture log(6);
    ExampleServer server(kAccounts);
    ASSERT_TRUE(server.start());
    {
        RawConnection rude(server.port());
        ASSERT_TRUE(rude.connected);
        rude.send(std::string("\xff\xfe garbage\n", 11));
        EXPECT_EQ(rude.line(), "ERR bad request");
        rude.send("LOGIN alice s3cr");  // and gone in the middle of the request
    }
    {
        RawConnection flood(server.port());
        flood.send(std::string(kMaxLine + 1, 'z'));  // one byte too many, all read by the server
        EXPECT_EQ(flood.line(), "ERR bad request");
        EXPECT_EQ(flood.line(), "");  // then the server closed the connection
    }
    RawConnection polite(server.port());
    polite.send(
        "LOGIN alice wrong\nLOGIN nobody s3cr3t-Pa55\nLOGIN alice s3cr3t-Pa55\nCALL ECHO hi\n");
    EXPECT_EQ(polite.line(), "ERR login refused");
    EXPECT_EQ(polite.line(), "ERR login refused");
    EXPECT_EQ(polite.line(), "OK 1001");
    EXPECT_EQ(polite.line(), "OK hi");
    server.stop();
    bool loggedIn = false;
    for (const std::string& line : log.lines()) {
        EXPECT_EQ(line.find("s3cr3t"), std::string::npos) << line;
        loggedIn |= line.find("user alice logged in") != std::string::npos;
    }
    EXPECT_TRUE(loggedIn);
}

TEST(RemoteExample, ARemoteComponentAcrossAServerThatStopsAndComesBack) {
    LogCapture log(2);
    ExampleServer server(kAccounts);
    ASSERT_TRUE(server.start());
    registerExample();
    Tessaran::Component::ServerInfo info;
    info.address = "127.0.0.1";
    info.port = server.port();
    info.userName = "bob";
    info.password = "hunter2";
    const int aliveBefore = ExampleClient::alive();
    auto first = requestRemoteText(info);
    ASSERT_TRUE(first);
    std::string result;
    EXPECT_TRUE(first->upper("remote", result));
    EXPECT_EQ(result, "REMOTE");
    EXPECT_EQ(Tessaran::Component::IClient::getCurrentUserID(), 1002);
    auto second = requestRemoteText(info);
    EXPECT_EQ(second.getClient(), first.getClient());
    const uint16_t port = server.port();
    server.stop();
    EXPECT_FALSE(first->upper("x", result));  // the call finds the connection closed
    EXPECT_FALSE(requestRemoteText(info));     // broken, and no server to log in again
    if (server.start(port)) {  // the same port: the same client logs in again
        auto third = requestRemoteText(info);
        ASSERT_TRUE(third);
        EXPECT_EQ(third.getClient(), first.getClient());
        EXPECT_TRUE(third->status(result));
        EXPECT_EQ(result, "user=bob requests=2");  // the login and this one
    }
    first = second = decltype(first)();
    EXPECT_EQ(ExampleClient::alive(), aliveBefore);
    server.stop();
}
