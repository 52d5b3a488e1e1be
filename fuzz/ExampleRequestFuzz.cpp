// Fuzz target: the remote example's request handling as its server runs it on bytes from the
// network, cut into lines, parsed and answered by a session.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "RemoteProtocol.h"

using namespace RemoteExample;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::vector<Account> accounts = {{"alice", "s3cr3t", 1}, {"bob", "pw", 2}};
    Session session(&accounts);
    LineBuffer lines;
    // The first byte chooses how the stream is cut into reads.
    const size_t piece = size > 0 ? 1 + data[0] % 64 : 1;
    for (size_t at = size > 0 ? 1 : 0; at < size; at += piece) {
        const size_t n = size - at < piece ? size - at : piece;
        const bool fits = lines.feed(reinterpret_cast<const char*>(data + at), n);
        std::string line;
        bool close = false;
        while (!close && lines.next(line)) {
            Request request;
            parseRequest(line.data(), line.size(), request);
            const std::string reply = session.answer(line, close);
            if (reply.empty() || reply.back() != '\n' ||
                (reply.compare(0, 3, "OK ") != 0 && reply.compare(0, 4, "ERR ") != 0)) {
                abort();
            }
        }
        if (close || !fits) break;
    }
    return 0;
}
