// RemoteProtocol.h
//
// The example's own wire protocol: one request per line of at most 255 bytes, one reply line.
//
//   LOGIN <user> <password>   ->  OK <user id>        | ERR login refused
//   STATUS                    ->  OK user=<name> requests=<n>
//   CALL <operation> <text>   ->  OK <result>         | ERR ...   (operations: UPPER, ECHO)
//   LOGOUT                    ->  OK bye, and the server closes the connection
//   anything else             ->  ERR bad request
//
// A wrong password and an unknown user get the same answer. The session logic is a plain class
// with no sockets, so that it can be tested and fuzzed on its own.
#ifndef KERNA_EXAMPLES_REMOTE_REMOTEPROTOCOL_H_
#define KERNA_EXAMPLES_REMOTE_REMOTEPROTOCOL_H_

#include <cstddef>
#include <string>
#include <vector>

namespace RemoteExample {

/// The longest line, without its "\n".
const size_t kMaxLine = 255;

/// One parsed request.
struct Request {
    enum Verb { login, status, call, logout };
    Verb verb = status;
    std::string user;
    std::string password;
    std::string operation;
    std::string text;
};

/// Parses one line (without its "\n"; a trailing "\r" is allowed). False for anything that is not
/// a well-formed request: an unknown verb, missing or extra words, a user name outside
/// [A-Za-z0-9_.-]{1,32}, a password outside printable characters {1,64}, a control byte.
bool parseRequest(const char* line, size_t length, Request& request);

/// Cuts a byte stream into lines. A line longer than kMaxLine is an overflow: the connection is
/// to be answered and closed.
class LineBuffer {
public:
    /// Takes `length` bytes; false once the pending line has become too long.
    bool feed(const char* data, size_t length);
    /// The next complete line (without "\n"), if there is one.
    bool next(std::string& line);

private:
    std::string m_pending;
    std::vector<std::string> m_lines;
    size_t m_taken = 0;
};

/// An account the server knows.
struct Account {
    std::string user;
    std::string password;
    int userId;
};

/// The state of one connection and the answers of the server.
class Session {
public:
    explicit Session(const std::vector<Account>* accounts) : m_accounts(accounts) {}
    /// The reply line (with "\n") to one request line. `close` is set when the connection is
    /// to end after the reply.
    std::string answer(const std::string& line, bool& close);
    bool loggedIn() const { return m_userId >= 0; }
    const std::string& user() const { return m_user; }

private:
    const std::vector<Account>* m_accounts;
    std::string m_user;
    int m_userId = -1;
    long m_requests = 0;
};

}  // namespace RemoteExample

#endif  // KERNA_EXAMPLES_REMOTE_REMOTEPROTOCOL_H_
