// ErrorTest.cpp
//
// The last error per thread and the message table: empty texts, replacement, the library's rows
// and their one-time installation, and use from many threads at once.

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "foundation/ErrorTable.h"
#include "kerna/kerna3/Error.h"

namespace Kerna = Tessaran::Kerna;

TEST(LastError, IsPerThreadAndStartsAtZero) {
    EXPECT_EQ(Kerna::getLastError(), 0);
    Kerna::setLastError(0x1000000e);
    EXPECT_EQ(Kerna::getLastError(), 0x1000000e);

    int seenByFreshThread = -1;
    std::thread([&] { seenByFreshThread = Kerna::getLastError(); }).join();
    EXPECT_EQ(seenByFreshThread, 0);
    EXPECT_EQ(Kerna::getLastError(), 0x1000000e);

    Kerna::setLastError(-5);
    EXPECT_EQ(Kerna::getLastError(), -5);
    Kerna::setLastError(INT32_MIN);
    EXPECT_EQ(Kerna::getLastError(), INT32_MIN);
    Kerna::setLastError(0);
    EXPECT_EQ(Kerna::getLastError(), 0);
}

TEST(LastError, ManyThreadsKeepTheirOwnCode) {
    constexpr int kThreads = 8;
    constexpr int kRounds = 20000;
    std::atomic<int> mismatches{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t, &mismatches] {
            if (Kerna::getLastError() != 0) ++mismatches;
            for (int i = 0; i < kRounds; ++i) {
                const int code = (t << 24) | i;
                Kerna::setLastError(code);
                if (Kerna::getLastError() != code) ++mismatches;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(mismatches.load(), 0);
    EXPECT_EQ(Kerna::getLastError(), 0);
}

namespace {

// Codes no other run of a test in this process has used: rows are never removed.
int freshCode() {
    static std::atomic<int> next{0x7100};
    return next.fetch_add(1);
}

// The library's rows as if no installation had happened yet in this process.
struct ForgetLibraryRows {
    ForgetLibraryRows() { Kerna::Detail::forgetLibraryErrorMessages(); }
};

}  // namespace

TEST(ErrorMessage, EmptyTextsAndReplacement) {
    const int unset = freshCode();
    const int emptied = freshCode();
    const size_t rows = Kerna::Detail::errorMessageCount();
    const char* none = Kerna::getErrMsg(unset);
    ASSERT_NE(none, nullptr);
    EXPECT_STREQ(none, "");
    EXPECT_EQ(Kerna::getErrorMessage(unset).size(), 0u);
    EXPECT_EQ(Kerna::Detail::errorMessageCount(), rows);  // look-ups add no row

    Kerna::setErrMsg(emptied, nullptr);
    ASSERT_NE(Kerna::getErrMsg(emptied), nullptr);
    EXPECT_STREQ(Kerna::getErrMsg(emptied), "");
    EXPECT_EQ(Kerna::Detail::errorMessageCount(), rows + 1);

    char text[] = "first text";
    Kerna::setErrMsg(0x7002, text);
    std::strcpy(text, "changed!!!");  // the table holds its own copy
    EXPECT_STREQ(Kerna::getErrMsg(0x7002), "first text");
    Kerna::setErrMsg(0x7002, "second");
    EXPECT_STREQ(Kerna::getErrMsg(0x7002), "second");

    const std::string longText(200, 'x');
    Kerna::setErrorMessage(-1, Kerna::String(longText.c_str()));
    EXPECT_EQ(std::string(Kerna::getErrorMessage(-1).c_str()), longText);
    EXPECT_EQ(std::string(Kerna::getErrMsg(-1)), longText);
    Kerna::setErrorMessage(-1, Kerna::String("short"));
    EXPECT_STREQ(Kerna::getErrorMessage(-1).c_str(), "short");
}

TEST(ErrorMessage, LibraryRowsAreInstalledOnceOverEarlierRows) {
    ForgetLibraryRows fresh;
    ASSERT_EQ(Kerna::Detail::kLibraryErrorRowCount, 17u);
    EXPECT_STREQ(Kerna::getErrMsg(0x10030000), "");  // not yet installed
    Kerna::setErrMsg(0x10030001, "set by the application before");

    EXPECT_TRUE(Kerna::Detail::installLibraryErrorMessages());
    EXPECT_STREQ(Kerna::getErrMsg(0x10030000), "Component error: interface not found!");
    EXPECT_STREQ(Kerna::getErrMsg(0x10030001), "Component error: class not found!");
    EXPECT_STREQ(Kerna::getErrMsg(0x10030005), "Component error: tring login!");
    EXPECT_STREQ(Kerna::getErrMsg(0x10030006), "Component error: user's name not valid!");
    EXPECT_STREQ(Kerna::getErrMsg(0x10030009), "Component error: peer in Blocklist!");
    EXPECT_STREQ(Kerna::getErrMsg(0x1003000f), "Component error: login challenge!");
    EXPECT_STREQ(Kerna::getErrMsg(0x10030015), "Component error: User or password not valid!");
    // Codes the library raises without a row.
    EXPECT_STREQ(Kerna::getErrMsg(0x10030010), "");
    EXPECT_STREQ(Kerna::getErrMsg(0x1000000e), "");
    int prefixed = 0;
    for (int code = 0x10030000; code <= 0x10030015; ++code) {
        prefixed += std::strncmp(Kerna::getErrMsg(code), "Component error: ", 17) == 0;
    }
    EXPECT_EQ(prefixed, 17);

    // A row set afterwards stays: a second installation does nothing.
    Kerna::setErrMsg(0x10030002, "set by the application after");
    EXPECT_FALSE(Kerna::Detail::installLibraryErrorMessages());
    EXPECT_STREQ(Kerna::getErrMsg(0x10030002), "set by the application after");
}

// Before, the flag was set before the rows existed: a caller that came second returned at once
// and could read an empty text for a row the first caller was still installing.
TEST(ErrorMessage, InstallationRacesInstallOnceAndEveryCallerSeesTheRows) {
    const Kerna::Detail::ErrorRow& last =
        Kerna::Detail::kLibraryErrorRows[Kerna::Detail::kLibraryErrorRowCount - 1];
    int wrongInstallerCounts = 0;
    std::atomic<int> rowsMissing{0};
    for (int round = 0; round < 100; ++round) {
        ForgetLibraryRows fresh;
        std::atomic<int> installers{0};
        std::atomic<int> ready{0};
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t) {
            threads.emplace_back([&] {
                ready.fetch_add(1);
                while (ready.load() < 4) std::this_thread::yield();
                installers += Kerna::Detail::installLibraryErrorMessages();
                if (std::strcmp(Kerna::getErrMsg(last.code), last.text) != 0) rowsMissing.fetch_add(1);
            });
        }
        for (std::thread& thread : threads) thread.join();
        wrongInstallerCounts += installers.load() != 1;
    }
    EXPECT_EQ(wrongInstallerCounts, 0);
    EXPECT_EQ(rowsMissing.load(), 0);
}

TEST(ErrorMessage, ManyThreadsReadWhileOthersAddRows) {
    ForgetLibraryRows fresh;
    Kerna::Detail::installLibraryErrorMessages();
    constexpr int kReaders = 6;
    constexpr int kRounds = 5000;
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kReaders; ++t) {
        threads.emplace_back([&wrong] {
            for (int i = 0; i < kRounds; ++i) {
                const size_t row = static_cast<size_t>(i) % Kerna::Detail::kLibraryErrorRowCount;
                const Kerna::Detail::ErrorRow& expected = Kerna::Detail::kLibraryErrorRows[row];
                if (std::strcmp(Kerna::getErrMsg(expected.code), expected.text) != 0) ++wrong;
                if (std::strcmp(Kerna::getErrorMessage(expected.code).c_str(), expected.text) != 0)
                    ++wrong;
            }
        });
    }
    for (int t = 0; t < 2; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < kRounds; ++i) {
                Kerna::setErrMsg(0x20000000 + t * kRounds + i, "application row");
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_STREQ(Kerna::getErrMsg(0x20000000 + 2 * kRounds - 1), "application row");
}
