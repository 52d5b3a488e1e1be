// TripleDesTest.cpp
#include <gtest/gtest.h>

#include <cstdio>
#include <thread>

#include "kerna/utils/TripleDes.h"
#include "support/LogCapture.h"
#include "utils/DesCore.h"
#include "utils/UtilsTestSupport.h"

#if KERNA_TEST_HAVE_OPENSSL
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/des.h>
#endif

using namespace Tessaran::Utils;
using namespace KernaTest;

namespace {

const std::string kK1 = "0123456789abcdef";
const std::string kK2 = "23456789abcdef01";
const std::string kK3 = "456789abcdef0123";
const std::string kK123 = kK1 + kK2 + kK3;
constexpr CTripleDes::BlockType k8 = CTripleDes::blockType8, k16 = CTripleDes::blockType16;

Bytes crypt(const std::string& keyHex, CTripleDes::BlockType type, const Bytes* iv, const Bytes& in,
            bool encrypting, bool* result = nullptr) {
    const Bytes key = fromHex(keyHex);
    CTripleDes des(key.data(), key.size(), type, iv ? iv->data() : nullptr);
    Bytes out(in.size(), 0);
    const bool ok = encrypting ? des.encrypt(out.data(), in.data(), in.size()) : des.decrypt(out.data(), in.data(), in.size());
    if (result) *result = ok;
    return out;
}

std::string thisText(const void* p) {
    char text[32];
    std::snprintf(text, sizeof text, "%p", p);
    return text;
}

}  // namespace

TEST(CTripleDes, KnownAnswers) {
    // Single DES, the classic worked example.
    EXPECT_EQ(toHex(crypt("133457799bbcdff1", k8, nullptr, fromHex("0123456789abcdef"), true)), "85e813540f0ab405");
    // Three-key Triple DES in ECB, SP 800-67. (Keys of one or two parts, and equal parts, are
    // compared with OpenSSL below.)
    const Bytes plain = bytesOf("The qufck brown fox jump");
    const std::string cipher = "a826fd8ce53b855fcce21c8112256fe668d5c05dd9b6b900";
    EXPECT_EQ(toHex(crypt(kK123, k8, nullptr, plain, true)), cipher);
    EXPECT_EQ(crypt(kK123, k8, nullptr, fromHex(cipher), false), plain);
}

TEST(CTripleDes, EveryCallStartsFromTheConstructorsVector) {
    const Bytes key = fromHex(kK123), iv = fromHex("1122334455667788"), plain = bytesOf("sixteen bytes!!!");
    CTripleDes des(key.data(), key.size(), k8, iv.data());
    Bytes first(16), again(16), halves(16);
    ASSERT_TRUE(des.encrypt(first.data(), plain.data(), 16));
    ASSERT_TRUE(des.encrypt(again.data(), plain.data(), 16));
    EXPECT_EQ(first, again);
    // Two calls of 8 bytes are two fresh runs: both blocks chain on the vector.
    ASSERT_TRUE(des.encrypt(halves.data(), plain.data(), 8));
    ASSERT_TRUE(des.encrypt(halves.data() + 8, plain.data() + 8, 8));
    EXPECT_EQ(Bytes(halves.begin(), halves.begin() + 8), Bytes(first.begin(), first.begin() + 8));
    EXPECT_NE(Bytes(halves.begin() + 8, halves.end()), Bytes(first.begin() + 8, first.end()));
    // Decryption in place gives the plaintext back.
    ASSERT_TRUE(des.decrypt(first.data(), first.data(), 16));
    EXPECT_EQ(first, plain);
}

TEST(CTripleDes, PartialBlocksAreProcessedWholeAndReported) {
    LogCapture log;
    const Bytes key = fromHex(kK123), plain = bytesOf("twelve bytes");
    CTripleDes des(key.data(), key.size(), k8, nullptr);
    Bytes out(12, 0xEE);
    EXPECT_FALSE(des.encrypt(out.data(), plain.data(), 12));
    EXPECT_EQ(Bytes(out.begin(), out.begin() + 8), crypt(kK123, k8, nullptr, Bytes(plain.begin(), plain.begin() + 8), true));
    EXPECT_EQ(Bytes(out.begin() + 8, out.end()), Bytes(4, 0xEE));
    EXPECT_FALSE(des.decrypt(out.data(), plain.data(), 12));
    const std::string tail = "(): size is not the multiple of the 'BlockSize'!!! size:12, real_size:8\n";
    const std::string self = "this:" + thisText(&des) + " CTripleDes::";
    EXPECT_EQ(log.messages(), (std::vector<std::string>{self + "encrypt" + tail, self + "decrypt" + tail}));
}

TEST(CTripleDes, BadArguments) {
    LogCapture log;
    const Bytes key = fromHex(kK1);
    unsigned char in[16] = {}, out[16];
    CTripleDes noKey(key.data(), 0, k8, nullptr);
    EXPECT_FALSE(noKey.encrypt(out, in, 8));
    EXPECT_FALSE(noKey.decrypt(out, in, 8));
    CTripleDes nullKey(nullptr, 8, k8, nullptr);
    EXPECT_FALSE(nullKey.encrypt(out, in, 8));
    const std::string line = "this:" + thisText(&noKey) + " key_length is 0,is unvalid!\n";
    std::vector<std::string> messages = log.messages();
    ASSERT_EQ(messages.size(), 4u);
    EXPECT_EQ(messages[0], line);
    EXPECT_EQ(messages[1], line);
    EXPECT_EQ(messages[3], "this:" + thisText(&nullKey) + " key_length is 0,is unvalid!\n");
    log.clear();

    // Null buffers: the line, nothing done, and the result of the length test.
    CTripleDes des(key.data(), key.size(), k8, nullptr);
    EXPECT_TRUE(des.encrypt(out, nullptr, 8));
    EXPECT_TRUE(des.decrypt(nullptr, in, 16));
    EXPECT_FALSE(des.encrypt(out, nullptr, 9));
    // The block loop counts in a signed 32-bit integer; the buffer is not read.
    EXPECT_FALSE(des.encrypt(out, in, size_t(1) << 31));
    messages = log.messages();
    ASSERT_EQ(messages.size(), 5u);
    EXPECT_EQ(messages[0], "en_de_crypt(): src is NULL!!\n");
    EXPECT_EQ(messages[1], "en_de_crypt(): dst is NULL!!\n");
    EXPECT_EQ(messages[3], "en_de_crypt(): src is NULL!!\n");
    EXPECT_NE(messages[4].find("size:2147483648 is too large"), std::string::npos);
}

TEST(CTripleDes, WideBlocksExchangeAWordBetweenPasses) {
    // The model: three passes of whole single-DES operations on both halves, with the second
    // word of the first half traded for the first word of the second half in between.
    std::mt19937 rng(16);
    const Bytes key = randomBytes(rng, 24);
    Detail::DesSchedule k[3];
    for (int i = 0; i < 3; ++i) Detail::desSetKey(key.data() + 8 * i, i == 1, k[i]);
    const Bytes plain = randomBytes(rng, 48);
    Bytes expected = plain;
    for (size_t b = 0; b < expected.size(); b += 16) {
        unsigned char* p = expected.data() + b;
        for (int pass = 0; pass < 3; ++pass) {
            Detail::desBlock(k[pass], p, p);
            Detail::desBlock(k[pass], p + 8, p + 8);
            if (pass < 2)
                for (int i = 0; i < 4; ++i) std::swap(p[4 + i], p[8 + i]);
        }
    }
    const std::string keyHex = toHex(key);
    bool ok = false;
    EXPECT_EQ(crypt(keyHex, k16, nullptr, plain, true, &ok), expected);
    EXPECT_TRUE(ok);
    EXPECT_EQ(crypt(keyHex, k16, nullptr, expected, false), plain);
    // 8 bytes are not a whole wide block; with a key of 8 bytes the block stays 8.
    {
        LogCapture log;
        crypt(keyHex, k16, nullptr, Bytes(8), true, &ok);
        EXPECT_FALSE(ok);
        EXPECT_EQ(log.messages().size(), 1u);
    }
    crypt(keyHex.substr(0, 16), k16, nullptr, Bytes(8), true, &ok);
    EXPECT_TRUE(ok);
    // Wide CBC reads a 16-byte vector and round-trips.
    const Bytes iv = randomBytes(rng, 16);
    const Bytes chained = crypt(keyHex, k16, &iv, plain, true);
    EXPECT_EQ(crypt(keyHex, k16, &iv, chained, false), plain);
    Bytes first(plain.begin(), plain.begin() + 16);
    for (int i = 0; i < 16; ++i) first[i] ^= iv[i];
    EXPECT_EQ(Bytes(chained.begin(), chained.begin() + 16), crypt(keyHex, k16, nullptr, first, true));
}

TEST(CTripleDes, ConcurrentCallsGiveTheSameResults) {
    // Objects shared between threads and objects of their own: every call must give the result
    // computed alone beforehand.
    std::mt19937 rng(3);
    const Bytes key = randomBytes(rng, 24), iv = randomBytes(rng, 8);
    const Bytes plain = randomBytes(rng, 256);
    const Bytes expectedCbc = crypt(toHex(key), k8, &iv, plain, true);
    const Bytes expectedEcb = crypt(toHex(key).substr(0, 32), k8, nullptr, plain, true);
    CTripleDes shared(key.data(), 24, k8, iv.data());
    std::vector<int> failures(4, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            CTripleDes own(key.data(), 16, k8, nullptr);
            Bytes out(plain.size());
            for (int i = 0; i < 200; ++i) {
                if (!shared.encrypt(out.data(), plain.data(), plain.size()) || out != expectedCbc) ++failures[t];
                if (!own.encrypt(out.data(), plain.data(), plain.size()) || out != expectedEcb) ++failures[t];
            }
        });
    }
    for (auto& th : threads) th.join();
    EXPECT_EQ(failures, std::vector<int>(4, 0));
}

#if KERNA_TEST_HAVE_OPENSSL
TEST(CTripleDes, MatchesOpenSsl) {
    std::mt19937 rng(673);
    for (size_t keyLength = 1; keyLength <= 30; ++keyLength) {
        const Bytes key = randomBytes(rng, keyLength);
        // OpenSSL's view: the key zero filled to 24 bytes; K3 = K1 for keys of 9 to 16 bytes.
        Bytes full(key.begin(), key.begin() + std::min<size_t>(keyLength, 24));
        full.resize(24, 0);
        if (keyLength <= 16) std::copy(full.begin(), full.begin() + 8, full.begin() + 16);
        DES_key_schedule ks[3];
        for (int i = 0; i < 3; ++i) DES_set_key_unchecked(reinterpret_cast<const_DES_cblock*>(full.data() + 8 * i), &ks[i]);
        for (bool cbc : {false, true}) {
            const Bytes iv = randomBytes(rng, 8);
            CTripleDes des(key.data(), keyLength, k8, cbc ? iv.data() : nullptr);
            for (size_t n = 8; n <= 300; n += 8 + 8 * (rng() % 4)) {
                const Bytes plain = randomBytes(rng, n);
                Bytes ours(n), theirs(n), back(n);
                ASSERT_TRUE(des.encrypt(ours.data(), plain.data(), n));
                DES_cblock chain;
                std::memcpy(chain, iv.data(), 8);
                for (size_t b = 0; b < n; b += 8) {
                    unsigned char block[8];
                    for (int i = 0; i < 8; ++i) block[i] = plain[b + i] ^ (cbc ? chain[i] : 0);
                    DES_cblock* out = reinterpret_cast<DES_cblock*>(theirs.data() + b);
                    if (keyLength <= 8)
                        DES_ecb_encrypt(reinterpret_cast<const_DES_cblock*>(block), out, &ks[0], DES_ENCRYPT);
                    else
                        DES_ecb3_encrypt(reinterpret_cast<const_DES_cblock*>(block), out, &ks[0], &ks[1], &ks[2], DES_ENCRYPT);
                    std::memcpy(chain, theirs.data() + b, 8);
                }
                ASSERT_EQ(ours, theirs) << keyLength << " " << cbc << " " << n;
                ASSERT_TRUE(des.decrypt(back.data(), ours.data(), n));
                ASSERT_EQ(back, plain);
            }
        }
    }
}
#else
TEST(CTripleDes, MatchesOpenSsl) { GTEST_SKIP() << "OpenSSL's libcrypto was not found when building"; }
#endif
