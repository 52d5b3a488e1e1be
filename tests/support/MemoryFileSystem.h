// MemoryFileSystem.h
//
// Test helper: a file system in memory, to hook under a prefix with hookFileSystem. Paths are
// plain texts; a directory is an entry of its own ("mem:" itself always exists); files carry
// their bytes and a modification time taken from the simulated wall clock. It counts every call
// by operation name, can refuse writes (a full disk) or accept only so many bytes, and searches
// as the default table does: a sorted snapshot with "." and "..", patterns by fnmatch.
#ifndef KERNA_TESTS_SUPPORT_MEMORYFILESYSTEM_H_
#define KERNA_TESTS_SUPPORT_MEMORYFILESYSTEM_H_

#include <fnmatch.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "kerna/kerna3/FileSystem.h"
#include "kerna/kerna3/testing/SimulatedClock.h"

namespace KernaTest {

class MemoryFileSystem : public Tessaran::Kerna::IFileSystem2 {
public:
    struct Node {
        bool directory = false;
        std::string data;
        int64_t mtime = 0;
    };

    explicit MemoryFileSystem(const std::string& root = "mem:") : m_root(root) {}

    // --- test controls ---
    /// Calls of operation `name` so far.
    int calls(const std::string& name) {
        std::lock_guard<std::mutex> g(m_lock);
        return m_calls[name];
    }
    int totalCalls() {
        std::lock_guard<std::mutex> g(m_lock);
        int n = 0;
        for (const auto& c : m_calls) n += c.second;
        return n;
    }
    void resetCalls() {
        std::lock_guard<std::mutex> g(m_lock);
        m_calls.clear();
    }
    /// Writes accept at most this many more bytes (negative: no limit).
    void setWriteBudget(int64_t bytes) {
        std::lock_guard<std::mutex> g(m_lock);
        m_budget = bytes;
    }
    /// While set, an open that would write fails with EACCES (a directory that is not writable).
    void setRefuseOpenForWriting(bool refuse) {
        std::lock_guard<std::mutex> g(m_lock);
        m_refuseWriting = refuse;
    }
    void addFile(const std::string& path, const std::string& data, int64_t mtime) {
        std::lock_guard<std::mutex> g(m_lock);
        Node& n = m_nodes[path];
        n.directory = false;
        n.data = data;
        n.mtime = mtime;
    }
    void addDirectory(const std::string& path) {
        std::lock_guard<std::mutex> g(m_lock);
        m_nodes[path].directory = true;
    }
    bool exists(const std::string& path) {
        std::lock_guard<std::mutex> g(m_lock);
        return m_nodes.count(path) != 0;
    }
    std::string contents(const std::string& path) {
        std::lock_guard<std::mutex> g(m_lock);
        auto it = m_nodes.find(path);
        return it == m_nodes.end() ? std::string() : it->second.data;
    }
    /// The names (not paths) in directory `dir`, sorted.
    std::vector<std::string> list(const std::string& dir) {
        std::lock_guard<std::mutex> g(m_lock);
        std::vector<std::string> out;
        for (const auto& n : m_nodes) {
            if (parentOf(n.first) == dir) out.push_back(n.first.substr(dir.size() + 1));
        }
        return out;
    }
    int openHandles() {
        std::lock_guard<std::mutex> g(m_lock);
        return static_cast<int>(m_handles.size());
    }

    // --- IFileSystem ---
    void* fopen(const char* path, const char* mode) override {
        std::lock_guard<std::mutex> g(m_lock);
        count("fopen");
        const std::string m(mode);
        const bool plus = m.find('+') != std::string::npos;
        const bool r = m.find('r') != std::string::npos;
        const bool w = m.find('w') != std::string::npos;
        const bool a = m.find('a') != std::string::npos;
        if (m_refuseWriting && (w || a || plus)) return fail(EACCES);
        auto it = m_nodes.find(path);
        if (it != m_nodes.end() && it->second.directory) return fail(EISDIR);
        if (it == m_nodes.end()) {
            if (r) return fail(ENOENT);
            if (!parentExists(path)) return fail(ENOENT);
            it = m_nodes.emplace(path, Node()).first;
            it->second.mtime = now();
        }
        if (w) {
            it->second.data.clear();
            it->second.mtime = now();
        }
        auto h = std::make_shared<Handle>();
        h->path = path;
        h->append = a;
        h->canRead = r || plus;
        h->canWrite = w || a || plus;
        m_handles[h.get()] = h;
        return h.get();
    }
    int fclose(void* file) override {
        std::lock_guard<std::mutex> g(m_lock);
        count("fclose");
        return m_handles.erase(file) ? 0 : -1;
    }
    size_t fread(void* buffer, size_t size, size_t count_, void* file) override {
        std::lock_guard<std::mutex> g(m_lock);
        count("fread");
        Handle* h = handle(file);
        if (h == nullptr || !h->canRead || size == 0) return 0;
        const std::string& data = m_nodes[h->path].data;
        const size_t avail = h->pos < static_cast<int64_t>(data.size()) ? data.size() - h->pos : 0;
        const size_t items = std::min(count_, avail / size);
        std::memcpy(buffer, data.data() + h->pos, items * size);
        h->pos += static_cast<int64_t>(items * size);
        return items;
    }
    size_t fwrite(const void* buffer, size_t size, size_t count_, void* file) override {
        std::lock_guard<std::mutex> g(m_lock);
        count("fwrite");
        Handle* h = handle(file);
        if (h == nullptr || !h->canWrite || size == 0) return 0;
        Node& node = m_nodes[h->path];
        size_t items = count_;
        if (m_budget >= 0) items = std::min<size_t>(items, static_cast<size_t>(m_budget) / size);
        if (m_budget >= 0) m_budget -= static_cast<int64_t>(items * size);
        if (h->append) h->pos = static_cast<int64_t>(node.data.size());
        const size_t bytes = items * size;
        if (node.data.size() < h->pos + bytes) node.data.resize(h->pos + bytes);
        node.data.replace(static_cast<size_t>(h->pos), bytes, static_cast<const char*>(buffer),
                          bytes);
        h->pos += static_cast<int64_t>(bytes);
        node.mtime = now();
        if (items < count_) errno = ENOSPC;
        return items;
    }
    int fflush(void*) override {
        std::lock_guard<std::mutex> g(m_lock);
        count("fflush");
        return 0;
    }
    int fseek(void* file, int32_t offset, int whence) override {
        std::lock_guard<std::mutex> g(m_lock);
        count("fseek");
        return seek(file, offset, whence);
    }
    int32_t ftell(void* file) override {
        std::lock_guard<std::mutex> g(m_lock);
        count("ftell");
        Handle* h = handle(file);
        return h == nullptr || h->pos > INT32_MAX ? -1 : static_cast<int32_t>(h->pos);
    }
    char* fgets(char* buffer, int size, void* file) override {
        std::lock_guard<std::mutex> g(m_lock);
        count("fgets");
        Handle* h = handle(file);
        if (h == nullptr || size <= 1) return nullptr;
        const std::string& data = m_nodes[h->path].data;
        if (h->pos >= static_cast<int64_t>(data.size())) return nullptr;
        int n = 0;
        while (n < size - 1 && h->pos < static_cast<int64_t>(data.size())) {
            const char c = data[static_cast<size_t>(h->pos++)];
            buffer[n++] = c;
            if (c == '\n') break;
        }
        buffer[n] = '\0';
        return buffer;
    }
    int fputs(const char* text, void* file) override {
        const size_t n = std::strlen(text);
        const bool ok = fwrite(text, 1, n, file) == n;
        std::lock_guard<std::mutex> g(m_lock);
        count("fputs");
        return ok ? 1 : -1;
    }
    int rename(const char* from, const char* to) override {
        std::lock_guard<std::mutex> g(m_lock);
        count("rename");
        auto it = m_nodes.find(from);
        if (it == m_nodes.end()) return failInt(ENOENT);
        Node n = it->second;
        m_nodes.erase(it);
        m_nodes[to] = n;
        return 0;
    }
    int remove(const char* path) override {
        std::lock_guard<std::mutex> g(m_lock);
        count("remove");
        auto it = m_nodes.find(path);
        if (it == m_nodes.end()) return failInt(ENOENT);
        if (it->second.directory) return failInt(EISDIR);
        m_nodes.erase(it);
        return 0;
    }
    int32_t findfirst(const char* pattern, Tessaran::Kerna::FileInfo* info) override {
        std::lock_guard<std::mutex> g(m_lock);
        count("findfirst");
        if (pattern == nullptr || *pattern == '\0') return -1;
        std::string p(pattern);
        std::replace(p.begin(), p.end(), '\\', '/');  // either separator
        const size_t cut = p.rfind('/');
        const std::string dir = cut == std::string::npos ? m_root : p.substr(0, cut);
        std::string name = cut == std::string::npos ? p : p.substr(cut + 1);
        if (name.empty()) name = "*";
        if (dir != m_root && (m_nodes.count(dir) == 0 || !m_nodes[dir].directory)) {
            return failInt(ENOENT);
        }
        auto search = std::make_shared<Search>();
        search->dir = dir;
        for (const char* special : {".", ".."}) {
            if (fnmatch(name.c_str(), special, 0) == 0) search->names.push_back(special);
        }
        for (const auto& n : m_nodes) {
            if (parentOf(n.first) != dir) continue;
            const std::string entry = n.first.substr(dir.size() + 1);
            if (fnmatch(name.c_str(), entry.c_str(), 0) == 0) search->names.push_back(entry);
        }
        std::sort(search->names.begin(), search->names.end());
        if (search->names.empty()) return failInt(ENOENT);
        int32_t id = m_nextSearch++;
        m_searches[id] = search;
        fill(*search, info);
        return id;
    }
    int findnext(int32_t id, Tessaran::Kerna::FileInfo* info) override {
        std::lock_guard<std::mutex> g(m_lock);
        count("findnext");
        auto it = m_searches.find(id);
        if (it == m_searches.end() || it->second->next >= it->second->names.size()) return -1;
        fill(*it->second, info);
        return 0;
    }
    int findclose(int32_t id) override {
        std::lock_guard<std::mutex> g(m_lock);
        count("findclose");
        return m_searches.erase(id) ? 0 : -1;
    }
    int mkdir(const char* path) override {
        std::lock_guard<std::mutex> g(m_lock);
        count("mkdir");
        if (m_nodes.count(path) || path == m_root) return failInt(EEXIST);
        if (!parentExists(path)) return failInt(ENOENT);
        m_nodes[path].directory = true;
        m_nodes[path].mtime = now();
        return 0;
    }
    int rmdir(const char* path) override {
        std::lock_guard<std::mutex> g(m_lock);
        count("rmdir");
        std::string p(path);
        if (!p.empty() && p.back() == '/') p.pop_back();
        auto it = m_nodes.find(p);
        if (it == m_nodes.end() || !it->second.directory) return failInt(ENOENT);
        for (const auto& n : m_nodes) {
            if (parentOf(n.first) == p) return failInt(ENOTEMPTY);
        }
        m_nodes.erase(it);
        return 0;
    }
    int statfs(const char*, uint64_t* a, uint64_t* t, uint64_t* f) override {
        std::lock_guard<std::mutex> g(m_lock);
        count("statfs");
        *a = 1000;
        *t = 4000;
        *f = 2000;
        return 0;
    }
    int access(const char* path, int) override {
        std::lock_guard<std::mutex> g(m_lock);
        count("access");
        return m_nodes.count(path) || path == m_root ? 0 : failInt(ENOENT);
    }
    int stat(const char* path, Tessaran::Kerna::FileInfo* info) override {
        std::lock_guard<std::mutex> g(m_lock);
        count("stat");
        auto it = m_nodes.find(path);
        if (it == m_nodes.end()) return failInt(ENOENT);
        std::memset(info, 0, sizeof *info);
        std::strncpy(info->name, path, sizeof info->name - 1);
        info->attrib = it->second.directory ? 040755 : 0100644;
        info->timeWrite = info->timeCreate = info->timeAccess = it->second.mtime;
        info->size = static_cast<int64_t>(it->second.data.size());
        return 0;
    }
    int fseek64(void* file, int64_t offset, int whence) override {
        std::lock_guard<std::mutex> g(m_lock);
        count("fseek64");
        return seek(file, offset, whence);
    }
    int64_t ftell64(void* file) override {
        std::lock_guard<std::mutex> g(m_lock);
        count("ftell64");
        Handle* h = handle(file);
        return h == nullptr ? -1 : h->pos;
    }
    int64_t writev(void* file, const Tessaran::Kerna::io_vec* vec, int n) override {
        int64_t total = 0;
        for (int i = 0; i < n; ++i) {
            total += static_cast<int64_t>(fwrite(vec[i].base, 1, vec[i].length, file));
        }
        std::lock_guard<std::mutex> g(m_lock);
        count("writev");
        return total;
    }
    bool setvbuf(void*, char*, int, size_t) override {
        std::lock_guard<std::mutex> g(m_lock);
        count("setvbuf");
        return true;
    }

private:
    struct Handle {
        std::string path;
        int64_t pos = 0;
        bool append = false, canRead = false, canWrite = false;
    };
    struct Search {
        std::string dir;
        std::vector<std::string> names;
        size_t next = 0;
    };

    static std::string parentOf(const std::string& path) {
        const size_t cut = path.rfind('/');
        return cut == std::string::npos ? std::string() : path.substr(0, cut);
    }
    bool parentExists(const std::string& path) {
        const std::string parent = parentOf(path);
        return parent == m_root || (m_nodes.count(parent) && m_nodes[parent].directory);
    }
    static int64_t now() {
        return Tessaran::Kerna::Testing::simulatedClockInstalled()
                   ? Tessaran::Kerna::Testing::simulatedUtc() / 1000
                   : 0;
    }
    void count(const char* name) { ++m_calls[name]; }
    void* fail(int error) {
        errno = error;
        return nullptr;
    }
    int failInt(int error) {
        errno = error;
        return -1;
    }
    Handle* handle(void* file) {
        auto it = m_handles.find(file);
        return it == m_handles.end() ? nullptr : it->second.get();
    }
    int seek(void* file, int64_t offset, int whence) {
        Handle* h = handle(file);
        if (h == nullptr) return -1;
        const int64_t base = whence == 0   ? 0
                             : whence == 1 ? h->pos
                                           : static_cast<int64_t>(m_nodes[h->path].data.size());
        if (base + offset < 0) return failInt(EINVAL);
        h->pos = base + offset;
        return 0;
    }
    void fill(Search& s, Tessaran::Kerna::FileInfo* info) {
        const std::string name = s.names[s.next++];
        std::memset(info, 0, sizeof *info);
        std::strncpy(info->name, name.c_str(), sizeof info->name - 1);
        auto it = m_nodes.find(s.dir + "/" + name);
        if (name == "." || name == ".." || (it != m_nodes.end() && it->second.directory)) {
            info->attrib = Tessaran::Kerna::fileAttributeDirectory;
        }
        if (it != m_nodes.end()) {
            info->size = static_cast<int64_t>(it->second.data.size());
            info->timeWrite = it->second.mtime;
        }
    }

    std::mutex m_lock;
    std::string m_root;
    std::map<std::string, Node> m_nodes;
    std::map<void*, std::shared_ptr<Handle>> m_handles;
    std::map<int32_t, std::shared_ptr<Search>> m_searches;
    int32_t m_nextSearch = 0;
    std::map<std::string, int> m_calls;
    int64_t m_budget = -1;
    bool m_refuseWriting = false;
};

}  // namespace KernaTest

#endif  // KERNA_TESTS_SUPPORT_MEMORYFILESYSTEM_H_
