#ifndef TESTS_SUPPORT_SNAPSHOTTESTDISKS_H
#define TESTS_SUPPORT_SNAPSHOTTESTDISKS_H

#include <map>
#include <string>
#include <vector>

#include "foundation/RecordDirInfoEx.h"
#include "foundation/RecordInfo.h"
#include "snapshot/SnapshotQueryCondition.h"
#include "tests/support/TempDir.h"

// Snapshot disks served the host's way for one test: the named folders of a
// fresh TempDir, snapshot directories of group 1 with data files of
// `fileSize` bytes, given to SnapshotDiskManagerImplEx (started) with a
// cycle-write policy for the test channel, and to the retriever. The
// manager is stopped and its lists emptied at destruction.
class SnapshotTestDisks {
public:
    SnapshotTestDisks(std::vector<std::string> const& folders, long long fileSize);
    ~SnapshotTestDisks();
    SnapshotTestDisks(SnapshotTestDisks const&) = delete;
    SnapshotTestDisks& operator=(SnapshotTestDisks const&) = delete;

    TempDir const& root() const { return m_root; }
    RecordDirInfoEx const& dir(size_t i) const { return m_dirs.at(i); }

    // Device "NVR" at 10.0.0.7, camera 1; its device dir.
    static RecordInfo channel();
    static constexpr char const* kDeviceDir = "NVR_10.0.0.7_1";
    // The bytes of the test data's snapN.jpg (inline: the test programs
    // know where the test data lies).
#ifdef RECSTORE_TESTDATA_DIR
    static std::string picture(int n) {
        return TempDir::readWhole(std::string(RECSTORE_TESTDATA_DIR) + "/snapshots/snap" + std::to_string(n) + ".jpg");
    }
#endif
    // The channel's pictures in [begin, end) ms, every burst mode.
    static SnapshotQueryCondition condition(long long begin, long long end);
    // What the channel's index of `date` on `dir` names, by time (ms): each
    // picture read from its data file ("<outside>" past its end). entries:
    // the index's entries.
    static std::map<long long, std::string> stored(RecordDirInfoEx const& dir, std::string const& date,
                                                   int* entries = nullptr);

private:
    TempDir m_root;
    std::vector<RecordDirInfoEx> m_dirs;
};

#endif
