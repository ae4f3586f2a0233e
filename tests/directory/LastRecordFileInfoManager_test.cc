#include "directory/LastRecordFileInfoManager.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/support/HostRootGuard.h"

namespace {

SafePointer<RecordFileInfo> channel(char const* root, int camera, char const* date = "2024-01-01") {
    SafePointer<RecordFileInfo> file(new RecordFileInfo());
    RecordDirInfoEx dir;
    dir.setRecordRootDir(root);
    file->setRecordDirInfoEx(dir);
    file->setDeviceId("NVR");
    file->setDeviceIP("10.0.0.7");
    file->setCameraId(camera);
    file->setRecordDate(date);
    return file;
}

class LastRecordFileInfoManagerTest : public ::testing::Test {
protected:
    void SetUp() override { m_memory->clear(); }
    void TearDown() override { m_memory->clear(); }

    HostRootGuard m_root;
    LastRecordFileInfoManager* m_memory = LastRecordFileInfoManager::getInstance();
};

// The buffer holds at most its size and keeps what it had when it refuses;
// bytes without a head can't say where the entry ends, so they are refused
// and the entry goes (the next miss reads the disk).
TEST_F(LastRecordFileInfoManagerTest, BufferRefusesWhatDoesNotFitOrHasNoHead) {
    LastRecordFileInfo info;
    std::string full(LastRecordFileInfo::kIndexBufferSize, 'x');
    EXPECT_FALSE(info.addIndexInfo(nullptr, 1));
    EXPECT_TRUE(info.setIndexInfo(full.data(), static_cast<int>(full.size())));
    EXPECT_TRUE(info.addIndexInfo("y", 0));
    EXPECT_FALSE(info.addIndexInfo("y", 1));
    std::string big(200000, 'z');
    EXPECT_FALSE(info.setIndexInfo(big.data(), static_cast<int>(big.size())));
    EXPECT_EQ(full, std::string(info.getIndexInfo(), static_cast<size_t>(info.getIndexLength())));
    RecordFileInfo target;
    int version = 7;
    EXPECT_EQ(0, info.getRecordFileInfo(target, version));  // no entry yet: the caller takes a new file

    SafePointer<RecordFileInfo> file = channel("/a", 1);
    int data = 0, time = 0, interval = 0, end = 0;
    bool closed = false;
    m_memory->setLastRecordFileInfo(file, 2, nullptr, 0, 1000);
    EXPECT_TRUE(m_memory->getRecordValidLength(file, data, time, interval, end, closed));
    EXPECT_EQ(999, end);
    m_memory->addLastRecordFileInfo(file, "\x06\xE0\x05\x00", 4);  // one item, 5 packets
    EXPECT_FALSE(m_memory->getRecordValidLength(file, data, time, interval, end, closed));
}

// One entry per channel whatever its date; a failed disk takes the entries
// of its directory only; clear takes all.
TEST_F(LastRecordFileInfoManagerTest, OneEntryPerChannelAndErasedByChannelOrDirectory) {
    auto put = [&](SafePointer<RecordFileInfo> const& file) {
        SafePointer<LastRecordFileInfo> entry(new LastRecordFileInfo());
        entry->setRecordFileInfo(*file, 2);
        m_memory->insertLastRecordFileInfo(entry);
    };
    put(channel("/a", 1, "2023-12-31"));
    put(channel("/a", 1));
    put(channel("/a", 2));
    put(channel("/b", 3));
    EXPECT_EQ(3u, m_memory->size());
    SafePointer<RecordFileInfo> found = channel("/a", 1);
    int version = -1;
    EXPECT_TRUE(m_memory->getOldFileIndex(found, version));
    EXPECT_EQ(2, version);
    found = channel("/a", 1, "2023-12-31");
    EXPECT_FALSE(m_memory->getOldFileIndex(found, version));

    m_memory->eraseLastRecordFileInfo(channel("/a", 1)->getRecordDirInfoEx());
    EXPECT_EQ(1u, m_memory->size());
    m_memory->eraseLastRecordFileInfo(channel("/b", 3));
    EXPECT_EQ(0u, m_memory->size());
    put(channel("/b", 3));
    m_memory->clear();
    EXPECT_EQ(0u, m_memory->size());
}

}  // namespace
