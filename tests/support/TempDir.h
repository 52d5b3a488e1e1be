// TempDir.h
//
// Test helper: a fresh directory under /tmp for one test, removed with everything in it when
// the object goes.
#ifndef KERNA_TESTS_SUPPORT_TEMPDIR_H_
#define KERNA_TESTS_SUPPORT_TEMPDIR_H_

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace KernaTest {

class TempDir {
public:
    TempDir() {
        char pattern[] = "/tmp/kerna-test-XXXXXX";
        const char* made = mkdtemp(pattern);
        m_path = made != nullptr ? made : "";
    }
    ~TempDir() {
        std::error_code ignored;
        if (!m_path.empty()) std::filesystem::remove_all(m_path, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    /// The directory, without a final "/".
    const std::string& path() const { return m_path; }
    /// The directory followed by "/" and `name`.
    std::string operator/(const std::string& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

/// The whole contents of a file ("" if it cannot be read).
inline std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

/// Writes `data` to a file, replacing it.
inline void writeFile(const std::string& path, const std::string& data) {
    std::ofstream(path, std::ios::binary) << data;
}

}  // namespace KernaTest

#endif  // KERNA_TESTS_SUPPORT_TEMPDIR_H_
