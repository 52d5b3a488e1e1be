// TimeFormat.h
//
// The text forms of a calendar value: the walk over a format string that writes a date and time
// ("yyyy-MM-dd HH:mm:ss", "MM/dd/yy hh:mm tt", ...), the reading of six numbers back from such a
// text, and the rule that finds the order of year, month and day in a format. The functions take
// the settings they depend on as arguments and report problems as results, so that each calling
// class keeps its own settings and writes its own log lines. Private to the library.

#ifndef KERNA_SRC_TIME_TIMEFORMAT_H_
#define KERNA_SRC_TIME_TIMEFORMAT_H_

#include <cstddef>
#include <cstdint>

#include "kerna/kerna3/Time.h"

namespace Tessaran {
namespace Kerna {
namespace Detail {

/// The settings a format walk reads when the mask leaves the decision to the process.
struct FormatSettings {
    int dateOrder;    ///< CTime::ymd, CTime::mdy or CTime::dmy (another value: ymd)
    char separator;   ///< written for each "-", "." or "/" of the format
    bool twelveHour;  ///< hours 1 to 12 with AM/PM
    /// Numbers as sprintf's "%0Nd" writes them: a sign counts towards the width ("%02d" of -5 is
    /// "-5", not "-05"), and a short year is the signed year % 100. The older CTime writes so;
    /// for values from 0 up both forms are the same.
    bool printfDigits = false;
};

/// The settings a format text declares, by the rule of CTime::setFormatString: the separator
/// ("." if the text holds one, else "/", else "-"), twelve hours if it holds "h", and the date
/// order (dateOrderOf). The flags say whether the text declared a separator and a valid order;
/// where it did not, the settings hold "-" and ymd. `format` must not be null.
struct DeclaredSettings {
    FormatSettings settings;
    bool separatorValid;
    bool orderValid;
};
DeclaredSettings settingsOf(const char* format);

/// The date order written in `format`: the first positions of "y", "M" and "d", a missing letter
/// counting as beyond all others. y<M<d gives ymd, M<d<y mdy, d<M<y dmy. For any other
/// arrangement `*valid` is set false and the result is ymd. `format` must not be null.
int dateOrderOf(const char* format, bool* valid);

/// The separator a format string declares: "." if it holds one, else "/", else "-"; with none of
/// them `*valid` is set false and the result is "-". `format` must not be null.
char separatorOf(const char* format, bool* valid);

/// Result of a format walk.
struct FormatResult {
    size_t length;          ///< length of the whole text, without terminator
    bool dateOrderInvalid;  ///< the order was taken from the format and was not one of the three
};

/// Writes the text of `t` for `format` into `out`, at most `capacity` bytes including the
/// terminator (nothing at all with capacity 0), and returns the length the whole text needs,
/// like snprintf. `mask` holds CTime::formatSeparator, formatDateOrder and formatHour: a set bit
/// lets `format` decide instead of `settings`. Works on any field values, normalised or not.
/// `format` must not be null.
FormatResult formatFields(const SystemTime& t, const char* format, int mask,
                          const FormatSettings& settings, char* out, size_t capacity);

/// As formatFields into a buffer that the caller has sized for the whole text (see the bound of
/// CTime::format); nothing is checked.
FormatResult formatFieldsUnbounded(const SystemTime& t, const char* format, int mask,
                                   const FormatSettings& settings, char* out);

/// Reads up to `maxCount` numbers from `text`: at the current place a run of digits (possibly
/// empty, which gives 0; beyond 32 bits the largest int) is the next number, then everything that
/// is no digit is skipped; stops when `maxCount` numbers are counted or the text ends. While
/// skipping, a "+" sets `*sign` to 1 and a "-" to -1 (when `sign` is not null), so the last sign
/// in the text counts. Returns the count (at least 1 with `maxCount` above 0). `text` must not be
/// null.
size_t readNumbers(const char* text, int32_t* numbers, size_t maxCount, int* sign);

/// Outcome of reading a date and time back from text.
enum class ParseStatus {
    ok,            ///< six numbers read, the value normalised
    notEnough,     ///< fewer than six numbers in the text
    hourTooLarge,  ///< twelve-hour format and an hour above 12
    noMeridiem,    ///< twelve-hour format and neither "AM" nor "PM" in the text
};

/// Reads six numbers from `text` into `t`: the first three as year, month and day in the order
/// that `format` declares (kept as they were if the order is none of the three), then hour, minute
/// and second. A format with "h" reads a twelve-hour clock with "AM"/"PM" anywhere in the text.
/// On success the fields are normalised and the weekday computed; on failure year, month, day,
/// hour, minute and second are 0. `wday` (on failure) and `isdst` are left alone. Neither text
/// may be null.
ParseStatus parseFields(const char* text, const char* format, SystemTime& t);

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_TIME_TIMEFORMAT_H_
