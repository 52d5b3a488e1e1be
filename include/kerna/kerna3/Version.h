// Version.h
//
// CVersion, the record with which a library or an application states its name, its three
// version numbers, its source revision and its build date, and prints them in one line.
#ifndef KERNA_KERNA3_VERSION_H_
#define KERNA_KERNA3_VERSION_H_

#include <cstdint>

#include "kerna/kerna3/Defs.h"
#include "kerna/kerna3/Time.h"

namespace Tessaran {
namespace Kerna {

/// A version record: plain data, copied as a whole. No lock.
class KERNA_API CVersion {
public:
    /// `nameText`: at most 31 characters are kept (null: empty). `svnRevision`: plain digits
    /// ("1234") or a keyword text, whose letters, "$" and ":" in front of the number are skipped
    /// ("$Revision: 1234 $"); 0 when no number stands there (or for null). `dateText` has the form
    /// of the compiler's __DATE__, "Jul 22 2025": a month abbreviation (in English; month 13 when
    /// none fits), the day, the year. Only year, month and day of `date` are set; a null or
    /// short text gives month 13, day and year 0.
    CVersion(const char* nameText, int majorNumber, int minorNumber, int revisionNumber,
             const char* svnRevision, const char* dateText);

    /// One line at level 4 through logInfo:
    /// "[*] <name> <major>.<minor>.<revision>.<svn> Built in <year>/<month>/<day> [*]", month and
    /// day right-aligned in two places.
    void print() const;

    /// Sets year, month and day of appDate from a date of the form of __DATE__ (as the
    /// constructor reads it). Writes appDate without a lock.
    static void setAppDate(const char* dateText);

    char name[32];  ///< terminated
    int32_t major;
    int32_t minor;
    int32_t revision;
    int32_t svn;      ///< source revision number
    SystemTime date;  ///< build date: year, month and day; the other fields 0

    /// The application's date; until setAppDate the fields of CTime::minTime (2000-01-01).
    static SystemTime appDate;
};

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_KERNA3_VERSION_H_
