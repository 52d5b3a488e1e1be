// Version.cpp
//
// CVersion; the library's own version record in the older form, stated once at load into a
// process-wide list of such records; and the one include-version check of the process.
#include "kerna/kerna3/Version.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "base/Log.h"
#include "base/ProcessObject.h"
#include "foundation/CheckIncludeVersionInternal.h"
#include "foundation/VersionInternal.h"
#include "kerna/kerna3/Mutex.h"

namespace Tessaran {
namespace Kerna {

SystemTime CVersion::appDate = {2000, 1, 1, 6, 0, 0, 0, -1};

namespace {

// Month 1 to 12 from the first three characters of a __DATE__ text, 13 when none fits; day and
// year read with "%d %d" behind them (0 where nothing is read).
void readDate(const char* text, int32_t& year, int32_t& month, int32_t& day) {
    static const char kMonths[12][4] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                        "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    year = day = 0;
    month = 13;
    if (text == nullptr) return;
    for (int i = 0; i < 12; ++i) {
        if (std::strncmp(text, kMonths[i], 3) == 0) {
            month = i + 1;
            break;
        }
    }
    if (std::strlen(text) < 3) return;
    int d = 0, y = 0;
    std::sscanf(text + 3, "%d %d", &d, &y);
    day = d;
    year = y;
}

void copyName(char (&out)[32], const char* name) {
    std::memset(out, 0, sizeof out);
    if (name != nullptr) std::strncpy(out, name, sizeof out - 1);
}

// The older records, kept in a list that nothing reads.
struct LegacyVersionList {
    struct Entry {
        char name[32];
        int32_t major;
        int32_t minor;
        int32_t revision;
    };
    CMutex lock;
    std::vector<Entry> entries;
    void published() {}
    void atProcessExit() {}
};

struct IncludeCheckObject {
    CCheckIncludeVersionInter* check = CheckIncludeVersionInternal::create();
    void published() {}
    void atProcessExit() {}
};

}  // namespace

CVersion::CVersion(const char* nameText, int majorNumber, int minorNumber, int revisionNumber,
                   const char* svnRevision, const char* dateText)
    : major(majorNumber), minor(minorNumber), revision(revisionNumber), svn(0), date{0, 0, 0, 0,
                                                                                     0, 0, 0, 0} {
    copyName(name, nameText);
    if (svnRevision != nullptr) {
        if (std::isdigit(static_cast<unsigned char>(svnRevision[0]))) {
            svn = std::atoi(svnRevision);
        } else {
            int number = 0;
            if (std::sscanf(svnRevision, "%*[$a-zA-Z:]%d", &number) == 1) svn = number;
        }
    }
    readDate(dateText, date.year, date.month, date.day);
}

void CVersion::print() const {
    logInfo("[*] %s %d.%d.%d.%d Built in %d/%2d/%2d [*]\n", name, major, minor, revision, svn,
            date.year, date.month, date.day);
}

void CVersion::setAppDate(const char* dateText) {
    readDate(dateText, appDate.year, appDate.month, appDate.day);
}

namespace Detail {

CVersion makeLegacyVersion(const char* name, int major, int minor, int revision,
                           const char* revisionText, const char* date) {
    CVersion version(name, major, minor, revision, nullptr, date);
    if (revisionText != nullptr) {
        const char* colon = std::strchr(revisionText, ':');
        int number = 0;
        if (std::sscanf(colon != nullptr ? colon + 1 : revisionText, "%d", &number) == 1) {
            version.svn = number;
        }
        if (std::strchr(revisionText, 'M') != nullptr) {
            KERNA_LOG(4,
                      "Some [%s] files are not commit to SVN server. It compied wtih local "
                      "modified files.\n",
                      version.name);
        }
    }
    LegacyVersionList* list = ProcessObject<LegacyVersionList>::get();
    LegacyVersionList::Entry entry;
    std::memcpy(entry.name, version.name, sizeof entry.name);
    entry.major = major;
    entry.minor = minor;
    entry.revision = revision;
    CGuard guard(list->lock);
    list->entries.push_back(entry);
    return version;
}

const CVersion& libraryLegacyVersion() {
    static const CVersion* const version =
        new CVersion(makeLegacyVersion("Kerna2", 1, 0, 0, "Win32", __DATE__));
    return *version;
}

int legacyVersionCount() {
    LegacyVersionList* list = ProcessObject<LegacyVersionList>::get();
    CGuard guard(list->lock);
    return static_cast<int>(list->entries.size());
}

CCheckIncludeVersionInter* includeVersionCheck() {
    return ProcessObject<IncludeCheckObject>::get()->check;
}

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran
