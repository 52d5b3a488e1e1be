#!/usr/bin/env python3
"""`kerna iconv` against the glibc `iconv` program.

Usage: iconv_cli_test.py KERNA ICONV

For every direction, an input that both map the same way (every such character) must give
byte-identical output; characters the library cannot map must give a message and exit status 1.
Ends with the line "N passed, N failed".
"""

import os
import subprocess
import sys
import tempfile

KERNA, ICONV = sys.argv[1], sys.argv[2]
passed = 0
failed = 0


def check(name, condition, detail=""):
    global passed, failed
    if condition:
        passed += 1
    else:
        failed += 1
        print("FAIL %s %s" % (name, detail))


def run(args, data):
    p = subprocess.run(args, input=data, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                       timeout=60)
    return p.returncode, p.stdout, p.stderr.decode("utf-8", "replace")


def same_as_iconv(frm, to, data, name):
    rc_k, out_k, err_k = run([KERNA, "iconv", "-f", frm, "-t", to], data)
    rc_i, out_i, err_i = run([ICONV, "-f", frm, "-t", to], data)
    check(name + " iconv accepts", rc_i == 0, err_i)
    check(name + " exit", rc_k == 0, err_k)
    check(name + " bytes", out_k == out_i,
          "(%d vs %d bytes)" % (len(out_k), len(out_i)))


def refused(frm, to, data, expected_out, message, name):
    rc, out, err = run([KERNA, "iconv", "-f", frm, "-t", to], data)
    check(name + " exit 1", rc == 1, "rc=%d" % rc)
    check(name + " output before", out == expected_out, repr(out))
    check(name + " message", message in err, repr(err))


def chars(values):
    return "".join(chr(v) for v in values)


# GBK: every pair and every ASCII byte, both ways. Back to GBK, U+0080-U+00FF are single bytes
# and U+20AC and U+0000 have no mapping, so they stay out.
gbk_text = []
for lead in range(0x81, 0xFF):
    for trail in range(0x40, 0xFF):
        try:
            gbk_text.append(bytes([lead, trail]).decode("gbk"))
        except UnicodeDecodeError:
            pass
    gbk_text.append("\n")
ascii_text = chars(range(1, 0x80))
gbk_all = (ascii_text + "".join(gbk_text)).encode("gbk")
same_as_iconv("GBK", "UTF-8", gbk_all, "gbk->utf8")
utf8_for_gbk = "".join(c for c in ascii_text + "".join(gbk_text) if not 0x80 <= ord(c) <= 0xFF)
same_as_iconv("UTF-8", "GBK", utf8_for_gbk.encode("utf-8"), "utf8->gbk")
refused("UTF-8", "GBK", "a\u20acb".encode("utf-8"), b"a", "U+20AC", "utf8->gbk euro")
refused("UTF-8", "GBK", b"ab\xff", b"ab", "invalid or incomplete UTF-8", "utf8->gbk invalid")
refused("GBK", "UTF-8", b"x\xa1\x40", b"x", "0xA1 0x40", "gbk->utf8 unmapped pair")

# UCS-4 in host order (little-endian here): every scalar value.
ucs4_name = "UCS-4LE" if sys.byteorder == "little" else "UCS-4BE"
scalars = chars(v for v in range(0, 0x110000) if not 0xD800 <= v < 0xE000)
same_as_iconv(ucs4_name, "UTF-8", scalars.encode("utf-32-le" if sys.byteorder == "little"
                                                  else "utf-32-be"), "ucs4->utf8")
bmp = chars(v for v in range(0, 0x10000) if not 0xD800 <= v < 0xE000)
same_as_iconv("UTF-8", ucs4_name, bmp.encode("utf-8"), "utf8->ucs4")
refused("UTF-8", ucs4_name, "a\U0001F600".encode("utf-8"), "a".encode("utf-32-le"),
        "beyond U+FFFF", "utf8->ucs4 astral")
refused(ucs4_name, "UTF-8", b"A\0\0\0\0\0\0\x80", b"A", "0x80000000", "ucs4->utf8 31 bits")
refused(ucs4_name, "UTF-8", b"A\0\0\0B\0", b"A", "incomplete", "ucs4->utf8 cut")

# Windows-1252 both ways: every defined byte (0x00 included).
cp1252_bytes = bytes(b for b in range(256) if b not in (0x81, 0x8D, 0x8F, 0x90, 0x9D))
same_as_iconv("WINDOWS-1252", "UTF-8", cp1252_bytes * 3, "cp1252->utf8")
same_as_iconv("UTF-8", "WINDOWS-1252", cp1252_bytes.decode("cp1252").encode("utf-8"),
              "utf8->cp1252")
refused("WINDOWS-1252", "UTF-8", b"ab\x81c", b"ab", "0x81", "cp1252->utf8 undefined")
refused("UTF-8", "WINDOWS-1252", "a\u0100".encode("utf-8"), b"a", "U+0100",
        "utf8->cp1252 unmapped")

# Code pages: every byte both map the same way. Byte 0x00 and the deliberate deviations
# (Windows-874 0x80, ISO 8859-6 digits, ISO 8859-7 0xA1 0xA2 0xA4 0xA5 0xAA) stay out.
deviations = {"CP874": {0x80}, "ISO-8859-6": set(range(0x30, 0x3A)),
              "ISO-8859-7": {0xA1, 0xA2, 0xA4, 0xA5, 0xAA}}
pages = ["CP862", "CP874", "WINDOWS-1250", "WINDOWS-1251"] + \
    ["ISO-8859-%d" % n for n in (1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 13, 14, 15, 16)]
python_codec = {"CP862": "cp862", "CP874": "cp874", "WINDOWS-1250": "cp1250",
                "WINDOWS-1251": "cp1251"}
for page in pages:
    codec = python_codec.get(page, page.replace("ISO-", "iso").replace("-", "_"))
    data = []
    for b in range(1, 256):
        if b in deviations.get(page, set()):
            continue
        try:
            bytes([b]).decode(codec)
        except UnicodeDecodeError:
            continue
        data.append(b)
    same_as_iconv(page, "UTF-8", bytes(data), page.lower() + "->utf8")
refused("ISO-8859-7", "UTF-8", b"a\xa4", b"a", "0xA4", "iso8859-7 unmapped")
refused("ISO-8859-1", "UTF-8", b"a\x00b", b"a", "0x00", "iso8859-1 zero byte")
rc, out, _ = run([KERNA, "iconv", "-f", "iso-8859-6", "-t", "utf-8"], b"1")
check("iso8859-6 digit", rc == 0 and out == "\u0661".encode("utf-8"), repr(out))

# A file argument gives what standard input gives.
with tempfile.NamedTemporaryFile(delete=False) as f:
    f.write(gbk_all)
try:
    rc, out, _ = run([KERNA, "iconv", "-f", "GBK", "-t", "UTF-8", f.name], b"")
    check("file argument", rc == 0 and out == gbk_all.decode("gbk").encode("utf-8"))
finally:
    os.unlink(f.name)

# The list, and usage errors.
rc, out, _ = run([KERNA, "iconv", "-l"], b"")
listed = out.decode().splitlines()
check("list", rc == 0 and len(listed) == 6 + 18 and "GBK -> UTF-8" in listed
      and "UTF-8 -> %s" % ucs4_name in listed and "ISO-8859-16 -> UTF-8" in listed, listed)
rc, _, err = run([KERNA, "iconv", "-f", "GBK", "-t", "WINDOWS-1252"], b"")
check("no such direction", rc == 2 and "no conversion from GBK to WINDOWS-1252" in err, err)
rc, _, err = run([KERNA, "iconv", "-f", "KOI8-R", "-t", "UTF-8"], b"")
check("unknown encoding", rc == 2 and "unknown encoding KOI8-R" in err, err)
rc, _, err = run([KERNA, "iconv", "-f", "GBK", "-t", "UTF-8", "/nonexistent/input"], b"")
check("missing file", rc == 1 and "cannot open /nonexistent/input" in err, err)

print("%d passed, %d failed" % (passed, failed))
sys.exit(1 if failed else 0)
