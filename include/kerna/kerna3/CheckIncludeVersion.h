// CheckIncludeVersion.h
//
// The include-version check: libraries that share headers report, at start-up, the revision of
// each shared header they were built with, and the check reports where those revisions differ.
// A failed check ends the process once its report is printed. Where the check is not wanted,
// its stand-alone variant takes its place: building with KERNA_INCLUDE_VERSION_CHECK_OFF
// defined makes CCheckIncludeVersion name the variant instead of the check.
//
// A source-level interface: not exported from libkerna.so; it comes with the static companion
// library kerna_source. Every library of a process that uses it reaches the one object of the
// process.
#ifndef KERNA_KERNA3_CHECKINCLUDEVERSION_H_
#define KERNA_KERNA3_CHECKINCLUDEVERSION_H_

#include <cstdint>

namespace Tessaran {
namespace Kerna {

/// One shared header: where it comes from and its revision (digits only when valid).
struct IncludeItem {
    const char* url;
    const char* version;
};

/// What one library reported. The check keeps the pointers, not copies: the texts and the item
/// array must outlive the check.
struct IncludeRecord {
    const char* libName;
    const IncludeItem* items;
    int32_t count;
};

class CheckIncludeVersionInternal;

/// The process-wide check, made on first use. checkVersion may be called from any thread (one
/// call at a time runs); checkResult takes no lock and runs after the libraries have reported.
class CCheckIncludeVersionInter {
public:
    static CCheckIncludeVersionInter* instance();

    /// Logs the library's items at level 4 and records them. False, with lines at level 2, when
    /// a version text is not all digits (or null or empty; an item with a null url counts so
    /// too), or when a url that an earlier library reported has another version text (compared
    /// as text: "12" and "012" differ); once a bad version was seen, records are no longer
    /// compared. The record is kept either way. Null `items` with a positive `count`, or a negative
    /// `count`, is refused with a line at level 2 and records nothing.
    bool checkVersion(const char* libName, const IncludeItem* items, int count);

    /// Logs "CCheckIncludeVersionInter::checkResult successful" at level 4 when every check
    /// passed. Otherwise prints a report at level 2 (the bad items, or for each library which
    /// headers to update to the highest revision seen) and ends the process through the
    /// assertion "m_matchFlag".
    void checkResult();

    virtual ~CCheckIncludeVersionInter();

private:
    friend class CheckIncludeVersionInternal;
    CCheckIncludeVersionInter();
    CCheckIncludeVersionInter(const CCheckIncludeVersionInter&) = delete;
    CCheckIncludeVersionInter& operator=(const CCheckIncludeVersionInter&) = delete;

    CheckIncludeVersionInternal* m_internal;
};

/// The stand-alone variant: every operation only logs "CheckIncludeVersion is turned off." at
/// level 4; checkVersion returns true.
class CCheckIncludeVersionOff {
public:
    static CCheckIncludeVersionOff* instance();
    bool checkVersion(const char* libName, const IncludeItem* items, int count);
    void checkResult();
};

#ifdef KERNA_INCLUDE_VERSION_CHECK_OFF
typedef CCheckIncludeVersionOff CCheckIncludeVersion;
#else
typedef CCheckIncludeVersionInter CCheckIncludeVersion;
#endif

}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_KERNA3_CHECKINCLUDEVERSION_H_
