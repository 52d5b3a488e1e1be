// DesCmd.cpp
//
// `kerna des`: DES or Triple DES in ECB or CBC over a file or standard input, without padding
// (as `openssl enc -des-ede3-cbc -nopad` and its relatives with -K and -iv).
#include <stdio.h>
#include <string.h>

#include <memory>

#include "CipherStream.h"
#include "Commands.h"
#include "kerna/utils/TripleDes.h"

namespace KernaTool {

namespace {

void printHelp() {
    printf("Usage: kerna des -e|-d --mode MODE --key HEX [--iv HEX] [--wide] [FILE]\n"
           "Encrypt or decrypt FILE, or standard input, with DES or Triple DES to\n"
           "standard output.\n\n"
           "With no FILE, or when FILE is -, read standard input.\n\n"
           "  -e, --encrypt         encrypt\n"
           "  -d, --decrypt         decrypt\n"
           "  -m, --mode=MODE       ecb or cbc\n"
           "  -k, --key=HEX         8 bytes (DES), 16 bytes (two-key Triple DES, K3 = K1)\n"
           "                          or 24 bytes (three-key Triple DES)\n"
           "      --iv=HEX          the initial vector of cbc: one block (8 bytes, or 16\n"
           "                          with --wide)\n"
           "      --wide            16-byte blocks: two DES halves that exchange a word\n"
           "                          between the passes (Triple DES keys only)\n"
           "      --help        display this help and exit\n\n"
           "No padding is added or removed: the input must be whole blocks.\n\n"
           "Exit status: 0 if all went well, 1 if the input could not be read or is not\n"
           "whole blocks, 2 if the command line is wrong.\n");
}

}  // namespace

int cmdDes(int argc, char** argv) {
    CipherArguments args;
    const int parsed = parseCipherArguments("des", argc, argv, true, &printHelp, args);
    if (parsed >= 0) return parsed;
    using Tessaran::Utils::CTripleDes;
    const bool cbc = args.mode == "cbc";
    if (!cbc && args.mode != "ecb")
        return cipherUsageError("des", args.mode.empty() ? "a mode is needed: --mode ecb|cbc" : "unknown mode '" + args.mode + "'");
    if (args.key.size() != 8 && args.key.size() != 16 && args.key.size() != 24)
        return cipherUsageError("des", "the key must be 8, 16 or 24 bytes (16, 32 or 48 hexadecimal digits)");
    if (args.wide && args.key.size() == 8) return cipherUsageError("des", "--wide needs a Triple DES key (16 or 24 bytes)");
    const size_t block = args.wide ? 16 : 8;
    if (!cbc && args.hasIv) return cipherUsageError("des", "ecb takes no --iv");
    if (cbc && (!args.hasIv || args.iv.size() != block))
        return cipherUsageError("des", block == 16 ? "cbc needs --iv HEX of 16 bytes" : "cbc needs --iv HEX of 8 bytes");

    const CTripleDes::BlockType type = args.wide ? CTripleDes::blockType16 : CTripleDes::blockType8;
    // Every call of the cipher is a fresh CBC run from its object's vector, so the stream goes on
    // with a new object whose vector is the last ciphertext block.
    std::vector<unsigned char> chain = args.iv;
    const bool encrypting = args.encrypt;
    const std::vector<unsigned char>& key = args.key;
    return runCipherStream("des", args.input, block, [&](unsigned char* out, const unsigned char* in, size_t n) {
        CTripleDes des(key.data(), key.size(), type, cbc ? chain.data() : nullptr);
        const bool ok = encrypting ? des.encrypt(out, in, n) : des.decrypt(out, in, n);
        if (cbc && ok) memcpy(chain.data(), (encrypting ? out : in) + n - block, block);
        return ok;
    });
}

}  // namespace KernaTool
