// A small user of the installed library: prints through the print path with a listener, and
// guards a counter with a CMutex from two threads.
#include <kerna/kerna.h>
#include <kerna/legacy.h>

#include <cstdio>
#include <thread>

using namespace Tessaran::Kerna;

namespace {
int g_lines = 0;
bool countLine(const char*) {
    ++g_lines;
    return true;
}
}  // namespace

int main() {
    attachPrint(TFunction1<bool, const char*>(&countLine));
    logFilter(4, "Consumer", __FILE__, "main", __LINE__, "1.0", "hello from a consumer\n");
    ::logWarn("and from the global short form\n");

    CMutex mutex;
    int counter = 0;
    auto work = [&] {
        for (int i = 0; i < 1000; ++i) {
            CGuard guard(mutex);
            ++counter;
        }
    };
    std::thread a(work), b(work);
    a.join();
    b.join();
    std::printf("counter=%d lines=%d\n", counter, g_lines);
    return (counter == 2000 && g_lines == 2) ? 0 : 1;
}
