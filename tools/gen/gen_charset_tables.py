#!/usr/bin/env python3
"""Generate src/utils/CharsetTables.cpp, the constant tables of the character-set conversions.

The mappings come from Python's built-in codecs ("gbk", "cp1252", "cp862", ...). The few places
where Kerna's tables deliberately differ from the published mappings are applied below, one by
one, each checked against the value the codec gives so that a changed codec is noticed.

Usage: gen_charset_tables.py [OUTPUT]      (default: standard output)

The output is deterministic; a CTest test regenerates it and compares it with the committed file.
"""

import codecs
import sys

# ---------------------------------------------------------------------------------------------
# GBK (code page 936)


def decode_one(data, encoding):
    """The single Unicode value that `data` decodes to, or 0 when the codec refuses it."""
    try:
        text = data.decode(encoding)
    except UnicodeDecodeError:
        return 0
    if len(text) != 1:
        return 0
    value = ord(text)
    if value > 0xFFFF:
        raise SystemExit("%s: %s decodes outside 16 bits" % (encoding, data.hex()))
    return value


def gbk_tables():
    # Single bytes: 0x00-0x7F and 0x81-0xFF stand for the Unicode value of the same number;
    # 0x80 is the euro sign of code page 936, which only decodes (no reverse mapping).
    single = list(range(256))
    single[0x80] = 0x20AC

    # Pairs: lead 0x81-0xFE, trail indexed 0x00-0xFF, 0 = no mapping.
    pages = {}
    for lead in range(0x81, 0xFF):
        pages[lead] = [decode_one(bytes([lead, trail]), "gbk") if trail else 0
                       for trail in range(256)]

    # Reverse: from the codec's encoder, for every value with a high byte other than 0.
    # High byte 0 has no row, so U+0001-U+00FF always encode as the single byte of the same value.
    reverse = {}
    for value in range(0x100, 0x10000):
        if 0xD800 <= value < 0xE000:
            continue
        try:
            encoded = chr(value).encode("gbk")
        except UnicodeEncodeError:
            continue
        if len(encoded) != 2:
            raise SystemExit("gbk: U+%04X encodes to %d bytes" % (value, len(encoded)))
        lead, trail = encoded
        if pages[lead][trail] != value:
            raise SystemExit("gbk: U+%04X does not round-trip" % value)
        reverse.setdefault(value >> 8, [0] * 256)[value & 0xFF] = (lead << 8) | trail

    # The euro sign decodes from byte 0x80 only; it must have no reverse entry.
    if 0x20 in reverse and reverse[0x20][0xAC]:
        raise SystemExit("gbk: unexpected pair for U+20AC")
    return single, pages, reverse


# ---------------------------------------------------------------------------------------------
# Single-byte code pages


def code_page(encoding):
    """256 values; byte 0x00 and bytes the codec refuses are 0 (no mapping)."""
    return [0] + [decode_one(bytes([b]), encoding) for b in range(1, 256)]


def deviate(table, byte, expected, value, name):
    """Replace one entry, checking first that the codec gave the expected published value."""
    if table[byte] != expected:
        raise SystemExit("%s: byte 0x%02X is U+%04X, expected U+%04X"
                         % (name, byte, table[byte], expected))
    table[byte] = value


def code_page_tables():
    pages = []

    cp874 = code_page("cp874")
    deviate(cp874, 0x80, 0x20AC, 0, "cp874")  # Windows-874 without the euro sign
    iso6 = code_page("iso8859_6")
    for digit in range(10):  # ISO 8859-6 with Arabic-Indic digits in place of ASCII digits
        deviate(iso6, 0x30 + digit, 0x30 + digit, 0x660 + digit, "iso8859_6")
    iso7 = code_page("iso8859_7")  # ISO 8859-7 in its 1987 form
    deviate(iso7, 0xA1, 0x2018, 0x02BD, "iso8859_7")
    deviate(iso7, 0xA2, 0x2019, 0x02BC, "iso8859_7")
    deviate(iso7, 0xA4, 0x20AC, 0, "iso8859_7")
    deviate(iso7, 0xA5, 0x20AF, 0, "iso8859_7")
    deviate(iso7, 0xAA, 0x037A, 0, "iso8859_7")

    pages.append(("cp862", "IBM code page 862", code_page("cp862")))
    pages.append(("cp874", "Windows-874, byte 0x80 unmapped", cp874))
    pages.append(("cp1250", "Windows-1250", code_page("cp1250")))
    pages.append(("cp1251", "Windows-1251", code_page("cp1251")))
    for part in (1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 13, 14, 15, 16):
        name = "iso8859_%d" % part
        if part == 6:
            pages.append((name, "ISO 8859-6, 0x30-0x39 as U+0660-U+0669", iso6))
        elif part == 7:
            pages.append((name, "ISO 8859-7 (1987): 0xA1 U+02BD, 0xA2 U+02BC, "
                                "0xA4 0xA5 0xAA unmapped", iso7))
        else:
            pages.append((name, "ISO 8859-%d" % part, code_page(name)))
    return pages


def utf8_packed(table, stops):
    """Each entry's UTF-8 bytes packed for direct copying: byte i in bits 8i..8i+7, the length in
    bits 24..31; 0 for the bytes in `stops`."""
    packed = []
    for b, value in enumerate(table):
        if b in stops:
            packed.append(0)
            continue
        encoded = chr(value).encode("utf-8")
        word = len(encoded) << 24
        for i, byte in enumerate(encoded):
            word |= byte << (8 * i)
        packed.append(word)
    return packed


def cp1252_table():
    """Windows-1252 with its five undefined bytes holding their own value."""
    table = [decode_one(bytes([b]), "cp1252") for b in range(256)]
    undefined = [b for b in range(1, 256) if table[b] == 0]
    if undefined != [0x81, 0x8D, 0x8F, 0x90, 0x9D]:
        raise SystemExit("cp1252: unexpected undefined bytes %s" % undefined)
    for b in undefined:
        table[b] = b
    return table


# ---------------------------------------------------------------------------------------------
# Output


def hex_rows(values, indent, per_line, width):
    """Comma-separated hex numbers, `per_line` to a line; zeros written as a bare 0."""
    fmt = "0x%%0%dX" % width
    lines = []
    for start in range(0, len(values), per_line):
        chunk = values[start:start + per_line]
        lines.append(indent + ",".join(fmt % v if v else "0" for v in chunk) + ",")
    return "\n".join(lines)


def emit(out):
    single, pages, reverse = gbk_tables()
    code_pages = code_page_tables()
    cp1252 = cp1252_table()
    w = out.write

    w("// CharsetTables.cpp: constant tables of the character-set conversions.\n")
    w("//\n")
    w("// GENERATED by tools/gen/gen_charset_tables.py from Python's codecs: do not edit.\n")
    w("// A test regenerates this file and fails on any difference.\n\n")
    w('#include "utils/CharsetTables.h"\n\n')
    w("// clang-format off\n\n")
    w("namespace Tessaran {\nnamespace Utils {\nnamespace Detail {\n\n")
    w("namespace {\n\n")

    leads = sorted(pages)
    w("// GBK pairs: one row of 256 trail bytes for each lead byte 0x%02X-0x%02X.\n"
      % (leads[0], leads[-1]))
    w("const unsigned short gbkRows[%d][256] = {\n" % len(leads))
    for lead in leads:
        w("    {// lead 0x%02X\n%s\n    },\n" % (lead, hex_rows(pages[lead], "     ", 16, 4)))
    w("};\n\n")

    highs = sorted(reverse)
    w("// GBK reverse rows: pairs (lead << 8 | trail) indexed by the low byte of the value.\n")
    w("const unsigned short gbkReverseRows[%d][256] = {\n" % len(highs))
    for high in highs:
        w("    {// U+%02Xxx\n%s\n    },\n" % (high, hex_rows(reverse[high], "     ", 16, 4)))
    w("};\n\n")

    w("}  // namespace\n\n")

    w("const unsigned short gbkSingleTable[256] = {\n%s\n};\n\n"
      % hex_rows(single, "    ", 16, 4))

    w("const unsigned short* const gbkPageTable[256] = {\n")
    row_of = {lead: i for i, lead in enumerate(leads)}
    for start in range(0, 256, 8):
        items = ["gbkRows[%d]" % row_of[b] if b in row_of else "nullptr"
                 for b in range(start, start + 8)]
        w("    " + ", ".join(items) + ",\n")
    w("};\n\n")

    w("const unsigned short* const gbkReverseTable[256] = {\n")
    rrow_of = {high: i for i, high in enumerate(highs)}
    for start in range(0, 256, 8):
        items = ["gbkReverseRows[%d]" % rrow_of[b] if b in rrow_of else "nullptr"
                 for b in range(start, start + 8)]
        w("    " + ", ".join(items) + ",\n")
    w("};\n\n")

    w("// Windows-1252; the undefined bytes 0x81, 0x8D, 0x8F, 0x90, 0x9D hold their own value.\n")
    w("const unsigned int cp1252Table[256] = {\n%s\n};\n\n" % hex_rows(cp1252, "    ", 16, 4))
    w("// Windows-1252 as UTF-8: bytes packed from bit 0, the length in bits 24-31; 0 for the\n"
      "// undefined bytes, which stop a conversion.\n")
    w("const unsigned int cp1252Utf8Table[256] = {\n%s\n};\n\n"
      % hex_rows(utf8_packed(cp1252, {0x81, 0x8D, 0x8F, 0x90, 0x9D}), "    ", 8, 8))

    for name, title, table in code_pages:
        w("// %s; 0 = no mapping.\n" % title)
        w("const unsigned short %sTable[256] = {\n%s\n};\n\n"
          % (name, hex_rows(table, "    ", 16, 4)))

    w("// clang-format on\n\n")
    w("}  // namespace Detail\n}  // namespace Utils\n}  // namespace Tessaran\n")


def main():
    if len(sys.argv) > 2:
        raise SystemExit(__doc__)
    if len(sys.argv) == 2:
        with open(sys.argv[1], "w", encoding="ascii", newline="\n") as out:
            emit(out)
    else:
        emit(sys.stdout)


if __name__ == "__main__":
    main()
