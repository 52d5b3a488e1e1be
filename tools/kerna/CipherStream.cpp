// CipherStream.cpp
//
// Options and streaming for the cipher commands.
#include "CipherStream.h"

#include <errno.h>
#include <stdio.h>
#include <string.h>

#include "ToolSupport.h"

namespace KernaTool {

namespace {

enum OptionId { optEncrypt = 1, optDecrypt, optMode, optKey, optIv, optWide, optHelp };

const OptionDef kOptions[] = {
    {"encrypt", 'e', false, optEncrypt}, {"decrypt", 'd', false, optDecrypt}, {"mode", 'm', true, optMode},
    {"key", 'k', true, optKey},          {"iv", 0, true, optIv},              {"wide", 0, false, optWide},
    {"help", 0, false, optHelp},         {nullptr, 0, false, 0},
};

}  // namespace

int cipherUsageError(const char* command, const std::string& message) {
    fprintf(stderr, "kerna %s: %s\n", command, message.c_str());
    tryHelp(command);
    return 2;
}

int parseCipherArguments(const char* command, int argc, char** argv, bool allowWide, void (*printHelp)(),
                         CipherArguments& args) {
    std::vector<ParsedOption> options;
    std::vector<std::string> operands;
    if (!parseOptions(command, argc, argv, kOptions, options, operands)) return 2;
    for (const ParsedOption& o : options) {
        switch (o.id) {
            case optHelp: printHelp(); return 0;
            case optEncrypt: args.encrypt = true; break;
            case optDecrypt: args.decrypt = true; break;
            case optMode: args.mode = o.argument; break;
            case optKey:
                if (!parseHex(o.argument, args.key)) return cipherUsageError(command, "the key is not hexadecimal: " + quoteName(o.argument));
                args.hasKey = true;
                break;
            case optIv:
                if (!parseHex(o.argument, args.iv)) return cipherUsageError(command, "the vector is not hexadecimal: " + quoteName(o.argument));
                args.hasIv = true;
                break;
            case optWide:
                if (!allowWide) return cipherUsageError(command, "unrecognized option '--wide'");
                args.wide = true;
                break;
        }
    }
    if (args.encrypt == args.decrypt) return cipherUsageError(command, "give exactly one of -e and -d");
    if (!args.hasKey) return cipherUsageError(command, "a key is needed: --key HEX");
    if (operands.size() > 1) return cipherUsageError(command, "extra operand " + quoteName(operands[1]));
    if (!operands.empty()) args.input = operands[0];
    return -1;
}

int runCipherStream(const char* command, const std::string& input, size_t block,
                    const std::function<bool(unsigned char*, const unsigned char*, size_t)>& process) {
    Input in;
    if (!in.open(input)) {
        fprintf(stderr, "kerna %s: %s: %s\n", command, quoteName(input).c_str(), strerror(errno));
        return 1;
    }
    const long long size = in.knownSize();
    if (block > 1 && size >= 0 && size % static_cast<long long>(block) != 0) {
        fprintf(stderr, "kerna %s: %s: %lld bytes are not a whole number of %zu-byte blocks (no padding is added)\n",
                command, quoteName(input).c_str(), size, block);
        return 1;
    }
    std::vector<unsigned char> buffer(1 << 16), out(1 << 16);
    size_t pending = 0;  // bytes of an incomplete block kept at the front of buffer
    unsigned long long total = 0;
    for (;;) {
        const size_t n = in.read(buffer.data() + pending, buffer.size() - pending);
        if (n == 0) break;
        total += n;
        const size_t have = pending + n;
        const size_t whole = have / block * block;
        if (whole != 0) {
            if (!process(out.data(), buffer.data(), whole)) {
                fprintf(stderr, "kerna %s: the cipher refused the data\n", command);
                return 1;
            }
            if (!writeOut(out.data(), whole)) {
                fprintf(stderr, "kerna %s: write error: %s\n", command, strerror(errno));
                return 1;
            }
        }
        pending = have - whole;
        memmove(buffer.data(), buffer.data() + whole, pending);
    }
    if (in.failed()) {
        fprintf(stderr, "kerna %s: %s: %s\n", command, quoteName(input).c_str(), strerror(errno));
        return 1;
    }
    if (fflush(stdout) != 0) {
        fprintf(stderr, "kerna %s: write error: %s\n", command, strerror(errno));
        return 1;
    }
    if (pending != 0) {
        fprintf(stderr, "kerna %s: %s: %llu bytes are not a whole number of %zu-byte blocks (no padding is added)\n",
                command, quoteName(input).c_str(), total, block);
        return 1;
    }
    return 0;
}

}  // namespace KernaTool
