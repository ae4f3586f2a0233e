#ifndef TESTS_SUPPORT_TEMPDIR_H
#define TESTS_SUPPORT_TEMPDIR_H

#include <string>

// A fresh folder under $TMPDIR (or /tmp) for one test, removed with all its
// contents at destruction. Relative names may contain folders; writeFile
// creates them.
class TempDir {
public:
    TempDir();
    ~TempDir();

    TempDir(TempDir const&) = delete;
    TempDir& operator=(TempDir const&) = delete;

    std::string const& root() const { return m_strRoot; }
    // root + "/" + rel (root itself for "").
    std::string path(std::string const& rel) const;

    bool writeFile(std::string const& rel, std::string const& bytes) const;
    // The whole file; "" if it cannot be read.
    std::string readFile(std::string const& rel) const;
    // Any file by its whole path; "" if it cannot be read.
    static std::string readWhole(std::string const& wholePath);
    // -1 if missing.
    long long fileSize(std::string const& rel) const;
    bool exists(std::string const& rel) const;
    bool makeDir(std::string const& rel) const;

private:
    std::string m_strRoot;
};

#endif
