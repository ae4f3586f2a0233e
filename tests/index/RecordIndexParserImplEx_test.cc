#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include "index/RecordFileIndexNodeInfo.h"
#include "index/RecordIndexCache.h"
#include "index/RecordIndexParserImplEx.h"
#include "retrieval/SingleDeviceRecordQuery.h"
#include "tests/index/RecordIndexImageBuilder.h"
#include "tests/support/HostRootGuard.h"

// Counts every allocation of this test program, so that a walk can be shown
// to allocate per entry at most, never per item.
namespace {
std::atomic<long> g_allocations{0};
}  // namespace

// Replacing the global operators pairs malloc with free on purpose.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpragmas"
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void* operator new(std::size_t size) {
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    void* p = std::malloc(size == 0 ? 1 : size);
    if (p == nullptr) throw std::bad_alloc();
    return p;
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
#pragma GCC diagnostic pop

namespace {

using Builder = RecordIndexImageBuilder;
constexpr long long kT0 = 1706688000LL;

// One entry of `items` items in an exact-size image.
std::string oneEntry(int items) {
    Builder builder;
    builder.addEntry("00001-NVR_10.0.0.2_1_20240131080000.ts", kT0, Builder::steadyItems(items, 1));
    return builder.bytes();
}

class RecordIndexParserImplExTest : public ::testing::Test {
protected:
    // Allocations of one query walk over an image of one entry.
    long queryAllocations(std::string image, bool withData) {
        RecordIndexParserImplEx parser;
        RecordDirInfoEx info;
        parser.setIndexInfo(info, "2024-01-31", "NVR_10.0.0.2_1", &image[0],
                            static_cast<int>(image.size()), 0);
        parser.getFileNumber();  // the scan is not the walk
        RecordQueryCondition condition;
        condition.setRecordQueryTimePrecision(3);
        RecordQueryResult result;
        SingleDeviceRecordQuery query(result, condition);
        long before = g_allocations.load();
        parser.queryRecordSegmentList(&query, withData);
        return g_allocations.load() - before;
    }

    HostRootGuard m_root;
};

TEST_F(RecordIndexParserImplExTest, QueryWalksAllocateNothingPerItem) {
    for (bool withData : {false, true}) {
        long few = queryAllocations(oneEntry(10), withData);
        long many = queryAllocations(oneEntry(3000), withData);
        EXPECT_EQ(few, many) << withData;
    }
}

TEST_F(RecordIndexParserImplExTest, ListWalksReserveOnce) {
    for (int items : {10, 3000}) {
        std::string image = oneEntry(items);
        RecordIndexParserImplEx parser;
        RecordDirInfoEx info;
        parser.setIndexInfo(info, "2024-01-31", "NVR_10.0.0.2_1", &image[0],
                            static_cast<int>(image.size()), 0);
        ASSERT_EQ(1, parser.getFileNumber());
        int begin = 0, headEnd = 0, end = 0;
        ASSERT_EQ(1, parser.getIndexPosByFileName("00001-NVR_10.0.0.2_1_20240131080000.ts", begin,
                                                  headEnd, end));
        RecordIndexCache cache;
        long before = g_allocations.load();
        ASSERT_EQ(1, parser.getRecordFileIndexList(begin, headEnd, end, cache, false));
        EXPECT_LE(g_allocations.load() - before, 2) << items;
        EXPECT_EQ(items, cache.getSize());
        EXPECT_EQ(items - 1, cache.getLastIFrameTime());
    }
}

}  // namespace
