// AesTest.cpp
#include <gtest/gtest.h>

#include "kerna/utils/Aes.h"
#include "support/LogCapture.h"
#include "utils/UtilsTestSupport.h"

#if KERNA_TEST_HAVE_OPENSSL
#include <openssl/evp.h>
#endif

using namespace Tessaran::Utils;
using namespace KernaTest;

namespace {

// The plaintext and AES-128 key of SP 800-38A, appendix F.
const std::string kPlain =
    "6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51"
    "30c81c46a35ce411e5fbc1191a0a52eff69f2445df4f9b17ad2b417be66c3710";
const std::string kKey128 = "2b7e151628aed2a6abf7158809cf4f3c";
const std::string kIv = "000102030405060708090a0b0c0d0e0f";
const std::string kCounter = "f0f1f2f3f4f5f6f7f8f9fafbfcfdfeff";

std::string run(CAes::EncMode mode, const std::string& key, const std::string& iv, const std::string& input,
                bool encrypting) {
    const Bytes k = fromHex(key);
    const Bytes v = fromHex(iv);
    const Bytes in = fromHex(input);
    CAes aes(mode, k.data(), static_cast<CAes::KeyBits>(k.size() * 8), iv.empty() ? nullptr : v.data());
    Bytes out(in.size());
    const bool ok = encrypting ? aes.encrypt(out.data(), in.data(), in.size()) : aes.decrypt(out.data(), in.data(), in.size());
    EXPECT_TRUE(ok);
    return toHex(out);
}

class AesPaths : public ::testing::TestWithParam<bool> {
protected:
    AesPaths() : m_path(GetParam()) {}
    ReferenceOnly m_path;
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(CAes, AesPaths, ::testing::Values(false, true),
                         [](const ::testing::TestParamInfo<bool>& param) {
                             return param.param ? std::string("Reference") : std::string("Accelerated");
                         });

TEST_P(AesPaths, Fips197AppendixC) {
    const std::string plain = "00112233445566778899aabbccddeeff";
    const struct {
        const char* key;
        const char* cipher;
    } vectors[] = {
        {"000102030405060708090a0b0c0d0e0f", "69c4e0d86a7b0430d8cdb78070b4c55a"},
        {"000102030405060708090a0b0c0d0e0f1011121314151617", "dda97ca4864cdfe06eaf70a0ec0d7191"},
        {"000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f", "8ea2b7ca516745bfeafc49904b496089"},
    };
    for (const auto& v : vectors) {
        EXPECT_EQ(run(CAes::modeECB, v.key, "", plain, true), v.cipher);
        EXPECT_EQ(run(CAes::modeECB, v.key, "", v.cipher, false), plain);
    }
}

TEST_P(AesPaths, Sp80038aAppendixF) {
    const struct {
        CAes::EncMode mode;
        const char* iv;
        const char* plain;
        const char* cipher;
    } vectors[] = {
        {CAes::modeECB, "", kPlain.c_str(),
         "3ad77bb40d7a3660a89ecaf32466ef97f5d3d58503b9699de785895a96fdbaaf"
         "43b1cd7f598ece23881b00e3ed0306887b0c785e27e8ad3f8223207104725dd4"},
        {CAes::modeCBC, kIv.c_str(), kPlain.c_str(),
         "7649abac8119b246cee98e9b12e9197d5086cb9b507219ee95db113a917678b2"
         "73bed6b8e3c1743b7116e69e222295163ff1caa1681fac09120eca307586e1a7"},
        {CAes::modeCFB8, kIv.c_str(), "6bc1bee22e409f96e93d7e117393172aae2d", "3b79424c9c0dd436bace9e0ed4586a4f32b9"},
        {CAes::modeCFB128, kIv.c_str(), kPlain.c_str(),
         "3b3fd92eb72dad20333449f8e83cfb4ac8a64537a0b3a93fcde3cdad9f1ce58b"
         "26751f67a3cbb140b1808cf187a4f4dfc04b05357c5d1c0eeac4c66f9ff7f2e6"},
        {CAes::modeCTR, kCounter.c_str(), kPlain.c_str(),
         "874d6191b620e3261bef6864990db6ce9806f66b7970fdff8617187bb9fffdff"
         "5ae4df3edbd5d35e5b4f09020db03eab1e031dda2fbe03d1792170a0f3009cee"},
    };
    for (const auto& v : vectors) {
        EXPECT_EQ(run(v.mode, kKey128, v.iv, v.plain, true), v.cipher) << v.mode;
        EXPECT_EQ(run(v.mode, kKey128, v.iv, v.cipher, false), v.plain) << v.mode;
    }
}

TEST_P(AesPaths, BlockModesRefuseLengthsAndKeepTheChain) {
    const Bytes key = fromHex(kKey128), iv = fromHex(kIv), plain = fromHex(kPlain);
    CAes ecb(CAes::modeECB, key.data(), CAes::keyBits128, nullptr);
    Bytes out(64, 0xEE);
    EXPECT_FALSE(ecb.encrypt(out.data(), plain.data(), 15));
    EXPECT_FALSE(ecb.decrypt(out.data(), plain.data(), 17));
    EXPECT_EQ(out, Bytes(64, 0xEE));
    EXPECT_TRUE(ecb.encrypt(out.data(), plain.data(), 0));

    const Bytes expected = fromHex(run(CAes::modeCBC, kKey128, kIv, kPlain.substr(0, 64), true));
    CAes pieces(CAes::modeCBC, key.data(), CAes::keyBits128, iv.data());
    ASSERT_TRUE(pieces.encrypt(out.data(), plain.data(), 16));
    EXPECT_FALSE(pieces.encrypt(out.data() + 16, plain.data() + 16, 8));  // refused: chain unchanged
    ASSERT_TRUE(pieces.encrypt(out.data() + 16, plain.data() + 16, 16));
    EXPECT_EQ(Bytes(out.begin(), out.begin() + 32), expected);

    // In place, both directions.
    Bytes buffer = plain;
    ASSERT_TRUE(CAes(CAes::modeCBC, key.data(), CAes::keyBits128, iv.data()).encrypt(buffer.data(), buffer.data(), 64));
    EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + 32), expected);
    ASSERT_TRUE(CAes(CAes::modeCBC, key.data(), CAes::keyBits128, iv.data()).decrypt(buffer.data(), buffer.data(), 64));
    EXPECT_EQ(buffer, plain);
}

TEST_P(AesPaths, CtrDecryptContinuesTheEncryptionStream) {
    // (Every mode fed in random pieces is compared with OpenSSL below.)
    const Bytes key = fromHex(kKey128), counter = fromHex(kCounter), plain = fromHex(kPlain);
    CAes ctr(CAes::modeCTR, key.data(), CAes::keyBits128, counter.data());
    Bytes out(64);
    ASSERT_TRUE(ctr.encrypt(out.data(), plain.data(), 5));
    ASSERT_TRUE(ctr.decrypt(out.data() + 5, plain.data() + 5, 59));
    EXPECT_EQ(toHex(out), run(CAes::modeCTR, kKey128, kCounter, kPlain, true));
}

TEST_P(AesPaths, CounterWrapsAsOne128BitNumber) {
    const Bytes key = fromHex(kKey128);
    CAes ecb(CAes::modeECB, key.data(), CAes::keyBits128, nullptr);
    // All 0xFF wraps to all zeros; a carry out of the low 64 bits reaches the high half. Nine
    // blocks in one call cover the eight-block batches of the accelerated path.
    for (const std::string& start : {std::string(32, 'f'), std::string("00000000000000aaffffffffffffffff")}) {
        const Bytes counter = fromHex(start);
        CAes ctr(CAes::modeCTR, key.data(), CAes::keyBits128, counter.data());
        Bytes zeros(16 * 9, 0), stream(16 * 9);
        ASSERT_TRUE(ctr.encrypt(stream.data(), zeros.data(), zeros.size()));
        Bytes block = counter;
        for (int i = 0; i < 9; ++i) {
            Bytes expected(16);
            ASSERT_TRUE(ecb.encrypt(expected.data(), block.data(), 16));
            ASSERT_EQ(Bytes(stream.begin() + 16 * i, stream.begin() + 16 * (i + 1)), expected) << i;
            for (int b = 15; b >= 0 && ++block[b] == 0; --b) {
            }
        }
    }
}

TEST(CAes, FailedConstructionShowsInEveryCall) {
    LogCapture log;
    const Bytes key = fromHex(kKey128);
    unsigned char out[16], in[16] = {};
    CAes badMode(static_cast<CAes::EncMode>(5), key.data(), CAes::keyBits128, nullptr);
    EXPECT_FALSE(badMode.encrypt(out, in, 16));
    EXPECT_FALSE(badMode.decrypt(out, in, 16));
    CAes noKey(CAes::modeCBC, nullptr, CAes::keyBits128, nullptr);
    EXPECT_FALSE(noKey.encrypt(out, in, 16));
    CAes badBits(CAes::modeCTR, key.data(), static_cast<CAes::KeyBits>(100), nullptr);
    EXPECT_FALSE(badBits.encrypt(out, in, 16));
    const std::string failed = "aes init failed.\n";
    EXPECT_EQ(log.messages(), (std::vector<std::string>{failed, failed, "AesCBC key is NULL\n", failed, failed}));
    log.clear();
    const char* const names[] = {"ECB", "CBC", "CFB8", "CFB128", "CTR"};
    for (int mode = 0; mode < 5; ++mode) {
        CAes aes(static_cast<CAes::EncMode>(mode), nullptr, CAes::keyBits256, nullptr);
        EXPECT_EQ(log.messages().back(), std::string("Aes") + names[mode] + " key is NULL\n");
    }
    // Null buffers with data to process are refused.
    log.clear();
    CAes ctr(CAes::modeCTR, key.data(), CAes::keyBits128, nullptr);
    EXPECT_FALSE(ctr.encrypt(nullptr, in, 4));
    EXPECT_TRUE(ctr.encrypt(nullptr, nullptr, 0));
    EXPECT_EQ(log.messages().size(), 1u);
}

#if KERNA_TEST_HAVE_OPENSSL
namespace {

// OpenSSL's encryption of `in` as one stream, e.g. by "aes-192-cfb8".
Bytes opensslEncrypt(CAes::EncMode mode, int bits, const Bytes& key, const Bytes& iv, const Bytes& in) {
    const char* const modes[] = {"ecb", "cbc", "cfb8", "cfb", "ctr"};
    const EVP_CIPHER* cipher = EVP_get_cipherbyname(("aes-" + std::to_string(bits) + "-" + modes[mode]).c_str());
    EXPECT_NE(cipher, nullptr);
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    Bytes out(in.size() + 32);
    int n = 0, m = 0;
    EVP_CipherInit_ex(ctx, cipher, nullptr, key.data(), iv.data(), 1);
    EVP_CIPHER_CTX_set_padding(ctx, 0);
    EVP_CipherUpdate(ctx, out.data(), &n, in.data(), static_cast<int>(in.size()));
    EVP_CipherFinal_ex(ctx, out.data() + n, &m);
    EVP_CIPHER_CTX_free(ctx);
    out.resize(static_cast<size_t>(n + m));
    return out;
}

}  // namespace

TEST_P(AesPaths, MatchesOpenSslInRandomPieces) {
    std::mt19937 rng(197);
    for (CAes::EncMode mode : {CAes::modeECB, CAes::modeCBC, CAes::modeCFB8, CAes::modeCFB128, CAes::modeCTR}) {
        const bool blockMode = mode == CAes::modeECB || mode == CAes::modeCBC;
        for (int bits : {128, 192, 256}) {
            const Bytes key = randomBytes(rng, static_cast<size_t>(bits / 8));
            const Bytes iv = randomBytes(rng, 16);
            CAes encryptor(mode, key.data(), static_cast<CAes::KeyBits>(bits), iv.data());
            CAes decryptor(mode, key.data(), static_cast<CAes::KeyBits>(bits), iv.data());
            // One stream per object through all lengths, as the state lives on between calls.
            Bytes stream;
            Bytes ours;
            for (size_t n : testLengths()) {
                if (blockMode) n -= n % 16;
                if (n > 70000 && mode == CAes::modeCFB8) continue;  // one block per byte: keep it short
                const Bytes plain = randomBytes(rng, n);
                size_t at = 0;
                Bytes out(n);
                for (size_t piece : randomSplit(rng, n)) {
                    if (blockMode) piece -= piece % 16;
                    ASSERT_TRUE(encryptor.encrypt(out.data() + at, plain.data() + at, piece));
                    at += piece;
                }
                ASSERT_TRUE(encryptor.encrypt(out.data() + at, plain.data() + at, n - at));
                Bytes back(n);
                ASSERT_TRUE(decryptor.decrypt(back.data(), out.data(), n));
                ASSERT_EQ(back, plain) << mode << " " << bits << " " << n;
                stream.insert(stream.end(), plain.begin(), plain.end());
                ours.insert(ours.end(), out.begin(), out.end());
            }
            ASSERT_EQ(ours, opensslEncrypt(mode, bits, key, iv, stream)) << mode << " " << bits;
        }
    }
}
#else
TEST(CAes, MatchesOpenSslInRandomPieces) { GTEST_SKIP() << "OpenSSL's libcrypto was not found when building"; }
#endif
