#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include "index/RecordIndexCache.h"
#include "index/RecordIndexParserImplEx.h"
#include "retrieval/SingleDeviceRecordQuery.h"
#include "tests/index/RecordIndexImageBuilder.h"
#include "tests/support/HostRootGuard.h"

// Counts every allocation of this test program.
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

// Query walks allocate nothing per item; a list walk reserves its room once.
TEST(RecordIndexParserImplExTest, WalksAllocatePerEntryNeverPerItem) {
    HostRootGuard root;  // parser logs stay in a folder of the test's own
    long queryAllocations[2][2] = {};
    for (int size : {0, 1}) {
        int const items = size == 0 ? 10 : 3000;
        RecordIndexImageBuilder builder;
        builder.addEntry("00001-NVR_10.0.0.2_1_20240131080000.ts", 1706688000LL,
                         RecordIndexImageBuilder::steadyItems(items, 1));
        std::string image = builder.bytes();
        RecordIndexParserImplEx parser;
        parser.setIndexInfo(RecordDirInfoEx(), "2024-01-31", "NVR_10.0.0.2_1", &image[0],
                            static_cast<int>(image.size()), 0);
        ASSERT_EQ(1, parser.getFileNumber());  // the scan is not the walk
        for (bool withData : {false, true}) {
            RecordQueryCondition condition;
            condition.setRecordQueryTimePrecision(3);
            RecordQueryResult result;
            SingleDeviceRecordQuery query(result, condition);
            long before = g_allocations.load();
            parser.queryRecordSegmentList(&query, withData);
            queryAllocations[withData][size] = g_allocations.load() - before;
        }
        int begin = 0, headEnd = 0, end = 0;
        ASSERT_EQ(1, parser.getIndexPosByFileName("00001-NVR_10.0.0.2_1_20240131080000.ts", begin, headEnd, end));
        RecordIndexCache cache;
        long before = g_allocations.load();
        ASSERT_EQ(1, parser.getRecordFileIndexList(begin, headEnd, end, cache, false));
        EXPECT_LE(g_allocations.load() - before, 2) << items;
        EXPECT_EQ(items, cache.getSize());
        EXPECT_EQ(items - 1, cache.getLastIFrameTime());
    }
    EXPECT_EQ(queryAllocations[0][0], queryAllocations[0][1]);
    EXPECT_EQ(queryAllocations[1][0], queryAllocations[1][1]);
}

}  // namespace
