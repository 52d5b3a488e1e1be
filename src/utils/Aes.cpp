// Aes.cpp
//
// CAes and its five mode classes. Each class builds the key schedules it needs at construction
// and keeps its stream state (chaining vector, CFB and CTR position, counter, key stream block)
// from call to call. Whole blocks go through the bulk paths; the CFB and CTR byte positions carry
// partial blocks across calls. Whether the AES instructions are used is chosen once, at
// construction.
#include "kerna/utils/Aes.h"

#include <cstring>
#include <new>

#include "base/Log.h"
#include "utils/Accel.h"
#include "utils/AesCore.h"

namespace Tessaran {
namespace Utils {

using Detail::AesSchedule;

/// The abstract base of the mode classes. `ready` is true once every key schedule of the object
/// has been built.
class AesInternal {
public:
    AesInternal() : ready(false) {}
    virtual ~AesInternal() {}
    virtual bool encrypt(unsigned char* dst, const unsigned char* src, size_t length) = 0;
    virtual bool decrypt(unsigned char* dst, const unsigned char* src, size_t length) = 0;

    bool ready;
};

namespace AES {

namespace {

inline void xorBlock(unsigned char* out, const unsigned char* a, const unsigned char* b) {
    for (int i = 0; i < 16; ++i) out[i] = static_cast<unsigned char>(a[i] ^ b[i]);
}

// Refuses null buffers for a non-empty call.
bool buffersValid(const void* object, unsigned char* dst, const unsigned char* src) {
    if (dst != nullptr && src != nullptr) return true;
    KERNA_LOG(2, "this:%p dst:%p src:%p is NULL\n", object, static_cast<void*>(dst),
              static_cast<const void*>(src));
    return false;
}

void encryptBlocks(const AesSchedule& k, bool ni, unsigned char* out, const unsigned char* in, size_t blocks) {
    if (ni) {
        Detail::aesNiEncryptBlocks(k, out, in, blocks);
        return;
    }
    for (size_t i = 0; i < blocks; ++i) Detail::aesEncryptBlock(k, in + 16 * i, out + 16 * i);
}

}  // namespace

class CAesECB : public AesInternal {
public:
    CAesECB(const unsigned char* key, int bits) : m_ni(Detail::useAesNi()) {
        Detail::secureZero(&m_encrypt, sizeof m_encrypt);
        Detail::secureZero(&m_decrypt, sizeof m_decrypt);
        if (key == nullptr) {
            KERNA_LOG(2, "AesECB key is NULL\n");
            return;
        }
        if (!Detail::aesSetEncryptKey(key, bits, m_encrypt)) return;
        Detail::aesMakeDecryptKey(m_encrypt, m_decrypt);
        ready = true;
    }
    ~CAesECB() override {
        Detail::secureZero(&m_encrypt, sizeof m_encrypt);
        Detail::secureZero(&m_decrypt, sizeof m_decrypt);
    }

    bool encrypt(unsigned char* dst, const unsigned char* src, size_t length) override {
        if (length % 16 != 0) return false;
        if (length == 0) return true;
        if (!buffersValid(this, dst, src)) return false;
        encryptBlocks(m_encrypt, m_ni, dst, src, length / 16);
        return true;
    }

    bool decrypt(unsigned char* dst, const unsigned char* src, size_t length) override {
        if (length % 16 != 0) return false;
        if (length == 0) return true;
        if (!buffersValid(this, dst, src)) return false;
        if (m_ni) {
            Detail::aesNiDecryptBlocks(m_decrypt, dst, src, length / 16);
        } else {
            for (size_t i = 0; i < length; i += 16) Detail::aesDecryptBlock(m_decrypt, src + i, dst + i);
        }
        return true;
    }

private:
    AesSchedule m_encrypt;
    AesSchedule m_decrypt;
    bool m_ni;
};

class CAesCBC : public AesInternal {
public:
    CAesCBC(const unsigned char* key, int bits, const unsigned char* iv) : m_ni(Detail::useAesNi()) {
        Detail::secureZero(&m_encrypt, sizeof m_encrypt);
        Detail::secureZero(&m_decrypt, sizeof m_decrypt);
        if (key == nullptr) {
            KERNA_LOG(2, "AesCBC key is NULL\n");
            return;
        }
        if (Detail::aesSetEncryptKey(key, bits, m_encrypt)) {
            Detail::aesMakeDecryptKey(m_encrypt, m_decrypt);
            ready = true;
        }
        if (iv != nullptr)
            std::memcpy(m_iv, iv, 16);
        else
            std::memset(m_iv, 0, 16);
    }
    ~CAesCBC() override {
        Detail::secureZero(&m_encrypt, sizeof m_encrypt);
        Detail::secureZero(&m_decrypt, sizeof m_decrypt);
        Detail::secureZero(m_iv, sizeof m_iv);
    }

    bool encrypt(unsigned char* dst, const unsigned char* src, size_t length) override {
        if (length % 16 != 0) return false;
        if (length == 0) return true;
        if (!buffersValid(this, dst, src)) return false;
        if (m_ni) {
            Detail::aesNiCbcEncrypt(m_encrypt, m_iv, dst, src, length / 16);
            return true;
        }
        for (size_t i = 0; i < length; i += 16) {
            unsigned char block[16];
            xorBlock(block, src + i, m_iv);
            Detail::aesEncryptBlock(m_encrypt, block, dst + i);
            std::memcpy(m_iv, dst + i, 16);
        }
        return true;
    }

    bool decrypt(unsigned char* dst, const unsigned char* src, size_t length) override {
        if (length % 16 != 0) return false;
        if (length == 0) return true;
        if (!buffersValid(this, dst, src)) return false;
        if (m_ni) {
            Detail::aesNiCbcDecrypt(m_decrypt, m_iv, dst, src, length / 16);
            return true;
        }
        for (size_t i = 0; i < length; i += 16) {
            unsigned char cipher[16];
            unsigned char plain[16];
            std::memcpy(cipher, src + i, 16);  // dst may be src
            Detail::aesDecryptBlock(m_decrypt, cipher, plain);
            xorBlock(dst + i, plain, m_iv);
            std::memcpy(m_iv, cipher, 16);
        }
        return true;
    }

private:
    AesSchedule m_encrypt;
    AesSchedule m_decrypt;
    unsigned char m_iv[16];
    bool m_ni;
};

// The three stream modes (CFB8, CFB128, CTR) use only the encryption schedule and carry one
// 16-byte block between calls (the feedback register or the counter).
class AesStreamMode : public AesInternal {
public:
    AesStreamMode(const unsigned char* key, int bits, const unsigned char* iv, const char* keyMissing)
        : m_ni(Detail::useAesNi()) {
        Detail::secureZero(&m_encrypt, sizeof m_encrypt);
        std::memset(m_iv, 0, sizeof m_iv);
        if (key == nullptr) {
            KERNA_LOG(2, "%s", keyMissing);
            return;
        }
        ready = Detail::aesSetEncryptKey(key, bits, m_encrypt);
        if (iv != nullptr) std::memcpy(m_iv, iv, 16);
    }
    ~AesStreamMode() override {
        Detail::secureZero(&m_encrypt, sizeof m_encrypt);
        Detail::secureZero(m_iv, sizeof m_iv);
    }

    bool encrypt(unsigned char* dst, const unsigned char* src, size_t length) override {
        return length == 0 || (buffersValid(this, dst, src) && run(dst, src, length, true));
    }
    bool decrypt(unsigned char* dst, const unsigned char* src, size_t length) override {
        return length == 0 || (buffersValid(this, dst, src) && run(dst, src, length, false));
    }

protected:
    /// Runs `length` (at least 1) bytes through the mode; both buffers are given.
    virtual bool run(unsigned char* dst, const unsigned char* src, size_t length, bool encrypting) = 0;

    AesSchedule m_encrypt;
    unsigned char m_iv[16];  ///< feedback register, or the counter in CTR mode
    bool m_ni;
};

class CAesCFB8 : public AesStreamMode {
public:
    CAesCFB8(const unsigned char* key, int bits, const unsigned char* iv)
        : AesStreamMode(key, bits, iv, "AesCFB8 key is NULL\n") {}

private:
    bool run(unsigned char* dst, const unsigned char* src, size_t length, bool encrypting) override {
        for (size_t i = 0; i < length; ++i) {
            unsigned char stream[16];
            encryptBlocks(m_encrypt, m_ni, stream, m_iv, 1);
            const unsigned char in = src[i];
            const unsigned char out = static_cast<unsigned char>(in ^ stream[0]);
            dst[i] = out;
            std::memmove(m_iv, m_iv + 1, 15);
            m_iv[15] = encrypting ? out : in;
        }
        return true;
    }
};

class CAesCFB128 : public AesStreamMode {
public:
    CAesCFB128(const unsigned char* key, int bits, const unsigned char* iv)
        : AesStreamMode(key, bits, iv, "AesCFB128 key is NULL\n"), m_offset(0) {}

private:
    bool run(unsigned char* dst, const unsigned char* src, size_t length, bool encrypting) override {
        size_t i = 0;
        while (i < length) {
            if (m_offset == 0 && length - i >= 16) {
                // A whole block: the feedback block becomes this block's ciphertext.
                encryptBlocks(m_encrypt, m_ni, m_iv, m_iv, 1);
                unsigned char in[16];
                std::memcpy(in, src + i, 16);
                xorBlock(dst + i, in, m_iv);
                std::memcpy(m_iv, encrypting ? dst + i : in, 16);
                i += 16;
                continue;
            }
            if (m_offset == 0) encryptBlocks(m_encrypt, m_ni, m_iv, m_iv, 1);
            const unsigned char in = src[i];
            const unsigned char out = static_cast<unsigned char>(in ^ m_iv[m_offset]);
            dst[i] = out;
            m_iv[m_offset] = encrypting ? out : in;
            m_offset = (m_offset + 1) % 16;
            ++i;
        }
        return true;
    }

    unsigned long long m_offset;
};

class CAesCTR : public AesStreamMode {
public:
    CAesCTR(const unsigned char* key, int bits, const unsigned char* iv)
        : AesStreamMode(key, bits, iv, "AesCTR key is NULL\n"), m_offset(0) {
        std::memset(m_streamBlock, 0, sizeof m_streamBlock);
    }
    ~CAesCTR() override { Detail::secureZero(m_streamBlock, sizeof m_streamBlock); }

private:
    // Encryption and decryption are the same operation on the same stream.
    bool run(unsigned char* dst, const unsigned char* src, size_t length, bool) override {
        size_t i = 0;
        // Finish a block begun by an earlier call.
        while (i < length && m_offset != 0) {
            dst[i] = static_cast<unsigned char>(src[i] ^ m_streamBlock[m_offset]);
            m_offset = (m_offset + 1) % 16;
            ++i;
        }
        const size_t blocks = (length - i) / 16;
        if (blocks != 0) {
            if (m_ni) {
                Detail::aesNiCtr(m_encrypt, m_iv, dst + i, src + i, blocks);
            } else {
                for (size_t b = 0; b < blocks; ++b, i += 16) {
                    Detail::aesEncryptBlock(m_encrypt, m_iv, m_streamBlock);
                    Detail::aesIncrementCounter(m_iv);
                    xorBlock(dst + i, src + i, m_streamBlock);
                }
            }
            i = length - (length - i) % 16;
        }
        for (; i < length; ++i) {
            if (m_offset == 0) {
                encryptBlocks(m_encrypt, m_ni, m_streamBlock, m_iv, 1);
                Detail::aesIncrementCounter(m_iv);
            }
            dst[i] = static_cast<unsigned char>(src[i] ^ m_streamBlock[m_offset]);
            m_offset = (m_offset + 1) % 16;
        }
        return true;
    }

    unsigned long long m_offset;
    unsigned char m_streamBlock[16];
};

}  // namespace AES

CAes::CAes(EncMode mode, const unsigned char* key, KeyBits keyBits, const unsigned char* iv)
    : m_internal(nullptr) {
    const int bits = static_cast<int>(keyBits);
    switch (mode) {
        case modeECB:
            m_internal = new (std::nothrow) AES::CAesECB(key, bits);
            break;
        case modeCBC:
            m_internal = new (std::nothrow) AES::CAesCBC(key, bits, iv);
            break;
        case modeCFB8:
            m_internal = new (std::nothrow) AES::CAesCFB8(key, bits, iv);
            break;
        case modeCFB128:
            m_internal = new (std::nothrow) AES::CAesCFB128(key, bits, iv);
            break;
        case modeCTR:
            m_internal = new (std::nothrow) AES::CAesCTR(key, bits, iv);
            break;
        default:
            break;
    }
}

CAes::~CAes() { delete m_internal; }

bool CAes::encrypt(unsigned char* dst, const unsigned char* src, size_t length) {
    if (m_internal == nullptr || !m_internal->ready) {
        KERNA_LOG(2, "aes init failed.\n");
        return false;
    }
    return m_internal->encrypt(dst, src, length);
}

bool CAes::decrypt(unsigned char* dst, const unsigned char* src, size_t length) {
    if (m_internal == nullptr || !m_internal->ready) {
        KERNA_LOG(2, "aes init failed.\n");
        return false;
    }
    return m_internal->decrypt(dst, src, length);
}

}  // namespace Utils
}  // namespace Tessaran
