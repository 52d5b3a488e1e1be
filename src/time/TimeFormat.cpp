// TimeFormat.cpp
//
// The format walk and the number reader behind CTime::format and CTime::parse.

#include "time/TimeFormat.h"

#include <cstring>

#include "time/Calendar.h"

namespace Tessaran {
namespace Kerna {
namespace Detail {

namespace {

constexpr size_t kMissing = static_cast<size_t>(-1);

size_t firstPosition(const char* text, char letter) {
    const char* found = std::strchr(text, letter);
    return found ? static_cast<size_t>(found - text) : kMissing;
}

/// The date order of the first positions of "y", "M" and "d" (kMissing for an absent letter).
int orderOfPositions(size_t y, size_t m, size_t d, bool* valid) {
    *valid = true;
    if (y < m && m < d) return CTime::ymd;
    if (m < d && d < y) return CTime::mdy;
    if (d < m && m < y) return CTime::dmy;
    *valid = false;
    return CTime::ymd;
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// Decimal text of `value`, at least `width` digits with leading zeros, a sign in front of a
/// negative value. `buf` holds 16 bytes; returns the length (no terminator written).
__attribute__((always_inline)) inline size_t numberText(int32_t value, int width, char* buf) {
    // The common cases of a calendar value first: two digits and four-digit years.
    if (static_cast<uint32_t>(value) < 100 && width <= 2) {
        if (value < 10 && width < 2) {
            buf[0] = static_cast<char>('0' + value);
            return 1;
        }
        static const char kPairs[] =
            "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
            "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
            "8081828384858687888990919293949596979899";
        buf[0] = kPairs[2 * value];
        buf[1] = kPairs[2 * value + 1];
        return 2;
    }
    if (value >= 1000 && value <= 9999 && width <= 4) {
        buf[0] = static_cast<char>('0' + value / 1000);
        buf[1] = static_cast<char>('0' + value / 100 % 10);
        buf[2] = static_cast<char>('0' + value / 10 % 10);
        buf[3] = static_cast<char>('0' + value % 10);
        return 4;
    }
    char digits[12];
    size_t count = 0;
    uint32_t magnitude =
        value < 0 ? 0u - static_cast<uint32_t>(value) : static_cast<uint32_t>(value);
    do {
        digits[count++] = static_cast<char>('0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude != 0);
    while (count < static_cast<size_t>(width)) digits[count++] = '0';
    size_t length = 0;
    if (value < 0) buf[length++] = '-';
    while (count > 0) buf[length++] = digits[--count];
    return length;
}

/// Output into a buffer the caller has sized for the whole text, without checks. Blanks are held
/// back until something else follows them, so that a "t" that takes them back leaves nothing
/// written past the end of the final text: the buffer never needs more than the text.
class UnboundedWriter {
public:
    explicit UnboundedWriter(char* out) : m_out(out) {}

    void put(char c) {
        if (c == ' ') {
            ++m_pendingBlanks;
            return;
        }
        flushBlanks();
        m_out[m_length++] = c;
    }
    void put(const char* text, size_t length) {
        for (size_t i = 0; i < length; ++i) put(text[i]);
    }
    void putNumber(int32_t value, int width) {
        flushBlanks();
        m_length += numberText(value, width, m_out + m_length);
    }
    void dropTrailingBlanks() { m_pendingBlanks = 0; }
    size_t finish() {
        flushBlanks();
        m_out[m_length] = '\0';
        return m_length;
    }

private:
    void flushBlanks() {
        for (; m_pendingBlanks > 0; --m_pendingBlanks) m_out[m_length++] = ' ';
    }

    char* m_out;
    size_t m_length = 0;
    size_t m_pendingBlanks = 0;
};

/// Bounded output: keeps the length the whole text needs, stores what fits, and counts the blanks
/// at the end of the text so that they can be taken back without reading the buffer.
class BoundedWriter {
public:
    BoundedWriter(char* out, size_t capacity) : m_out(out), m_capacity(capacity) {}

    void put(char c) {
        if (m_length + 1 < m_capacity) m_out[m_length] = c;
        ++m_length;
        m_trailingBlanks = c == ' ' ? m_trailingBlanks + 1 : 0;
    }
    void put(const char* text, size_t length) {
        for (size_t i = 0; i < length; ++i) put(text[i]);
    }
    void putNumber(int32_t value, int width) {
        char text[16];
        put(text, numberText(value, width, text));
    }
    void dropTrailingBlanks() {
        m_length -= m_trailingBlanks;
        m_trailingBlanks = 0;
    }
    size_t finish() {
        if (m_capacity > 0) m_out[m_length < m_capacity ? m_length : m_capacity - 1] = '\0';
        return m_length;
    }

private:
    char* m_out;
    size_t m_capacity;
    size_t m_length = 0;
    size_t m_trailingBlanks = 0;
};

struct DatePart {
    char text[16];
    size_t length;
};

size_t runLength(const char* at, char a, char b) {
    size_t n = 0;
    while (at[n] == a || at[n] == b) ++n;
    return n;
}

}  // namespace

int dateOrderOf(const char* format, bool* valid) {
    return orderOfPositions(firstPosition(format, 'y'), firstPosition(format, 'M'),
                            firstPosition(format, 'd'), valid);
}

char separatorOf(const char* format, bool* valid) {
    *valid = true;
    if (std::strchr(format, '.')) return '.';
    if (std::strchr(format, '/')) return '/';
    if (std::strchr(format, '-')) return '-';
    *valid = false;
    return '-';
}

DeclaredSettings settingsOf(const char* format) {
    DeclaredSettings declared;
    declared.settings.separator = separatorOf(format, &declared.separatorValid);
    declared.settings.twelveHour = std::strchr(format, 'h') != nullptr;
    declared.settings.dateOrder = dateOrderOf(format, &declared.orderValid);
    return declared;
}

namespace {

template <typename Writer>
FormatResult formatWalk(const SystemTime& t, const char* format, int mask,
                        const FormatSettings& settings, Writer& writer) {
    FormatResult result = {0, false};

    // One pass over the format finds what the walk needs up front: how many letters of each
    // date kind it holds (the date texts depend on it), where each kind first stands (the date
    // order) and whether it holds "h" (the hour mode).
    size_t years = 0, months = 0, days = 0;
    size_t firstYear = kMissing, firstMonth = kMissing, firstDay = kMissing;
    bool hasSmallH = false;
    for (size_t i = 0; format[i] != '\0'; ++i) {
        switch (format[i]) {
            case 'y':
                if (years++ == 0) firstYear = i;
                break;
            case 'M':
                if (months++ == 0) firstMonth = i;
                break;
            case 'd':
                if (days++ == 0) firstDay = i;
                break;
            case 'h':
                hasSmallH = true;
                break;
            default:
                break;
        }
    }
    // With printf digits a sign takes one place of the width.
    const bool printf = settings.printfDigits;
    auto width = [printf](int32_t value, int digits) {
        return printf && value < 0 ? digits - 1 : digits;
    };
    DatePart year, month, day;
    year.length = month.length = day.length = 0;
    if (years > 2) {
        year.length = numberText(t.year, width(t.year, 4), year.text);
    } else if (years > 0) {
        int32_t lastTwo = t.year % 100;
        if (!printf && lastTwo < 0) lastTwo = -lastTwo;
        year.length = numberText(lastTwo, width(lastTwo, 2), year.text);
    }
    if (months > 0)
        month.length = numberText(t.month, width(t.month, months >= 2 ? 2 : 1), month.text);
    if (days > 0) day.length = numberText(t.day, width(t.day, days >= 2 ? 2 : 1), day.text);

    int order = settings.dateOrder;
    if (mask & CTime::formatDateOrder) {
        bool valid = true;
        order = orderOfPositions(firstYear, firstMonth, firstDay, &valid);
        result.dateOrderInvalid = !valid;
    }
    const DatePart* sequence[3];
    if (order == CTime::mdy) {
        sequence[0] = &month, sequence[1] = &day, sequence[2] = &year;
    } else if (order == CTime::dmy) {
        sequence[0] = &day, sequence[1] = &month, sequence[2] = &year;
    } else {
        sequence[0] = &year, sequence[1] = &month, sequence[2] = &day;
    }
    // A missing first part lets the others move up one place; else a missing second part lets
    // the third move up.
    static const DatePart kEmpty = {{0}, 0};
    if (sequence[0]->length == 0) {
        sequence[0] = sequence[1];
        sequence[1] = sequence[2];
        sequence[2] = &kEmpty;
    } else if (sequence[1]->length == 0) {
        sequence[1] = sequence[2];
        sequence[2] = &kEmpty;
    }

    const bool twelveHour = (mask & CTime::formatHour) ? hasSmallH : settings.twelveHour;
    int32_t shownHour = t.hour;
    if (twelveHour) {
        if (t.hour > 12) {
            shownHour = t.hour - 12;
        } else if (t.hour == 0) {
            shownHour = 12;
        }
    }

    size_t nextPart = 0;
    const char* p = format;
    while (*p) {
        const char c = *p;
        size_t run = 1;
        switch (c) {
            case '-':
            case '.':
            case '/':
                writer.put((mask & CTime::formatSeparator) ? c : settings.separator);
                break;
            case 'h':
            case 'H':
                run = runLength(p, 'h', 'H');
                writer.putNumber(shownHour, width(shownHour, run > 1 ? 2 : 1));
                break;
            case 'y':
            case 'M':
            case 'd':
                run = runLength(p, c, c);
                // A fourth date part has no text left and writes nothing.
                if (nextPart < 3) {
                    writer.put(sequence[nextPart]->text, sequence[nextPart]->length);
                    ++nextPart;
                }
                break;
            case 'm':
                run = runLength(p, 'm', 'm');
                writer.putNumber(t.minute, width(t.minute, run > 1 ? 2 : 1));
                break;
            case 's':
                run = runLength(p, 's', 's');
                writer.putNumber(t.second, width(t.second, run > 1 ? 2 : 1));
                break;
            case 't':
                run = runLength(p, 't', 't');
                if (twelveHour) {
                    writer.put(t.hour >= 12 ? "PM" : "AM", 2);
                } else {
                    writer.dropTrailingBlanks();
                }
                break;
            default:
                writer.put(c);
                break;
        }
        p += run;
    }
    result.length = writer.finish();
    return result;
}

}  // namespace

FormatResult formatFields(const SystemTime& t, const char* format, int mask,
                          const FormatSettings& settings, char* out, size_t capacity) {
    BoundedWriter writer(out, capacity);
    return formatWalk(t, format, mask, settings, writer);
}

FormatResult formatFieldsUnbounded(const SystemTime& t, const char* format, int mask,
                                   const FormatSettings& settings, char* out) {
    UnboundedWriter writer(out);
    return formatWalk(t, format, mask, settings, writer);
}

size_t readNumbers(const char* text, int32_t* numbers, size_t maxCount, int* sign) {
    size_t count = 0;
    const char* p = text;
    while (count < maxCount) {
        // A run of digits, possibly empty; values beyond 32 bits stop at the largest int, which
        // normalisation clamps anyway.
        int64_t value = 0;
        for (; isDigit(*p); ++p) {
            if (value <= INT32_MAX) value = value * 10 + (*p - '0');
        }
        numbers[count++] = static_cast<int32_t>(value > INT32_MAX ? INT32_MAX : value);
        for (; *p && !isDigit(*p); ++p) {
            if (sign != nullptr && (*p == '+' || *p == '-')) *sign = *p == '+' ? 1 : -1;
        }
        if (!*p) break;
    }
    return count;
}

ParseStatus parseFields(const char* text, const char* format, SystemTime& t) {
    int32_t numbers[6] = {0, 0, 0, 0, 0, 0};
    const size_t count = readNumbers(text, numbers, 6, nullptr);

    ParseStatus status = ParseStatus::ok;
    if (count < 6) status = ParseStatus::notEnough;

    if (status == ParseStatus::ok) {
        bool valid = true;
        const int order = dateOrderOf(format, &valid);
        if (valid) {
            if (order == CTime::ymd) {
                t.year = numbers[0], t.month = numbers[1], t.day = numbers[2];
            } else if (order == CTime::mdy) {
                t.month = numbers[0], t.day = numbers[1], t.year = numbers[2];
            } else {
                t.day = numbers[0], t.month = numbers[1], t.year = numbers[2];
            }
        }
        t.hour = numbers[3];
        t.minute = numbers[4];
        t.second = numbers[5];

        if (std::strchr(format, 'h')) {
            if (t.hour > 12) {
                status = ParseStatus::hourTooLarge;
            } else if (std::strstr(text, "PM")) {
                if (t.hour != 12) t.hour += 12;
            } else if (std::strstr(text, "AM")) {
                if (t.hour == 12) t.hour = 0;
            } else {
                status = ParseStatus::noMeridiem;
            }
        }
    }

    if (status != ParseStatus::ok) {
        t.year = t.month = t.day = t.hour = t.minute = t.second = 0;
        return status;
    }
    normaliseFields(t, true);
    return ParseStatus::ok;
}

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran
