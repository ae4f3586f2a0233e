#include "tests/support/TempDir.h"

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

#include "host/HostPaths.h"

namespace fs = std::filesystem;

namespace {

// A test program never writes the recorder's fixed paths: whatever logs or
// reads configuration outside a test's own root (an object that outlives
// its test's root, say) lands in a folder of the program, gone at exit.
struct ProgramRoot {
    TempDir dir;
    ProgramRoot() {
        if (HostPaths::getRoot().empty()) HostPaths::setRoot(dir.root());
    }
};
ProgramRoot const g_programRoot;

}  // namespace

TempDir::TempDir() {
    char const* base = getenv("TMPDIR");
    std::string pattern = std::string(base && *base ? base : "/tmp") + "/recstore-XXXXXX";
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    if (mkdtemp(buffer.data()) != nullptr) m_strRoot = buffer.data();
}

TempDir::~TempDir() {
    std::error_code ignored;
    if (!m_strRoot.empty()) fs::remove_all(m_strRoot, ignored);
}

std::string TempDir::path(std::string const& rel) const {
    return rel.empty() ? m_strRoot : m_strRoot + "/" + rel;
}

bool TempDir::writeFile(std::string const& rel, std::string const& bytes) const {
    std::string full = path(rel);
    if (!makeDir(fs::path(rel).parent_path().string())) return false;
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
    std::error_code error;
    auto size = fs::file_size(path(rel), error);
    return error ? -1 : static_cast<long long>(size);
}

bool TempDir::exists(std::string const& rel) const {
    std::error_code ignored;
    return fs::exists(path(rel), ignored);
}

bool TempDir::makeDir(std::string const& rel) const {
    std::error_code ignored;
    fs::create_directories(path(rel), ignored);
    return fs::is_directory(path(rel), ignored);
}
