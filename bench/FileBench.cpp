// Files against their peers, in one run: a log line through logFilter to a numbered log file,
// flushed per line, beside spdlog's basic file sink flushing every line and plain fprintf with
// fflush; and CFile reading and writing 64 MiB sequentially beside fread and fwrite on the same
// chunks. The log files live in a fresh directory under /tmp, the 64 MiB files in /dev/shm.
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "foundation/LogSettings.h"
#include "kerna/kerna3/File.h"
#include "kerna/kerna3/LogControl.h"
#include "kerna/kerna3/LogFile.h"
#include "kerna/kerna3/PrintLog.h"

#ifdef KERNA_BENCH_HAVE_SPDLOG
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#endif

using namespace Tessaran::Kerna;

namespace {

// A fresh directory under `parent`, removed with its files at exit (the text is never freed, so
// that it outlives every static destructor). Empty if none could be made: nothing is removed.
const std::string* makeDirectory(const char* parent) {
    std::string pattern = std::string(parent) + "/kerna-bench-XXXXXX";
    const char* made = mkdtemp(&pattern[0]);
    return new std::string(made != nullptr ? made : "");
}

const std::string& benchDirectory() {
    static const std::string* dir = [] {
        const std::string* d = makeDirectory("/tmp");
        if (!d->empty()) std::atexit([] { std::filesystem::remove_all(benchDirectory()); });
        return d;
    }();
    return *dir;
}

void discard(const char* line) { benchmark::DoNotOptimize(line); }

void logfilter(std::vector<std::string> words) {
    std::vector<char*> argv;
    for (std::string& w : words) argv.push_back(&w[0]);
    setLogFilter(static_cast<int>(argv.size()), argv.data());
}

// The print path with a printer that discards, numbered files with a limit of 1 GiB (no rotation
// within a run). Each run starts on a log path of its own, so that runs do not depend on each
// other's files (random interleaving stays valid).
void startLogRun(const char* kind) {
    static bool configured = false;
    if (!configured) {
        configured = true;
        PrintOptions o = {};
        o.noColor = true;
        setPrintOptions(o);
        setPrintLogLevel(4);
        setLogPrinter(TFunction1<void, const char*>(&discard));
        logfilter({"-logsavesetting", "bysize", "1048576", "0"});
        std::atexit([] {
            logfilter({"-logpath", ""});
            logCleanup();
        });
    }
    static int runs = 0;
    logCleanup();
    logfilter({"-logpath", benchDirectory() + "/" + kind + std::to_string(++runs) + "x"});
}

int logLine() {
    return logFilter(4, "Bench", "Bench.cpp", "g", 1, "v", "value %d %s\n", 42, "text");
}

// A file made by rotation (mode "w+"): the steady state of a running program.
void BM_LogLineToNumberedFile(benchmark::State& state) {
    startLogRun("w");
    for (auto _ : state) benchmark::DoNotOptimize(logLine());
}
BENCHMARK(BM_LogLineToNumberedFile);

// The newest file taken up again after a restart (mode "a+"): the C library asks the system for
// the position of an appending stream at every ftell, which CFile's write and flush call.
void BM_LogLineAppendingAfterRestart(benchmark::State& state) {
    startLogRun("a");
    logLine();     // makes the file
    logCleanup();  // the next line takes it up again, appending
    for (auto _ : state) benchmark::DoNotOptimize(logLine());
}
BENCHMARK(BM_LogLineAppendingAfterRestart);

#ifdef KERNA_BENCH_HAVE_SPDLOG
void BM_SpdlogBasicFileFlushEachLine(benchmark::State& state) {
    auto logger = spdlog::basic_logger_mt("file", benchDirectory() + "/spdlog.txt", true);
    logger->set_level(spdlog::level::info);
    logger->flush_on(spdlog::level::trace);
    for (auto _ : state) logger->info("value {} {}", 42, "text");
    spdlog::drop("file");
}
BENCHMARK(BM_SpdlogBasicFileFlushEachLine);
#endif

void BM_FprintfFflush(benchmark::State& state) {
    FILE* f = std::fopen((benchDirectory() + "/plain.txt").c_str(), "w");
    for (auto _ : state) {
        std::fprintf(f, "[%02d:%02d:%02d %s%s:%s %d %s:%d]value %d %s\n", 12, 34, 56, "info ",
                     "Bench", "v", 1234, "Bench.cpp", 1, 42, "text");
        std::fflush(f);
    }
    std::fclose(f);
}
BENCHMARK(BM_FprintfFflush);

const size_t bigFile = size_t(64) << 20;

// The 64 MiB files live in memory (tmpfs) where there is one, so that the disk's write-back
// does not swamp what the two sides do differently.
const std::string& ioDirectory() {
    static const std::string* dir = [] {
        const std::string* d = makeDirectory("/dev/shm");
        if (d->empty()) return &benchDirectory();
        std::atexit([] { std::filesystem::remove_all(ioDirectory()); });
        return d;
    }();
    return *dir;
}

void BM_CFileWrite64MiB(benchmark::State& state) {
    const size_t chunk = static_cast<size_t>(state.range(0));
    std::vector<char> data(chunk, 'k');
    const std::string path = ioDirectory() + "/cfile.bin";
    for (auto _ : state) {
        CFile file;
        file.open(path.c_str(), openWrite);
        for (size_t done = 0; done < bigFile; done += chunk) {
            file.write(data.data(), static_cast<int32_t>(chunk));
        }
        file.close();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bigFile));
}
BENCHMARK(BM_CFileWrite64MiB)->Arg(4096)->Arg(65536)->Unit(benchmark::kMillisecond);

void BM_FwriteWrite64MiB(benchmark::State& state) {
    const size_t chunk = static_cast<size_t>(state.range(0));
    std::vector<char> data(chunk, 'f');
    const std::string path = ioDirectory() + "/fwrite.bin";
    for (auto _ : state) {
        FILE* f = std::fopen(path.c_str(), "wb");
        for (size_t done = 0; done < bigFile; done += chunk) std::fwrite(data.data(), 1, chunk, f);
        std::fclose(f);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bigFile));
}
BENCHMARK(BM_FwriteWrite64MiB)->Arg(4096)->Arg(65536)->Unit(benchmark::kMillisecond);

const std::string& readSource() {
    static const std::string path = [] {
        const std::string p = ioDirectory() + "/source.bin";
        std::vector<char> data(size_t(1) << 20, 'r');
        FILE* f = std::fopen(p.c_str(), "wb");
        for (int i = 0; i < 64; ++i) std::fwrite(data.data(), 1, data.size(), f);
        std::fclose(f);
        return p;
    }();
    return path;
}

void BM_CFileRead64MiB(benchmark::State& state) {
    const size_t chunk = static_cast<size_t>(state.range(0));
    std::vector<char> data(chunk);
    const std::string& path = readSource();
    for (auto _ : state) {
        CFile file;
        file.open(path.c_str(), openRead);
        size_t total = 0;
        int32_t n;
        while ((n = file.read(data.data(), static_cast<int32_t>(chunk))) > 0) total += n;
        file.close();
        if (total != bigFile) state.SkipWithError("short read");
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bigFile));
}
BENCHMARK(BM_CFileRead64MiB)->Arg(4096)->Arg(65536)->Unit(benchmark::kMillisecond);

void BM_FreadRead64MiB(benchmark::State& state) {
    const size_t chunk = static_cast<size_t>(state.range(0));
    std::vector<char> data(chunk);
    const std::string& path = readSource();
    for (auto _ : state) {
        FILE* f = std::fopen(path.c_str(), "rb");
        size_t total = 0, n;
        while ((n = std::fread(data.data(), 1, chunk, f)) > 0) total += n;
        std::fclose(f);
        if (total != bigFile) state.SkipWithError("short read");
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * bigFile));
}
BENCHMARK(BM_FreadRead64MiB)->Arg(4096)->Arg(65536)->Unit(benchmark::kMillisecond);

}  // namespace
