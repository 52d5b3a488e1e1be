// AesCmd.cpp
//
// `kerna aes`: AES in ECB, CBC, CFB8, CFB128 or CTR over a file or standard input, without
// padding (as `openssl enc -nopad` with -K and -iv).
#include <stdio.h>

#include <memory>

#include "CipherStream.h"
#include "Commands.h"
#include "kerna/utils/Aes.h"

namespace KernaTool {

namespace {

void printHelp() {
    printf("Usage: kerna aes -e|-d --mode MODE --key HEX [--iv HEX] [FILE]\n"
           "Encrypt or decrypt FILE, or standard input, with AES to standard output.\n\n"
           "With no FILE, or when FILE is -, read standard input.\n\n"
           "  -e, --encrypt         encrypt\n"
           "  -d, --decrypt         decrypt\n"
           "  -m, --mode=MODE       ecb, cbc, cfb8, cfb128 or ctr\n"
           "  -k, --key=HEX         the key: 32, 48 or 64 hexadecimal digits (AES-128/192/256)\n"
           "      --iv=HEX          the initial vector or counter: 32 hexadecimal digits;\n"
           "                          needed by every mode but ecb\n"
           "      --help        display this help and exit\n\n"
           "No padding is added or removed: ecb and cbc take whole 16-byte blocks and\n"
           "refuse other input lengths; cfb8, cfb128 and ctr take any length.\n\n"
           "Exit status: 0 if all went well, 1 if the input could not be read or is not\n"
           "whole blocks, 2 if the command line is wrong.\n");
}

}  // namespace

int cmdAes(int argc, char** argv) {
    CipherArguments args;
    const int parsed = parseCipherArguments("aes", argc, argv, false, &printHelp, args);
    if (parsed >= 0) return parsed;
    using Tessaran::Utils::CAes;
    CAes::EncMode mode;
    if (args.mode == "ecb")
        mode = CAes::modeECB;
    else if (args.mode == "cbc")
        mode = CAes::modeCBC;
    else if (args.mode == "cfb8")
        mode = CAes::modeCFB8;
    else if (args.mode == "cfb128" || args.mode == "cfb")
        mode = CAes::modeCFB128;
    else if (args.mode == "ctr")
        mode = CAes::modeCTR;
    else
        return cipherUsageError("aes", args.mode.empty() ? "a mode is needed: --mode ecb|cbc|cfb8|cfb128|ctr"
                                                        : "unknown mode '" + args.mode + "'");
    if (args.key.size() != 16 && args.key.size() != 24 && args.key.size() != 32)
        return cipherUsageError("aes", "the key must be 16, 24 or 32 bytes (32, 48 or 64 hexadecimal digits)");
    if (mode == CAes::modeECB && args.hasIv) return cipherUsageError("aes", "ecb takes no --iv");
    if (mode != CAes::modeECB && !args.hasIv) return cipherUsageError("aes", "this mode needs --iv HEX (16 bytes)");
    if (args.hasIv && args.iv.size() != 16) return cipherUsageError("aes", "the vector must be 16 bytes (32 hexadecimal digits)");

    CAes aes(mode, args.key.data(), static_cast<CAes::KeyBits>(args.key.size() * 8), args.hasIv ? args.iv.data() : nullptr);
    const size_t block = (mode == CAes::modeECB || mode == CAes::modeCBC) ? 16 : 1;
    const bool encrypting = args.encrypt;
    return runCipherStream("aes", args.input, block, [&aes, encrypting](unsigned char* out, const unsigned char* in, size_t n) {
        return encrypting ? aes.encrypt(out, in, n) : aes.decrypt(out, in, n);
    });
}

}  // namespace KernaTool
