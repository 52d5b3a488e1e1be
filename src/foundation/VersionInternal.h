// VersionInternal.h
//
// The version records in the older form: the library's own, stated once at load, and the
// process-wide list that every such record joins (nothing reads it but the tests).
#ifndef KERNA_SRC_FOUNDATION_VERSIONINTERNAL_H_
#define KERNA_SRC_FOUNDATION_VERSIONINTERNAL_H_

#include "kerna/kerna3/Version.h"

namespace Tessaran {
namespace Kerna {
namespace Detail {

/// A record made the older way: as CVersion, except that the revision number is read with
/// "%d" behind the first ":" of `revisionText` (or from its start), and a text holding "M" logs
/// at level 4 that the build has files not committed. Adds name and version numbers to the
/// process-wide list.
CVersion makeLegacyVersion(const char* name, int major, int minor, int revision,
                           const char* revisionText, const char* date);

/// The library's own record, "Kerna2" 1.0.0, revision text "Win32", the build date; made at the
/// first call (the start-up unit makes it at load).
const CVersion& libraryLegacyVersion();

/// The number of records in the process-wide list.
int legacyVersionCount();

}  // namespace Detail
}  // namespace Kerna
}  // namespace Tessaran

#endif  // KERNA_SRC_FOUNDATION_VERSIONINTERNAL_H_
