#include "directory/IndexDirManager.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <set>

#include "tests/support/FaultInjection.h"
#include "tests/support/HostRootGuard.h"

namespace {

namespace fs = std::filesystem;
constexpr int kSize = 64;  // small files keep a pool of a thousand fast

// Index pools on a real folder sda1/record/Index; targets in one date folder.
class IndexDirManagerTest : public ::testing::Test {
protected:
    void SetUp() override { fs::create_directories(m_strDate); }

    std::unique_ptr<IndexDirManager> pool(int diskType = 1, bool ready = true) {
        std::unique_ptr<IndexDirManager> made(new IndexDirManager(kSize, diskType, m_strRecord));
        EXPECT_EQ(ready, made->init(0));
        return made;
    }
    void put(std::string const& name, std::string const& bytes = "x") const {
        std::ofstream(m_strPool + "/" + name) << bytes;
    }
    std::set<std::string> names() const {
        std::set<std::string> found;
        for (auto const& entry : fs::directory_iterator(m_strPool)) found.insert(entry.path().filename());
        return found;
    }
    static std::string bytes(std::string const& path) {
        std::ifstream in(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    std::string target(int n) const { return m_strDate + "/NVR_10.0.0.7_" + std::to_string(n) + "_2024-01-01.index"; }

    HostRootGuard m_root;
    std::string m_strRecord = m_root.root() + "/sda1/record";
    std::string m_strPool = m_strRecord + "/Index";
    std::string m_strDate = m_strRecord + "/NVR_10.0.0.7_1/2024-01-01";
};

// A tenth of the record files on a hard disk, one each on an SD card, all
// 0xFF; filled once; a disk that fills stops the fill at whole files.
TEST_F(IndexDirManagerTest, FillsOnceByDiskTypeWithBlankWholeFiles) {
    struct Case {
        int diskType;
        int recordFiles;
        long long space;  // -1: no limit
        bool deleteFails;  // the part that did not fit then stays as "filling"
        int made;
    } const cases[] = {{1, 1005, -1, false, 100},
                       {2, 1005, -1, false, 1005},
                       {1, 9, -1, false, 0},
                       {2, 10, 3 * kSize + 1, false, 3},
                       {2, 10, 3 * kSize + 1, true, 3}};
    for (Case const& c : cases) {
        SCOPED_TRACE(c.made);
        fs::remove_all(m_strPool);
        auto plan = std::make_shared<FaultPlan>();
        FaultInjection faults(plan);
        plan->setDiskFullAfter(c.space);
        std::unique_ptr<IndexDirManager> index = pool(c.diskType);
        if (c.deleteFails) plan->failDeleteAt(1);
        EXPECT_EQ(-3, index->allocateIndexFile(-1));
        EXPECT_EQ(c.made, index->allocateIndexFile(c.recordFiles));
        std::set<std::string> const all = names();
        std::set<std::string> made = all;
        EXPECT_EQ(c.deleteFails ? 1u : 0u, made.erase("filling"));
        ASSERT_EQ(static_cast<size_t>(c.made), made.size());
        for (std::string const& name : made) EXPECT_EQ(std::string(kSize, '\xFF'), bytes(m_strPool + "/" + name));
        if (c.made > 0) {
            EXPECT_EQ(IndexDirManager::createFileName(c.made - 1), *made.rbegin());
        }
        EXPECT_EQ(c.made > 0 ? -2 : 0, index->allocateIndexFile(c.recordFiles));
        EXPECT_EQ(all, names());
    }
    EXPECT_EQ(-1, IndexDirManager(kSize, 1, m_strRecord).allocateIndexFile(10));
}

// 150 files: a listing takes 100; when they are used, the refill finds the
// other 50; then the pool is dry.
TEST_F(IndexDirManagerTest, ListsAHundredAtATimeAndRefillsWhenUsedUp) {
    fs::create_directories(m_strPool);
    for (int n = 0; n < 150; ++n) put(IndexDirManager::createFileName(n));
    std::unique_ptr<IndexDirManager> index = pool();
    for (int n = 0; n < 100; ++n) ASSERT_EQ(1, index->createIndexFile(target(n)));
    EXPECT_TRUE(index->isNeedAllocateEmptyIndex());
    EXPECT_EQ(50u, names().size());
    for (int n = 100; n < 150; ++n) ASSERT_EQ(1, index->createIndexFile(target(n)));
    EXPECT_EQ(0, index->createIndexFile(target(150)));
    EXPECT_TRUE(names().empty());
}

// A day's file comes back dirty under its dated name and leaves again blank,
// whole and 0xFF; a move back that fails leaves the file where it was.
TEST_F(IndexDirManagerTest, HandsOutBlankFilesEvenWhenTheyCameBackDirty) {
    std::unique_ptr<IndexDirManager> index = pool();
    ASSERT_EQ(1, index->allocateIndexFile(10));
    ASSERT_EQ(1, index->createIndexFile(target(1)));
    EXPECT_EQ(0, index->createIndexFile(target(2)));
    std::ofstream(target(1), std::ios::binary) << "dirty";
    std::string name = fs::path(target(1)).filename();
    EXPECT_FALSE(index->deleteIndexFile(target(9), name));
    ASSERT_TRUE(index->deleteIndexFile(target(1), name));
    EXPECT_EQ(std::set<std::string>{name}, names());
    ASSERT_EQ(1, index->createIndexFile(target(2)));
    EXPECT_EQ(std::string(kSize, '\xFF'), bytes(target(2)));
}

// An SD card may come from another recorder: what is no index file goes.
TEST_F(IndexDirManagerTest, ClearsWhatIsNoIndexFileOnSdCardsOnly) {
    std::set<std::string> const indexes = {"00001.index", "NVR_1_2024-01-01.index"};
    std::set<std::string> all = indexes;
    all.insert({"a.bakindex", "bad.", "noext", "x.index.old"});
    for (int diskType : {1, 2}) {
        fs::remove_all(m_strPool);
        fs::create_directories(m_strPool);
        for (std::string const& name : all) put(name);
        pool(diskType);
        EXPECT_EQ(diskType == 2 ? indexes : all, names());
    }
    EXPECT_FALSE(IndexDirManager::isIndexFile(""));
    EXPECT_TRUE(IndexDirManager::isIndexFile(".index"));
}

// Moves out and back are durable at once; a pool folder that can't be made
// fails init.
TEST_F(IndexDirManagerTest, MovesSurviveAPowerCut) {
    auto plan = std::make_shared<FaultPlan>();
    FaultInjection faults(plan);
    std::unique_ptr<IndexDirManager> index = pool();
    ASSERT_EQ(2, index->allocateIndexFile(20));
    ASSERT_EQ(1, index->createIndexFile(target(1)));
    ASSERT_EQ(1, index->createIndexFile(target(2)));
    ASSERT_TRUE(index->deleteIndexFile(target(2), "back.index"));
    plan->powerCut();
    EXPECT_TRUE(fs::exists(target(1)));
    EXPECT_EQ(std::set<std::string>{"back.index"}, names());

    fs::remove_all(m_strPool);
    plan->failCreateDirAt(1);
    pool(1, false);
}

}  // namespace
