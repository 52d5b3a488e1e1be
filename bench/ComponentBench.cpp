// The component framework's hot paths beside what a user would write instead: TComPtr copy and
// drop (addRef and release) beside std::shared_ptr; a signal of 8 delegates beside a vector of
// std::function under std::mutex; and a repeated request for the factory of a component whose
// client exists already, with 10, 100 and 1,000 clients in the list (the list is walked).
#include <benchmark/benchmark.h>

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "component/Client.h"
#include "component/ComPtr.h"
#include "component/ComponentHelper.h"
#include "component/FactoryUnknown.h"
#include "kerna/kerna3/SignalTemplate.h"

using namespace Tessaran::Component;
using Tessaran::Component::Detail::CComponentHelper;

namespace {

class Thing : public IUnknown {
public:
    void destroy() override { delete this; }
    void reserved() override {}
};

void BM_TComPtrCopyDrop(benchmark::State& state) {
    TComPtr<Thing> held(static_cast<Thing*>(CComponentHelper::makeComponentObject(new Thing)));
    for (auto _ : state) {
        TComPtr<Thing> copy(held);
        benchmark::DoNotOptimize(copy.get());
    }
}
BENCHMARK(BM_TComPtrCopyDrop);

void BM_SharedPtrCopyDrop(benchmark::State& state) {
    std::shared_ptr<int> held = std::make_shared<int>(1);
    for (auto _ : state) {
        std::shared_ptr<int> copy(held);
        benchmark::DoNotOptimize(copy.get());
    }
}
BENCHMARK(BM_SharedPtrCopyDrop);

// Signals: 8 listeners, each adding to a counter.
struct Counter {
    long sum = 0;
    void add(int v) { sum += v; }
};

void BM_Signal8Delegates(benchmark::State& state) {
    Tessaran::Kerna::TSignal1<int> signal(8);
    Counter counters[8];
    for (Counter& c : counters)
        signal.attach(Tessaran::Kerna::TSignal1<int>::Proc(&Counter::add, &c));
    for (auto _ : state) signal(1);
    benchmark::DoNotOptimize(counters[7].sum);
}
BENCHMARK(BM_Signal8Delegates);

// The same guarantee with the standard library: the lock is not held during a call, so a
// listener may attach or detach; the list is copied under the lock for each invocation.
void BM_StdFunctionVector8Snapshot(benchmark::State& state) {
    std::mutex lock;
    std::vector<std::function<void(int)> > listeners;
    Counter counters[8];
    for (Counter& c : counters) listeners.push_back([&c](int v) { c.add(v); });
    for (auto _ : state) {
        std::vector<std::function<void(int)> > snapshot;
        {
            std::lock_guard<std::mutex> guard(lock);
            snapshot = listeners;
        }
        for (auto& f : snapshot) f(1);
    }
    benchmark::DoNotOptimize(counters[7].sum);
}
BENCHMARK(BM_StdFunctionVector8Snapshot);

// A request for the factory of an existing, logged-in client.
class BenchClient : public IClient {
public:
    explicit BenchClient(int user) : m_user(user) {}
    void destroy() override { delete this; }
    void reserved() override {}
    bool checkBroken() override { return false; }
    bool login() override { return true; }
    bool logout() override { return true; }
    bool getUserID(int& id) override {
        id = m_user;
        return true;
    }

private:
    int m_user;
};

class BenchClientFactory : public IClient::IFactory {
public:
    const char* clsid() override { return "Bench"; }
    IClient* create(const ServerInfo& info) override { return new BenchClient(info.port); }
};

class BenchComponentFactory : public IFactoryUnknown {
public:
    const char* clsid() override { return "Bench.Thing"; }
};

struct BenchClients {
    BenchClients() {
        clients.registerFactory("Client");
        things.registerFactory("IThing");
    }
    // Makes clients up to `count` (ports 1 to count) and keeps one reference on each.
    void fill(int count) {
        while (static_cast<int>(held.size()) < count) {
            ServerInfo info;
            info.address = "127.0.0.1";
            info.port = static_cast<int>(held.size()) + 1;
            info.userName = "bench";
            IClient* client = nullptr;
            CComponentHelper::getComponentFactory("IThing", "Bench.Thing", info, client);
            held.push_back(client);
        }
    }
    BenchClientFactory clients;
    BenchComponentFactory things;
    std::vector<IClient*> held;
};

void BM_GetComponentFactoryExistingClient(benchmark::State& state) {
    static BenchClients* bench = new BenchClients;  // clients stay for the process
    const int count = static_cast<int>(state.range(0));
    bench->fill(count);
    ServerInfo last;  // the newest of `count` clients: the walk passes all the others
    last.address = "127.0.0.1";
    last.port = count;
    last.userName = "bench";
    for (auto _ : state) {
        IClient* client = nullptr;
        benchmark::DoNotOptimize(
            CComponentHelper::getComponentFactory("IThing", "Bench.Thing", last, client));
        CComponentHelper::release(client);
    }
}
BENCHMARK(BM_GetComponentFactoryExistingClient)->Arg(10)->Arg(100)->Arg(1000);

}  // namespace
