// TripleDes.cpp
//
// CTripleDes: single DES, two- and three-key Triple DES (E-D-E) and the wide 16-byte form, in
// ECB or CBC. The key schedules of both directions are built once, at construction, into the
// object's own record, so calls share no key registers, need no process-wide lock, and give the
// same results as loading the keys at every call. Every call starts its CBC chain at the
// constructor's vector.
#include "kerna/utils/TripleDes.h"

#include <cstdint>
#include <cstring>
#include <new>

#include "base/Log.h"
#include "utils/Accel.h"
#include "utils/DesCore.h"

namespace Tessaran {
namespace Utils {

using Detail::DesSchedule;

class TripleDesInternal {
public:
    enum Cipher { single, triple, wideTriple };

    unsigned char key[24];  // zero filled behind key_length
    uint64_t key_length;    // at most 24
    unsigned char iv[16];   // zero if none was given
    bool hasIv;             // selects CBC over ECB
    Cipher cipher;
    // The three key registers of each direction, in the order the passes run them.
    DesSchedule encryptKeys[3];
    DesSchedule decryptKeys[3];
};

namespace {

size_t blockSizeOf(TripleDesInternal::Cipher cipher) { return cipher == TripleDesInternal::wideTriple ? 16 : 8; }

// The block function of a record and direction, from `src` to `dst` (which may be equal).
class BlockFunction {
public:
    BlockFunction(const TripleDesInternal& record, bool decrypting)
        : m_cipher(record.cipher), m_keys(decrypting ? record.decryptKeys : record.encryptKeys) {}

    // BlockSize 16 is the wide form; 8 is single or Triple DES.
    template <size_t BlockSize>
    void apply(const unsigned char* src, unsigned char* dst) const {
        if constexpr (BlockSize == 16) {
            // Two halves, each a whole DES operation per pass; between the passes the second
            // word of the first half trades places with the first word of the second half.
            unsigned char block[16];
            std::memcpy(block, src, 16);
            for (int pass = 0; pass < 3; ++pass) {
                Detail::desBlock(m_keys[pass], block, block);
                Detail::desBlock(m_keys[pass], block + 8, block + 8);
                if (pass < 2) {
                    unsigned char word[4];
                    std::memcpy(word, block + 4, 4);
                    std::memcpy(block + 4, block + 8, 4);
                    std::memcpy(block + 8, word, 4);
                }
            }
            std::memcpy(dst, block, 16);
        } else if (m_cipher == TripleDesInternal::single) {
            Detail::desBlock(m_keys[0], src, dst);
        } else {
            uint32_t l, r;
            Detail::desInitialPermutation(src, l, r);
            Detail::desRounds(m_keys[0], l, r);
            Detail::desRounds(m_keys[1], l, r);
            Detail::desRounds(m_keys[2], l, r);
            Detail::desFinalPermutation(l, r, dst);
        }
    }

private:
    TripleDesInternal::Cipher m_cipher;
    const DesSchedule* m_keys;
};

// Each block on its own.
struct EBCEnDeCryptOp {
    template <size_t BlockSize>
    static void run(const BlockFunction& cipher, const unsigned char*, unsigned char* dst,
                    const unsigned char* src, int size) {
        for (int done = 0; done < size; done += static_cast<int>(BlockSize))
            cipher.template apply<BlockSize>(src + done, dst + done);
    }
};

// CBC from `iv`: Encrypting = 1 chains on the block just written, 0 on the block just read.
template <int Encrypting>
struct CBCEnDeCryptOp {
    template <size_t BlockSize>
    static void run(const BlockFunction& cipher, const unsigned char* iv, unsigned char* dst,
                    const unsigned char* src, int size) {
        KERNA_ASSERT(iv != NULL);
        unsigned char chain[BlockSize];
        unsigned char scratch[BlockSize];
        std::memcpy(chain, iv, BlockSize);
        for (int remain = size; remain > 0; remain -= static_cast<int>(BlockSize)) {
            KERNA_ASSERT(remain >= (int)BlockSize);
            if (Encrypting) {
                for (size_t i = 0; i < BlockSize; ++i) scratch[i] = static_cast<unsigned char>(src[i] ^ chain[i]);
                cipher.template apply<BlockSize>(scratch, dst);
                std::memcpy(chain, dst, BlockSize);
            } else {
                unsigned char read[BlockSize];
                std::memcpy(read, src, BlockSize);  // kept before dst is written: dst may be src
                cipher.template apply<BlockSize>(read, scratch);
                for (size_t i = 0; i < BlockSize; ++i) dst[i] = static_cast<unsigned char>(scratch[i] ^ chain[i]);
                std::memcpy(chain, read, BlockSize);
            }
            src += BlockSize;
            dst += BlockSize;
        }
        Detail::secureZero(chain, sizeof chain);
        Detail::secureZero(scratch, sizeof scratch);
    }
};

template <size_t BlockSize, class Op>
void en_de_crypt(const TripleDesInternal& record, bool decrypting, unsigned char* dst,
                 const unsigned char* src, int size) {
    KERNA_ASSERT(BlockSize > 0);
    KERNA_ASSERT(sizeof(record.iv) >= BlockSize);
    if (src == nullptr) {
        KERNA_LOG(2, "en_de_crypt(): src is NULL!!\n");
        return;
    }
    if (dst == nullptr) {
        KERNA_LOG(2, "en_de_crypt(): dst is NULL!!\n");
        return;
    }
    Op::template run<BlockSize>(BlockFunction(record, decrypting), record.iv, dst, src, size);
}

template <size_t BlockSize>
void runMode(const TripleDesInternal& record, bool decrypting, unsigned char* dst,
             const unsigned char* src, int size) {
    if (!record.hasIv)
        en_de_crypt<BlockSize, EBCEnDeCryptOp>(record, decrypting, dst, src, size);
    else if (decrypting)
        en_de_crypt<BlockSize, CBCEnDeCryptOp<0>>(record, decrypting, dst, src, size);
    else
        en_de_crypt<BlockSize, CBCEnDeCryptOp<1>>(record, decrypting, dst, src, size);
}

// The common body of encrypt and decrypt.
bool process(const void* object, TripleDesInternal* record, bool decrypting, unsigned char* dst,
             const unsigned char* src, size_t size) {
    if (record->key_length == 0) {
        KERNA_LOG(2, "this:%p key_length is %u,is unvalid!\n", object, static_cast<unsigned>(record->key_length));
        return false;
    }
    // The block loop counts in a signed 32-bit integer.
    if (size > 0x7FFFFFFFu) {
        KERNA_LOG(2, "this:%p size:%lu is too large\n", object, static_cast<unsigned long>(size));
        return false;
    }
    const size_t blockSize = blockSizeOf(record->cipher);
    const size_t realSize = size / blockSize * blockSize;
    if (realSize != size) {
        if (decrypting)
            KERNA_LOG(2,
                      "this:%p CTripleDes::decrypt(): size is not the multiple of the 'BlockSize'!!! "
                      "size:%lu, real_size:%lu\n",
                      object, static_cast<unsigned long>(size), static_cast<unsigned long>(realSize));
        else
            KERNA_LOG(2,
                      "this:%p CTripleDes::encrypt(): size is not the multiple of the 'BlockSize'!!! "
                      "size:%lu, real_size:%lu\n",
                      object, static_cast<unsigned long>(size), static_cast<unsigned long>(realSize));
    }
    if (blockSize == 16)
        runMode<16>(*record, decrypting, dst, src, static_cast<int>(realSize));
    else
        runMode<8>(*record, decrypting, dst, src, static_cast<int>(realSize));
    return realSize == size;
}

}  // namespace

CTripleDes::CTripleDes(const unsigned char* key, size_t length, BlockType type, const unsigned char* iv)
    : m_internal(new (std::nothrow) TripleDesInternal()) {
    KERNA_ASSERT(m_internal);
    TripleDesInternal& r = *m_internal;
    Detail::secureZero(&r, sizeof r);
    if (key == nullptr) {
        KERNA_LOG(2, "this:%p key is NULL\n", static_cast<void*>(this));
        length = 0;
    }
    r.key_length = length < 24 ? length : 24;
    if (r.key_length != 0) std::memcpy(r.key, key, r.key_length);
    if (length <= 8)
        r.cipher = TripleDesInternal::single;
    else
        r.cipher = type == blockType16 ? TripleDesInternal::wideTriple : TripleDesInternal::triple;
    r.hasIv = iv != nullptr;
    if (iv != nullptr) std::memcpy(r.iv, iv, blockSizeOf(r.cipher));

    const unsigned char* k1 = r.key;
    const unsigned char* k2 = r.key + 8;
    const unsigned char* k3 = r.key_length > 16 ? r.key + 16 : r.key;
    if (r.cipher == TripleDesInternal::single) {
        Detail::desSetKey(k1, false, r.encryptKeys[0]);
        Detail::desSetKey(k1, true, r.decryptKeys[0]);
    } else {
        // Encryption runs E(K1), D(K2), E(K3); decryption D(K3), E(K2), D(K1). Two-key Triple DES
        // has K3 = K1.
        Detail::desSetKey(k1, false, r.encryptKeys[0]);
        Detail::desSetKey(k2, true, r.encryptKeys[1]);
        Detail::desSetKey(k3, false, r.encryptKeys[2]);
        Detail::desSetKey(k3, true, r.decryptKeys[0]);
        Detail::desSetKey(k2, false, r.decryptKeys[1]);
        Detail::desSetKey(k1, true, r.decryptKeys[2]);
    }
}

CTripleDes::~CTripleDes() {
    if (m_internal != nullptr) Detail::secureZero(m_internal, sizeof *m_internal);
    delete m_internal;
}

bool CTripleDes::encrypt(unsigned char* dst, const unsigned char* src, size_t size) {
    KERNA_ASSERT(m_internal);
    return process(this, m_internal, false, dst, src, size);
}

bool CTripleDes::decrypt(unsigned char* dst, const unsigned char* src, size_t size) {
    KERNA_ASSERT(m_internal);
    return process(this, m_internal, true, dst, src, size);
}

}  // namespace Utils
}  // namespace Tessaran
