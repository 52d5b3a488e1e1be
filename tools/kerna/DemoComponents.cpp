// DemoComponents.cpp
//
// The component scene of `kerna demo`: one request for a remote component end to end, through
// the example's loopback server and client (examples/remote/), then a second request sharing
// the client, then the server stopped and the broken client mended at the next request.
#include <kerna/kerna.h>
#include <stdio.h>

#include <string>

#include "Commands.h"
#include "ExampleClient.h"
#include "ExampleServer.h"

using namespace Tessaran::Component;
using RemoteExample::ExampleClient;
using RemoteExample::IRemoteText;

namespace {

// Asks for the component of channel 3 as a caller does: class and server from the query
// handler, then the factory and the client from the framework.
TComPtr<IRemoteText> componentOfChannel(int channel) {
    Tessaran::Kerna::String clsid;
    ServerInfo server;
    if (!CServerInfoQueryerHelper::instance()->getServerInfoByChannel(channel, clsid, server)) {
        return TComPtr<IRemoteText>();
    }
    printf("  channel %d -> class %s on %s:%d as user %s\n", channel, clsid.c_str(), server.address,
           server.port, server.userName);
    return RemoteExample::requestRemoteText(server);
}

void use(const char* what, TComPtr<IRemoteText>& text) {
    std::string result, report;
    if (!text) {
        printf("  %s: no component (the request failed)\n", what);
        return;
    }
    const bool called = text->upper("hello over loopback", result);
    printf("  %s: client %p, user %d, upper -> %s\n", what, static_cast<void*>(text.getClient()),
           IClient::getCurrentUserID(), called ? result.c_str() : "(call failed)");
    if (text->status(report)) printf("  status report: %s\n", report.c_str());
}

}  // namespace

namespace KernaTool {

void demoComponents() {
    printf("\n== components: a remote component through a client on a loopback server\n");
    RemoteExample::ExampleServer server({{"alice", "wonderland", 1001}});
    if (!server.start()) {
        printf("  the loopback server could not start; scene skipped\n");
        return;
    }
    RemoteExample::registerExample();
    RemoteExample::ExampleQueryer* queryer =
        static_cast<RemoteExample::ExampleQueryer*>(Detail::CComponentHelper::makeComponentObject(
            new RemoteExample::ExampleQueryer("127.0.0.1", server.port(), "alice", "wonderland")));
    if (!setQueryerHandler(TComPtr<IServerInfoQueryer>(queryer))) return;

    printf("request 1: no client yet: one is made, logged in, and kept by the caller\n");
    TComPtr<IRemoteText> first = componentOfChannel(3);
    use("request 1", first);
    printf("request 2: equal server fields share the client\n");
    TComPtr<IRemoteText> second = componentOfChannel(3);
    use("request 2", second);
    printf("  shared: %s, clients alive: %d\n",
           first.getClient() == second.getClient() ? "yes" : "no", ExampleClient::alive());

    printf(
        "the server stops; the next request notices the broken connection and can't log in "
        "again\n");
    const uint16_t port = server.port();
    server.stop();
    Tessaran::Kerna::setPrintLogLevel(6);
    TComPtr<IRemoteText> third = componentOfChannel(3);
    Tessaran::Kerna::setPrintLogLevel(4);
    use("request 3", third);
    printf("the server is back on port %u; the broken client logs in again at the next request\n",
           port);
    if (!server.start(port)) queryer->setPort((server.start() ? server.port() : 0));
    if (server.port() != port)
        printf("  (port %u was taken: the server listens on %u)\n", port, server.port());
    TComPtr<IRemoteText> fourth = componentOfChannel(3);
    use("request 4", fourth);
    printf("  same client as before: %s\n",
           fourth.getClient() == first.getClient() ? "yes" : "no, a new one");

    first = second = third = fourth = TComPtr<IRemoteText>();
    printf("all released: the client logged out and was destroyed, clients alive: %d\n",
           ExampleClient::alive());
    server.stop();
}

}  // namespace KernaTool
