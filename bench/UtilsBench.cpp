// UtilsBench.cpp
//
// Digests, checksums, ciphers and Base64 beside the peers a user would pick instead: OpenSSL's
// libcrypto (EVP, with the CPU's AES and SHA instructions where it has them, and its low-level
// AES functions, which take its table-driven assembly path without AES instructions) and zlib.
// Each kerna path runs as the library chooses it ("Kerna") and forced to its reference path
// ("KernaReference"). Throughputs are compared as ratios in the same run.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <vector>

#include "kerna/utils/Aes.h"
#include "kerna/utils/Base64.h"
#include "kerna/utils/Crc.h"
#include "kerna/utils/Md5.h"
#include "kerna/utils/Sha1.h"
#include "kerna/utils/TripleDes.h"
#include "utils/Accel.h"

#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/aes.h>
#include <openssl/evp.h>
#include <openssl/md5.h>
#include <openssl/modes.h>
#include <openssl/sha.h>
#include <zlib.h>

namespace U = Tessaran::Utils;

namespace {

const std::vector<unsigned char>& data() {
    static const std::vector<unsigned char> d = [] {
        std::vector<unsigned char> v((1 << 20) + 64);
        std::mt19937 rng(1);
        for (auto& c : v) c = static_cast<unsigned char>(rng());
        return v;
    }();
    return d;
}

const unsigned char kKey[32] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16,
                                17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 32};
const unsigned char kIv[16] = {0xf0, 0xf1, 0xf2, 0xf3, 0xf4, 0xf5, 0xf6, 0xf7,
                               0xf8, 0xf9, 0xfa, 0xfb, 0xfc, 0xfd, 0xfe, 0xff};

struct Reference {
    explicit Reference(bool on) { U::Detail::setReferenceOnly(on); }
    ~Reference() { U::Detail::setReferenceOnly(false); }
};

void bytes(benchmark::State& state, size_t n) { state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * n)); }

// ---- MD5 and SHA-1: one whole message per iteration (update and final).

template <bool kReference>
void BM_Md5_Kerna(benchmark::State& state) {
    Reference mode(kReference);
    const size_t n = static_cast<size_t>(state.range(0));
    U::CMd5 md5;
    unsigned char digest[16];
    for (auto _ : state) {
        md5.update(data().data(), n);
        md5.final(digest);
        benchmark::DoNotOptimize(digest);
    }
    bytes(state, n);
}

void BM_Md5_OpenSslEvp(benchmark::State& state) {
    const size_t n = static_cast<size_t>(state.range(0));
    EVP_MD* md = EVP_MD_fetch(nullptr, "MD5", nullptr);
    EVP_MD_CTX* ctx = EVP_MD_CTX_new();
    unsigned char digest[16];
    unsigned int len;
    for (auto _ : state) {
        EVP_DigestInit_ex(ctx, md, nullptr);
        EVP_DigestUpdate(ctx, data().data(), n);
        EVP_DigestFinal_ex(ctx, digest, &len);
        benchmark::DoNotOptimize(digest);
    }
    EVP_MD_CTX_free(ctx);
    EVP_MD_free(md);
    bytes(state, n);
}

void BM_Md5_OpenSslLowLevel(benchmark::State& state) {
    const size_t n = static_cast<size_t>(state.range(0));
    unsigned char digest[16];
    for (auto _ : state) {
        MD5(data().data(), n, digest);
        benchmark::DoNotOptimize(digest);
    }
    bytes(state, n);
}

template <bool kReference>
void BM_Sha1_Kerna(benchmark::State& state) {
    Reference mode(kReference);
    const size_t n = static_cast<size_t>(state.range(0));
    U::CSha1 sha;
    unsigned char digest[20];
    for (auto _ : state) {
        sha.update(data().data(), n);
        sha.final(digest, sizeof digest);
        benchmark::DoNotOptimize(digest);
    }
    bytes(state, n);
}

void BM_Sha1_OpenSslEvp(benchmark::State& state) {
    const size_t n = static_cast<size_t>(state.range(0));
    EVP_MD* md = EVP_MD_fetch(nullptr, "SHA1", nullptr);
    EVP_MD_CTX* ctx = EVP_MD_CTX_new();
    unsigned char digest[20];
    unsigned int len;
    for (auto _ : state) {
        EVP_DigestInit_ex(ctx, md, nullptr);
        EVP_DigestUpdate(ctx, data().data(), n);
        EVP_DigestFinal_ex(ctx, digest, &len);
        benchmark::DoNotOptimize(digest);
    }
    EVP_MD_CTX_free(ctx);
    EVP_MD_free(md);
    bytes(state, n);
}

void BM_Sha1_OpenSslLowLevel(benchmark::State& state) {
    const size_t n = static_cast<size_t>(state.range(0));
    unsigned char digest[20];
    for (auto _ : state) {
        SHA1(data().data(), n, digest);
        benchmark::DoNotOptimize(digest);
    }
    bytes(state, n);
}

// ---- CRC-32.

template <bool kReference>
void BM_Crc32_Kerna(benchmark::State& state) {
    Reference mode(kReference);
    const size_t n = static_cast<size_t>(state.range(0));
    for (auto _ : state) benchmark::DoNotOptimize(U::crc32(data().data(), n));
    bytes(state, n);
}

void BM_Crc32_Zlib(benchmark::State& state) {
    const size_t n = static_cast<size_t>(state.range(0));
    for (auto _ : state) benchmark::DoNotOptimize(::crc32(0L, data().data(), static_cast<uInt>(n)));
    bytes(state, n);
}

// ---- AES-128: CBC encryption and CTR, 1 MiB per iteration on one object (the stream goes on).

template <bool kReference, U::CAes::EncMode kMode>
void BM_Aes128_Kerna(benchmark::State& state) {
    Reference mode(kReference);
    const size_t n = static_cast<size_t>(state.range(0));
    U::CAes aes(kMode, kKey, U::CAes::keyBits128, kIv);
    std::vector<unsigned char> out(n);
    for (auto _ : state) {
        aes.encrypt(out.data(), data().data(), n);
        benchmark::DoNotOptimize(out.data());
    }
    bytes(state, n);
}

void aesEvp(benchmark::State& state, const EVP_CIPHER* cipher) {
    const size_t n = static_cast<size_t>(state.range(0));
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    EVP_EncryptInit_ex(ctx, cipher, nullptr, kKey, kIv);
    EVP_CIPHER_CTX_set_padding(ctx, 0);
    std::vector<unsigned char> out(n + 16);
    int len;
    for (auto _ : state) {
        EVP_EncryptUpdate(ctx, out.data(), &len, data().data(), static_cast<int>(n));
        benchmark::DoNotOptimize(out.data());
    }
    EVP_CIPHER_CTX_free(ctx);
    bytes(state, n);
}

void BM_Aes128Cbc_OpenSslEvp(benchmark::State& state) { aesEvp(state, EVP_aes_128_cbc()); }
void BM_Aes128Ctr_OpenSslEvp(benchmark::State& state) { aesEvp(state, EVP_aes_128_ctr()); }

void BM_Aes128Cbc_OpenSslNoAesNi(benchmark::State& state) {
    const size_t n = static_cast<size_t>(state.range(0));
    AES_KEY key;
    AES_set_encrypt_key(kKey, 128, &key);
    unsigned char iv[16];
    std::memcpy(iv, kIv, 16);
    std::vector<unsigned char> out(n);
    for (auto _ : state) {
        AES_cbc_encrypt(data().data(), out.data(), n, &key, iv, AES_ENCRYPT);
        benchmark::DoNotOptimize(out.data());
    }
    bytes(state, n);
}

void BM_Aes128Ctr_OpenSslNoAesNi(benchmark::State& state) {
    const size_t n = static_cast<size_t>(state.range(0));
    AES_KEY key;
    AES_set_encrypt_key(kKey, 128, &key);
    unsigned char iv[16], ecount[16] = {};
    unsigned int num = 0;
    std::memcpy(iv, kIv, 16);
    std::vector<unsigned char> out(n);
    for (auto _ : state) {
        CRYPTO_ctr128_encrypt(data().data(), out.data(), n, &key, iv, ecount, &num,
                              reinterpret_cast<block128_f>(AES_encrypt));
        benchmark::DoNotOptimize(out.data());
    }
    bytes(state, n);
}

// ---- Triple DES, three keys, CBC.

void BM_TripleDesCbc_Kerna(benchmark::State& state) {
    const size_t n = static_cast<size_t>(state.range(0));
    U::CTripleDes des(kKey, 24, U::CTripleDes::blockType8, kIv);
    std::vector<unsigned char> out(n);
    for (auto _ : state) {
        des.encrypt(out.data(), data().data(), n);
        benchmark::DoNotOptimize(out.data());
    }
    bytes(state, n);
}

void BM_TripleDesCbc_OpenSslEvp(benchmark::State& state) { aesEvp(state, EVP_des_ede3_cbc()); }

// ---- Base64.

void BM_Base64Encode_Kerna(benchmark::State& state) {
    const size_t n = static_cast<size_t>(state.range(0));
    std::vector<char> out(U::base64EncodeLenEx(n));
    for (auto _ : state) {
        benchmark::DoNotOptimize(U::base64EncodeEx(out.data(), reinterpret_cast<const char*>(data().data()), n));
    }
    bytes(state, n);
}

void BM_Base64Encode_OpenSsl(benchmark::State& state) {
    const size_t n = static_cast<size_t>(state.range(0));
    std::vector<unsigned char> out(U::base64EncodeLenEx(n));
    for (auto _ : state) benchmark::DoNotOptimize(EVP_EncodeBlock(out.data(), data().data(), static_cast<int>(n)));
    bytes(state, n);
}

const std::vector<char>& encoded(size_t n) {
    static std::vector<char> text;
    text.assign(U::base64EncodeLenEx(n), '\0');
    U::base64EncodeEx(text.data(), reinterpret_cast<const char*>(data().data()), n);
    return text;
}

void BM_Base64Decode_Kerna(benchmark::State& state) {
    const size_t n = static_cast<size_t>(state.range(0));
    const std::vector<char> text = encoded(n);
    std::vector<char> out(text.size());
    for (auto _ : state) benchmark::DoNotOptimize(U::base64DecodeEx2(out.data(), text.data(), text.size() - 1));
    bytes(state, text.size() - 1);
}

void BM_Base64Decode_OpenSsl(benchmark::State& state) {
    const size_t n = static_cast<size_t>(state.range(0));
    const std::vector<char> text = encoded(n);
    std::vector<unsigned char> out(text.size());
    for (auto _ : state) {
        benchmark::DoNotOptimize(EVP_DecodeBlock(out.data(), reinterpret_cast<const unsigned char*>(text.data()),
                                                 static_cast<int>(text.size() - 1)));
    }
    bytes(state, text.size() - 1);
}

constexpr int64_t kMiB = 1 << 20;

}  // namespace

BENCHMARK_TEMPLATE(BM_Md5_Kerna, false)->Arg(64)->Arg(kMiB);
BENCHMARK(BM_Md5_OpenSslEvp)->Arg(64)->Arg(kMiB);
BENCHMARK(BM_Md5_OpenSslLowLevel)->Arg(64)->Arg(kMiB);
BENCHMARK_TEMPLATE(BM_Sha1_Kerna, false)->Arg(64)->Arg(kMiB);
BENCHMARK_TEMPLATE(BM_Sha1_Kerna, true)->Arg(64)->Arg(kMiB);
BENCHMARK(BM_Sha1_OpenSslEvp)->Arg(64)->Arg(kMiB);
BENCHMARK(BM_Sha1_OpenSslLowLevel)->Arg(64)->Arg(kMiB);
BENCHMARK_TEMPLATE(BM_Crc32_Kerna, false)->Arg(kMiB);
BENCHMARK_TEMPLATE(BM_Crc32_Kerna, true)->Arg(kMiB);
BENCHMARK(BM_Crc32_Zlib)->Arg(kMiB);
BENCHMARK_TEMPLATE(BM_Aes128_Kerna, false, U::CAes::modeCBC)->Name("BM_Aes128Cbc_Kerna")->Arg(kMiB);
BENCHMARK_TEMPLATE(BM_Aes128_Kerna, true, U::CAes::modeCBC)->Name("BM_Aes128Cbc_KernaReference")->Arg(kMiB);
BENCHMARK(BM_Aes128Cbc_OpenSslEvp)->Arg(kMiB);
BENCHMARK(BM_Aes128Cbc_OpenSslNoAesNi)->Arg(kMiB);
BENCHMARK_TEMPLATE(BM_Aes128_Kerna, false, U::CAes::modeCTR)->Name("BM_Aes128Ctr_Kerna")->Arg(kMiB);
BENCHMARK_TEMPLATE(BM_Aes128_Kerna, true, U::CAes::modeCTR)->Name("BM_Aes128Ctr_KernaReference")->Arg(kMiB);
BENCHMARK(BM_Aes128Ctr_OpenSslEvp)->Arg(kMiB);
BENCHMARK(BM_Aes128Ctr_OpenSslNoAesNi)->Arg(kMiB);
BENCHMARK(BM_TripleDesCbc_Kerna)->Arg(kMiB);
BENCHMARK(BM_TripleDesCbc_OpenSslEvp)->Arg(kMiB);
BENCHMARK(BM_Base64Encode_Kerna)->Arg(kMiB);
BENCHMARK(BM_Base64Encode_OpenSsl)->Arg(kMiB);
BENCHMARK(BM_Base64Decode_Kerna)->Arg(kMiB);
BENCHMARK(BM_Base64Decode_OpenSsl)->Arg(kMiB);
