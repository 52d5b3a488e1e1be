// CheckIncludeVersion.cpp
//
// The include-version check and its stand-alone variant. This unit is also part of the static
// companion library, where it runs outside libkerna.so: it reaches the library only through the
// exported interface (the print path, the older CMutex, the assertion report) and the one check
// object that libkerna.so keeps.
#include "kerna/kerna3/CheckIncludeVersion.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "base/InterfaceLog.h"
#include "base/Log.h"  // KERNA_ASSERT only: KERNA_LOG is not for a unit of the companion library
#include "foundation/CheckIncludeVersionInternal.h"

#define CHECK_LOG(level, function, ...)               \
    KERNA_INTERFACE_LOG(level, "CheckIncludeVersion", \
                        "Tessaran::Kerna::CCheckIncludeVersionInter::" function, __VA_ARGS__)

namespace Tessaran {
namespace Kerna {

namespace {

// A version text is valid when it is not null, not empty and all digits.
bool validVersion(const char* version) {
    if (version == nullptr || *version == '\0') return false;
    for (const char* p = version; *p; ++p) {
        if (*p < '0' || *p > '9') return false;
    }
    return true;
}

bool validItem(const IncludeItem& item) {
    return item.url != nullptr && validVersion(item.version);
}

const char* text(const char* s) { return s != nullptr ? s : "(null)"; }

}  // namespace

CCheckIncludeVersionInter* CheckIncludeVersionInternal::create() {
    return new CCheckIncludeVersionInter;
}

CCheckIncludeVersionInter::CCheckIncludeVersionInter()
    : m_internal(new CheckIncludeVersionInternal) {}

CCheckIncludeVersionInter::~CCheckIncludeVersionInter() { delete m_internal; }

CCheckIncludeVersionInter* CCheckIncludeVersionInter::instance() {
    return Detail::includeVersionCheck();
}

bool CCheckIncludeVersionInter::checkVersion(const char* libName, const IncludeItem* items,
                                             int count) {
    CheckIncludeVersionInternal& self = *m_internal;
    ::CGuard guard(self.lock);
    if (count < 0 || (items == nullptr && count > 0)) {
        CHECK_LOG(2, "checkVersion", "this:%p %s include items are invalid, count:%d\n",
                  static_cast<void*>(this), text(libName), count);
        return false;
    }
    CHECK_LOG(4, "checkVersion", "check include version:%s\n", text(libName));
    std::vector<int> invalid;
    for (int i = 0; i < count; ++i) {
        CHECK_LOG(4, "checkVersion", "%s %s\n", text(items[i].url), text(items[i].version));
        if (!validItem(items[i])) {
            if (invalid.empty()) self.m_selfFlag = false;
            invalid.push_back(i);
        }
    }
    bool failed = false;
    if (!invalid.empty()) {
        failed = true;
        CHECK_LOG(2, "checkVersion", "this:%p %s version error\n", static_cast<void*>(this),
                  text(libName));
        for (int i : invalid) {
            CHECK_LOG(2, "checkVersion", "this:%p %s %s\n", static_cast<void*>(this),
                      text(items[i].url), text(items[i].version));
        }
    } else if (self.m_selfFlag) {
        // Records are compared while every version so far was a number. The first earlier
        // record that differs from this one is reported, and no other.
        for (const IncludeRecord& earlier : self.records) {
            bool differs = false;
            for (int a = 0; a < earlier.count; ++a) {
                const IncludeItem& old = earlier.items[a];
                if (old.url == nullptr) continue;
                for (int b = 0; b < count; ++b) {
                    const IncludeItem& now = items[b];
                    if (std::strcmp(old.url, now.url) != 0 || old.version == nullptr ||
                        std::strcmp(old.version, now.version) == 0) {
                        continue;
                    }
                    if (!differs) {
                        CHECK_LOG(2, "checkVersion", "this:%p check include version failed\n",
                                  static_cast<void*>(this));
                        differs = true;
                    }
                    CHECK_LOG(2, "checkVersion", "this:%p %s %s %s\n", static_cast<void*>(this),
                              text(earlier.libName), old.url, old.version);
                    CHECK_LOG(2, "checkVersion", "this:%p %s %s %s\n", static_cast<void*>(this),
                              text(libName), now.url, now.version);
                }
            }
            if (differs) {
                failed = true;
                break;
            }
        }
    }
    self.records.push_back(IncludeRecord{libName, items, count});
    if (failed) self.m_matchFlag = false;
    return !failed;
}

void CCheckIncludeVersionInter::checkResult() {
    CheckIncludeVersionInternal& self = *m_internal;
    void* const me = static_cast<void*>(this);
    if (self.m_matchFlag) {
        CHECK_LOG(4, "checkResult", "CCheckIncludeVersionInter::checkResult successful\n");
        return;
    }
    CHECK_LOG(2, "checkResult", "this:%p CCheckIncludeVersionInter::checkResult error:%s\n", me,
              self.m_selfFlag ? "match error" : "self error");
    if (!self.m_selfFlag) {
        CHECK_LOG(2, "checkResult",
                  "this:%p ----------------check include report start---------------\n", me);
        for (const IncludeRecord& record : self.records) {
            for (int i = 0; i < record.count; ++i) {
                if (validItem(record.items[i])) continue;
                CHECK_LOG(2, "checkResult", "libname:%s, url:%s version:%s\n", text(record.libName),
                          text(record.items[i].url), text(record.items[i].version));
            }
        }
        CHECK_LOG(2, "checkResult",
                  "this:%p ----------------check include report end---------------\n", me);
    } else {
        // Every item is valid here: the highest revision of each url over all records.
        std::map<std::string, int> lastVersion;
        for (const IncludeRecord& record : self.records) {
            for (int i = 0; i < record.count; ++i) {
                const int version = std::atoi(record.items[i].version);
                auto found = lastVersion.find(record.items[i].url);
                if (found == lastVersion.end()) {
                    lastVersion.emplace(record.items[i].url, version);
                } else if (version > found->second) {
                    found->second = version;
                }
            }
        }
        CHECK_LOG(4, "checkResult", "--------include version all start---------\n");
        for (const auto& entry : lastVersion) {
            CHECK_LOG(4, "checkResult", "%s %d\n", entry.first.c_str(), entry.second);
        }
        CHECK_LOG(4, "checkResult", "--------include version all end---------\n");

        CHECK_LOG(2, "checkResult",
                  "this:%p ----------------check include report start---------------\n", me);
        for (const IncludeRecord& record : self.records) {
            bool upToDate = true;
            for (int i = 0; i < record.count; ++i) {
                auto node = lastVersion.find(record.items[i].url);
                KERNA_ASSERT(node != lastVersion.end());
                if (std::atoi(record.items[i].version) != node->second) upToDate = false;
            }
            if (upToDate) {
                CHECK_LOG(2, "checkResult", "this:%p [%s], include is ok\n", me,
                          text(record.libName));
            } else {
                CHECK_LOG(2, "checkResult", "this:%p [%s], include version suggest:\n", me,
                          text(record.libName));
                // One line per item, each at most 1024 characters, the whole at most 12800 bytes.
                char suggestion[12800];
                size_t used = 0;
                suggestion[0] = '\0';
                for (int i = 0; i < record.count; ++i) {
                    const char* url = record.items[i].url;
                    const char* slash = std::strrchr(url, '/');
                    const char* http = std::strstr(url, "http:");
                    char line[1024];
                    std::snprintf(line, sizeof line, "%s -r%d %s\n", slash ? slash + 1 : "null",
                                  lastVersion.find(url)->second, text(http));
                    const size_t length = std::strlen(line);
                    if (used + length >= sizeof suggestion) break;
                    std::memcpy(suggestion + used, line, length + 1);
                    used += length;
                }
                CHECK_LOG(2, "checkResult", "this:%p \n%s", me, suggestion);
            }
            CHECK_LOG(2, "checkResult", "this:%p ------------------------------------\n", me);
        }
        CHECK_LOG(2, "checkResult",
                  "this:%p ----------------check include report end---------------\n", me);
    }
    Detail::assertionFailed("m_matchFlag", __PRETTY_FUNCTION__, __FILE__, __LINE__);
}

CCheckIncludeVersionOff* CCheckIncludeVersionOff::instance() {
    static CCheckIncludeVersionOff off;
    return &off;
}

bool CCheckIncludeVersionOff::checkVersion(const char*, const IncludeItem*, int) {
    KERNA_INTERFACE_LOG(4, "CheckIncludeVersion",
                        "Tessaran::Kerna::CCheckIncludeVersionOff::checkVersion",
                        "CheckIncludeVersion is turned off.\n");
    return true;
}

void CCheckIncludeVersionOff::checkResult() {
    KERNA_INTERFACE_LOG(4, "CheckIncludeVersion",
                        "Tessaran::Kerna::CCheckIncludeVersionOff::checkResult",
                        "CheckIncludeVersion is turned off.\n");
}

}  // namespace Kerna
}  // namespace Tessaran
