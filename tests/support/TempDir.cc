#include "tests/support/TempDir.h"

#include <ftw.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <vector>

namespace {

int removeEntry(char const* path, struct stat const*, int type, struct FTW*) {
    return type == FTW_DP ? rmdir(path) : unlink(path);
}

bool makeParents(std::string const& path) {
    for (size_t pos = 1; pos < path.size(); ++pos) {
        if (path[pos] != '/') continue;
        std::string part = path.substr(0, pos);
        struct stat info {};
        if (stat(part.c_str(), &info) == 0) continue;
        if (mkdir(part.c_str(), 0755) != 0) return false;
    }
    return true;
}

}  // namespace

TempDir::TempDir() {
    char const* base = getenv("TMPDIR");
    std::string pattern = std::string(base && *base ? base : "/tmp") + "/recstore-XXXXXX";
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    if (mkdtemp(buffer.data()) != nullptr) m_strRoot = buffer.data();
}

TempDir::~TempDir() {
    if (!m_strRoot.empty()) nftw(m_strRoot.c_str(), &removeEntry, 16, FTW_DEPTH | FTW_PHYS);
}

std::string TempDir::path(std::string const& rel) const {
    return rel.empty() ? m_strRoot : m_strRoot + "/" + rel;
}

bool TempDir::writeFile(std::string const& rel, std::string const& bytes) const {
    std::string full = path(rel);
    if (!makeParents(full)) return false;
    std::ofstream out(full, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(out);
}

std::string TempDir::readFile(std::string const& rel) const { return readWhole(path(rel)); }

std::string TempDir::readWhole(std::string const& wholePath) {
    std::ifstream in(wholePath, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

long long TempDir::fileSize(std::string const& rel) const {
    struct stat info {};
    if (stat(path(rel).c_str(), &info) != 0) return -1;
    return static_cast<long long>(info.st_size);
}

bool TempDir::exists(std::string const& rel) const {
    struct stat info {};
    return stat(path(rel).c_str(), &info) == 0;
}

bool TempDir::makeDir(std::string const& rel) const {
    std::string full = path(rel);
    if (!makeParents(full + "/")) return false;
    struct stat info {};
    return stat(full.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}
