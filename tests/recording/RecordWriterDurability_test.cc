// What the recording path leaves on disk when things go wrong: a writer
// closed late by a directory's close thread, sessions giving back their
// disk, syncs per flush, and power cuts between any two disk calls.
#include <gtest/gtest.h>

#include <unistd.h>

#include <climits>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "directory/LastRecordFileInfoManager.h"
#include "directory/PlainRecordDir.h"
#include "disk/RecordDiskManagerImpl.h"
#include "foundation/ReturnCode.h"
#include "host/HostClock.h"
#include "index/RecordFileIndexNodeInfo.h"
#include "index/RecordIndexFileParserEx.h"
#include "index/RecordIndexParserImplEx.h"
#include "recording/RecordStorage.h"
#include "recording/RecordStorageTSImpl.h"
#include "recording/TSFrameQueue.h"
#include "tracking/RecordingMarkManager.h"
#include "tests/support/FaultInjection.h"
#include "tests/support/HostRootGuard.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestBlock.h"

namespace {

constexpr long long kDay0 = 1704110400;  // 2024-01-01 12:00:00 UTC
constexpr char const* kDate = "2024-01-01";
constexpr char const* kDeviceDir = "NVR_10.0.0.7_2";

struct Block : TestBlock {
    Block(int frameType, long long seconds, int packets, char tag)
        : TestBlock(1, frameType, seconds * 1000000, packets, tag) {}
};

bool waitFor(std::function<bool()> const& condition) {
    for (int i = 0; i < 2000 && !condition(); ++i) usleep(5000);
    return condition();
}

class RecordWriterDurabilityTest : public ::testing::Test {
protected:
    void SetUp() override {
        setenv("TZ", "UTC", 1);
        tzset();
        useDisk("sda1", 1, 0);
        LastRecordFileInfoManager::getInstance()->clear();
    }
    void TearDown() override {
        m_session.reset();
        RecordDiskManagerImpl::getInstance()->clear();
        LastRecordFileInfoManager::getInstance()->clear();
        HostClock::reset();
    }

    void useDisk(std::string const& name, int diskType, int format) {
        m_disk.makeDir(name);
        m_dir.setRecordRootDir(m_disk.path(name));
        m_dir.setRecordDiskName("sda1");
        m_dir.setFileSegmentSize(20 * TestBlock::kPacket);
        m_dir.setDiskType(diskType);
        m_dir.setFileSystemFormat(format);
        RecordDiskManagerImpl::getInstance()->setRecordDirInfoList({m_dir});
    }
    RecordStorageTSImpl& openSession() {
        m_session.reset(new RecordStorageTSImpl());
        RecordInfo info;
        info.setDeviceId("NVR");
        info.setDeviceIP("10.0.0.7");
        info.setCameraId(2);
        m_session->open(info, false);
        m_session->setTSFrameQueue(&m_queue);
        return *m_session;
    }
    int write(Block const& block) { return m_session->write(0, &block.data); }
    PlainRecordDir* plainDir() {
        return static_cast<PlainRecordDir*>(
            RecordDiskManagerImpl::getInstance()->getRecordDir(m_dir.getRecordRootDir()).get());
    }
    std::string dateDir() const { return m_dir.getRecordRootDir() + "/record/" + kDeviceDir + "/" + kDate; }

    // Every item of every entry in the day's index, as (file, position,
    // length); nothing when there is no readable index.
    struct Item {
        std::string strFile;
        int nPos;
        int nLength;
    };
    std::vector<Item> indexedItems() {
        std::vector<Item> items;
        RecordIndexFileParserEx parser;
        if (parser.open(m_dir, kDate, kDeviceDir, 0, 0) != 1) return items;
        int length = 0;
        char* image = parser.getIndexInfo(length);
        RecordIndexParserImplEx entries;
        entries.setIndexInfo(m_dir, kDate, kDeviceDir, image, length, 0);
        RecordIndexParserImplEx::FileList files;
        entries.getRecordFileInfoList(0, LLONG_MAX, files);
        for (SafePointer<RecordFileInfo> const& file : files) {
            RecordFileIndexNodeInfo nodes;
            entries.getRecordFileIndexNodeInfoList(file->getRecordFileName().c_str(), nodes);
            items.push_back(Item{file->getRecordFileName(), 0, 0});  // the entry names the file
            for (RecordIndexNode const& node : nodes.getRecordIndexNodeList())
                items.push_back(Item{file->getRecordFileName(), node.getFilePos(), node.getDataLength()});
        }
        parser.close();
        return items;
    }

    HostRootGuard m_root;
    TempDir m_disk;
    RecordDirInfoEx m_dir;
    TSFrameQueue m_queue{1024 * 1024};
    std::unique_ptr<RecordStorageTSImpl> m_session;
};

TEST_F(RecordWriterDurabilityTest, CloseThreadLeavesTheNextFilesMarkAndMemoryAlone) {
    auto plan = std::make_shared<FaultPlan>();
    FaultInjection faults(plan);
    useDisk("sda1", 1, 0);
    openSession();
    ASSERT_EQ(0, write(Block(1, kDay0, 2, 'A')));
    // Held back so the handed writer is closed only after the next file is open.
    plainDir()->stopDetectionThread();
    plan->throwOnWriteAt(1);
    ASSERT_EQ(OV_RECORD_IO_ERROR, write(Block(2, kDay0 + 1, 1, 'B')));
    ASSERT_TRUE(plainDir()->isIOError());
    ASSERT_EQ(0, write(Block(1, kDay0 + 2, 2, 'C')));
    SafePointer<RecordFileInfo> next = m_session->getRecordFileInfo();
    ASSERT_EQ(2, next->getFileNumber());
    int data = 0, time = 0, interval = 0, end = 0, endBefore = 0;
    bool closed = false;
    ASSERT_TRUE(LastRecordFileInfoManager::getInstance()->getRecordValidLength(next, data, time, interval,
                                                                              endBefore, closed));

    plainDir()->startDetectionThread();
    ASSERT_TRUE(waitFor([&]() { return !plainDir()->isIOError(); }));
    EXPECT_TRUE(RecordingMarkManager::getInstance()->isExistMark(kDeviceDir, kDate));
    ASSERT_TRUE(LastRecordFileInfoManager::getInstance()->getRecordValidLength(next, data, time, interval,
                                                                              end, closed));
    EXPECT_EQ(endBefore, end);
    m_session->close();
    EXPECT_FALSE(RecordingMarkManager::getInstance()->isExistMark(kDeviceDir, kDate));
    // The given-up entry stays as its last flush left it (none yet); the
    // late close wrote nothing over the next entry.
    std::vector<Item> items = indexedItems();
    ASSERT_EQ(3u, items.size());
    EXPECT_EQ(items[0].strFile.substr(0, 5) + items[1].strFile.substr(0, 5), "0000100002");
    EXPECT_EQ(2 * TestBlock::kPacket, items[2].nLength);
}

TEST_F(RecordWriterDurabilityTest, EachSessionGivesBackItsDiskReferenceOnce) {
    RecordDiskManagerImpl* disks = RecordDiskManagerImpl::getInstance();
    auto record = [&](int camera) {
        std::unique_ptr<RecordStorage> storage(new RecordStorage());
        RecordInfo info;
        info.setDeviceId("NVR");
        info.setDeviceIP("10.0.0.7");
        info.setCameraId(camera);
        storage->open(info, false);
        storage->setTSFrameQueue(&m_queue);
        Block block(1, kDay0, 2, 'A');
        EXPECT_EQ(0, storage->write(0, &block.data));
        return storage;
    };
    std::unique_ptr<RecordStorage> first = record(1);
    std::unique_ptr<RecordStorage> second = record(2);
    EXPECT_EQ(2, disks->getDiskReferenceCount("sda1"));
    second->close();
    second->close();
    second.reset();
    EXPECT_EQ(1, disks->getDiskReferenceCount("sda1"));
    first.reset();  // closes on the way out
    EXPECT_EQ(0, disks->getDiskReferenceCount("sda1"));
}

// Syncs while recording. With a flush interval (local disk, share) the
// index waits for it, and then the data and after it the index are synced;
// a share without cache writes its index with every block and syncs only at
// close.
TEST_F(RecordWriterDurabilityTest, FlushesSyncOnlyWhereTheyAreCheap) {
    struct Case {
        int nDiskType;
        int nFormat;
        int nItemsWithinAMinute;
        int nSyncsAfterAMinute;
    };
    for (Case const& test : {Case{1, 0, 0, 2}, Case{4, 0, 0, 2}, Case{4, 6, 1, 0}}) {
        SCOPED_TRACE(test.nDiskType * 10 + test.nFormat);
        auto plan = std::make_shared<FaultPlan>();
        FaultInjection faults(plan);
        useDisk("nas" + std::to_string(test.nDiskType * 10 + test.nFormat), test.nDiskType, test.nFormat);
        openSession();
        int syncs = plan->flushCalls();
        for (int i = 0; i < 3; ++i) {
            HostClock::shift(0.001);
            ASSERT_EQ(0, write(Block(1, kDay0 + i, 2, static_cast<char>('A' + i))));
        }
        EXPECT_EQ(1 + test.nItemsWithinAMinute, static_cast<int>(indexedItems().size()));
        EXPECT_EQ(1, plan->flushCalls() - syncs);  // the new entry's head
        syncs = plan->flushCalls();
        HostClock::shift(61);
        ASSERT_EQ(0, write(Block(1, kDay0 + 3, 2, 'D')));
        EXPECT_EQ(3u, indexedItems().size());
        EXPECT_EQ(test.nSyncsAfterAMinute, plan->flushCalls() - syncs);
        syncs = plan->flushCalls();
        m_session->close();
        EXPECT_EQ(2, plan->flushCalls() - syncs);  // data, then index with its seal
        EXPECT_EQ(5u, indexedItems().size());
        RecordDiskManagerImpl::getInstance()->clear();
        HostClock::reset();
    }
}

// A power cut before each disk call in turn, from a restart that joins the
// day's file, through the file change to the next one, a flush and the
// close. The index may keep unsynced bytes (its pages reached the disk by
// chance) or not. Whatever is left, every index item names record bytes that
// survived, in a file that survived; and a cut after the close loses nothing.
TEST_F(RecordWriterDurabilityTest, FailedDataSyncAtCloseAddsNoItemsToTheIndex) {
    auto plan = std::make_shared<FaultPlan>();
    {
        FaultInjection faults(plan);
        plan->spareUnsyncedBytesOf(".index");  // worst case: the index reached the disk
        openSession();
        ASSERT_EQ(0, write(Block(1, kDay0, 4, 'A')));
        ASSERT_EQ(0, write(Block(2, kDay0 + 1, 4, 'B')));
        plan->failFlushAt(1);  // the data sync of the close
        m_session->close();
        plan->powerCut();
    }
    std::vector<Item> items = indexedItems();
    ASSERT_FALSE(items.empty());  // the entry is there, with no item
    for (Item const& item : items) EXPECT_EQ(0, item.nLength) << item.strFile;
}

TEST_F(RecordWriterDurabilityTest, PowerCutBeforeAnyCallLeavesNoIndexItemWithoutItsData) {
    std::vector<Block> before = {Block(1, kDay0, 8, 'A')};
    // E ends D's item before the flush at F, whose item G joins before the close.
    std::vector<Block> blocks = {Block(1, kDay0 + 10, 4, 'B'), Block(2, kDay0 + 11, 4, 'C'),
                                 Block(1, kDay0 + 12, 4, 'D'), Block(1, kDay0 + 13, 4, 'E'),
                                 Block(1, kDay0 + 14, 2, 'F'), Block(2, kDay0 + 15, 2, 'G')};
    std::string expected[2] = {"AAAAAAAABBBBCCCC", "DDDDEEEEFFGG"};  // per file, a letter a packet
    int cuts = 0;
    int runs = 0;
    int withItems = 0;
    for (char const* spared : {"", ".index"}) {
        for (int cut = 1;; ++cut) {
            SCOPED_TRACE(std::string(spared) + " cut " + std::to_string(cut));
            bool fired = false;
            {
                auto plan = std::make_shared<FaultPlan>();
                FaultInjection faults(plan);
                if (*spared != '\0') plan->spareUnsyncedBytesOf(spared);
                useDisk("run" + std::to_string(++runs), 1, 0);
                LastRecordFileInfoManager::getInstance()->clear();
                openSession();
                for (Block const& block : before) ASSERT_EQ(0, write(block));
                m_session->close();
                plan->powerCutAtCall(cut);
                openSession();
                for (Block const& block : blocks) {
                    if (block.bytes[1] == 'F') HostClock::shift(61);
                    write(block);
                }
                m_session->close();
                fired = plan->hasPowerCutFired();
                if (!fired) plan->powerCut();
            }
            HostClock::reset();
            if (!fired) {
                std::map<std::string, int> indexed;  // by file number
                for (Item const& item : indexedItems()) indexed[item.strFile.substr(0, 5)] += item.nLength;
                EXPECT_EQ(16 * TestBlock::kPacket, indexed["00001"]);
                EXPECT_EQ(12 * TestBlock::kPacket, indexed["00002"]);
                break;
            }
            ++cuts;
            std::vector<std::string> files;
            for (Item const& item : indexedItems()) {
                if (files.empty() || files.back() != item.strFile) files.push_back(item.strFile);
                std::string content = TempDir::readWhole(dateDir() + "/" + item.strFile);
                ASSERT_EQ(0, access((dateDir() + "/" + item.strFile).c_str(), F_OK)) << item.strFile;
                ASSERT_LE(static_cast<size_t>(item.nPos + item.nLength), content.size()) << item.strFile;
                ASSERT_LE(files.size(), 2u);
                for (int at = item.nPos; at < item.nPos + item.nLength; at += TestBlock::kPacket)
                    ASSERT_EQ(expected[files.size() - 1][static_cast<size_t>(at / TestBlock::kPacket)],
                              content[static_cast<size_t>(at) + 1])
                        << item.strFile << " at " << at;
                if (files.size() == 2 && item.nLength > 0) ++withItems;
            }
        }
    }
    EXPECT_GT(cuts, 40);
    EXPECT_GT(withItems, 0);  // some cuts came after the second file's items were made durable
}

}  // namespace
