// RemoteProtocol.cpp
//
// Parsing and answering the example protocol's requests.
#include "RemoteProtocol.h"

#include <cctype>
#include <cstring>

namespace RemoteExample {

namespace {

bool userChar(unsigned char c) { return std::isalnum(c) || c == '_' || c == '.' || c == '-'; }
bool printable(unsigned char c) { return c > 0x20 && c < 0x7f; }

// The words of a line split at single blanks; false for an empty word (two blanks in a row, a
// leading or trailing blank). At most `limit` words: the last one takes the rest of the line.
bool splitWords(const std::string& line, size_t limit, std::vector<std::string>& words) {
    size_t start = 0;
    while (true) {
        if (words.size() + 1 == limit) {
            words.push_back(line.substr(start));
            return !words.back().empty();
        }
        const size_t blank = line.find(' ', start);
        const std::string word =
            line.substr(start, blank == std::string::npos ? std::string::npos : blank - start);
        if (word.empty()) return false;
        words.push_back(word);
        if (blank == std::string::npos) return true;
        start = blank + 1;
    }
}

// Compares in time that depends on the lengths only, not on where the texts differ.
bool sameSecret(const std::string& a, const std::string& b) {
    unsigned char diff = a.size() == b.size() ? 0 : 1;
    const size_t n = a.size() > b.size() ? a.size() : b.size();
    for (size_t i = 0; i < n; ++i) {
        const unsigned char x = i < a.size() ? static_cast<unsigned char>(a[i]) : 0;
        const unsigned char y = i < b.size() ? static_cast<unsigned char>(b[i]) : 0;
        diff |= static_cast<unsigned char>(x ^ y);
    }
    return diff == 0;
}

}  // namespace

bool parseRequest(const char* data, size_t length, Request& request) {
    if (data == nullptr || length == 0 || length > kMaxLine) return false;
    if (data[length - 1] == '\r') --length;
    std::string line(data, length);
    for (unsigned char c : line) {
        if (c < 0x20 || c == 0x7f) return false;
    }
    const size_t verbEnd = line.find(' ');
    const std::string verb = line.substr(0, verbEnd);
    if (verb == "STATUS" || verb == "LOGOUT") {
        if (verbEnd != std::string::npos) return false;
        request = Request();
        request.verb = verb == "STATUS" ? Request::status : Request::logout;
        return true;
    }
    if (verbEnd == std::string::npos) return false;
    std::vector<std::string> words;
    if (verb == "LOGIN") {
        if (!splitWords(line.substr(verbEnd + 1), 3, words) || words.size() != 2) return false;
        if (words[1].find(' ') != std::string::npos) return false;
        if (words[0].size() > 32 || words[1].size() > 64) return false;
        for (unsigned char c : words[0]) {
            if (!userChar(c)) return false;
        }
        for (unsigned char c : words[1]) {
            if (!printable(c)) return false;
        }
        request = Request();
        request.verb = Request::login;
        request.user = words[0];
        request.password = words[1];
        return true;
    }
    if (verb == "CALL") {
        if (!splitWords(line.substr(verbEnd + 1), 2, words) || words.size() != 2) return false;
        if (words[0] != "UPPER" && words[0] != "ECHO") return false;
        request = Request();
        request.verb = Request::call;
        request.operation = words[0];
        request.text = words[1];
        return true;
    }
    return false;
}

bool LineBuffer::feed(const char* data, size_t length) {
    for (size_t i = 0; i < length; ++i) {
        if (data[i] == '\n') {
            m_lines.push_back(m_pending);
            m_pending.clear();
        } else {
            m_pending.push_back(data[i]);
            if (m_pending.size() > kMaxLine) return false;
        }
    }
    return true;
}

bool LineBuffer::next(std::string& line) {
    if (m_taken == m_lines.size()) {
        m_lines.clear();
        m_taken = 0;
        return false;
    }
    line = m_lines[m_taken++];
    return true;
}

std::string Session::answer(const std::string& line, bool& close) {
    close = false;
    ++m_requests;
    Request request;
    if (!parseRequest(line.data(), line.size(), request)) return "ERR bad request\n";
    switch (request.verb) {
        case Request::login: {
            // Every account is compared, and a user that does not exist is compared against a
            // stand-in: a wrong password and an unknown user look the same from outside.
            int found = -1;
            for (const Account& account : *m_accounts) {
                const bool userMatches = account.user == request.user;
                const bool passwordMatches = sameSecret(account.password, request.password);
                if (userMatches && passwordMatches && found < 0) found = account.userId;
            }
            if (found < 0) {
                m_userId = -1;
                m_user.clear();
                return "ERR login refused\n";
            }
            m_userId = found;
            m_user = request.user;
            return "OK " + std::to_string(found) + "\n";
        }
        case Request::status:
            if (!loggedIn()) return "ERR not logged in\n";
            return "OK user=" + m_user + " requests=" + std::to_string(m_requests) + "\n";
        case Request::call: {
            if (!loggedIn()) return "ERR not logged in\n";
            std::string result = request.text;
            if (request.operation == "UPPER") {
                for (char& c : result)
                    c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
            }
            return "OK " + result + "\n";
        }
        case Request::logout:
            close = true;
            return "OK bye\n";
    }
    return "ERR bad request\n";
}

}  // namespace RemoteExample
