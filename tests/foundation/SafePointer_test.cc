#include "foundation/SafePointer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace {

struct Tracked {
    explicit Tracked(std::atomic<int>* deaths) : m_pDeaths(deaths) {}
    virtual ~Tracked() { ++*m_pDeaths; }
    int value = 7;
    std::atomic<int>* m_pDeaths;
};

struct Derived : Tracked {
    using Tracked::Tracked;
};

// The text of the OVRuntimeError that `action` raises; "" if none.
template <typename Action>
std::string raised(Action action) {
    try {
        action();
    } catch (OVRuntimeError const& error) {
        return error.what();
    }
    return "";
}

TEST(SafePointerTest, PointersToOneObjectShareOneCountReturnedWithTheLast) {
    std::atomic<int> deaths{0};
    size_t const before = RefCountManager::getInstance().size();
    Derived* raw = new Derived(&deaths);
    {
        SafePointer<Derived> first(raw);
        SafePointer<Derived> second(raw);  // made independently
        SafePointer<Tracked> base = second;
        SafePointer<Tracked> assigned;
        assigned = base;
        EXPECT_EQ(4, first.useCount());
        EXPECT_EQ(before + 1, RefCountManager::getInstance().size());
        EXPECT_EQ(raw, assigned.dynamicCast<Derived>().get());
        first.reset();
        EXPECT_EQ(0, deaths.load());
        EXPECT_EQ(7, assigned->value);
    }
    EXPECT_EQ(1, deaths.load());
    EXPECT_EQ(before, RefCountManager::getInstance().size());
}

TEST(SafePointerTest, MisuseRaisesWithTheReportText) {
    SafePointer<Tracked> empty;
    std::string const arrow = raised([&]() { empty->value = 1; });
    EXPECT_EQ(0u, arrow.find("SafePointer Report:"));
    EXPECT_NE(std::string::npos, arrow.find(typeid(Tracked).name()));
    EXPECT_NE(std::string::npos, arrow.find("Use NULL pointer ->"));
    EXPECT_NE(std::string::npos, raised([&]() { (*empty).value = 1; }).find("Use NULL pointer *"));

    std::atomic<int> deaths{0};
    Tracked* raw = new Tracked(&deaths);
    SafePointer<Tracked> pointer(raw);
    RefCountManager::getInstance().returnbackRefCount(raw);  // the count broken from outside
    EXPECT_NE(std::string::npos,
              raised([&]() { SafePointer<Tracked> copy = pointer; }).find("not valid pointer in inc_reference "));
    EXPECT_NE(std::string::npos, raised([&]() { pointer.reset(); }).find("not valid pointer in dec_reference"));
    delete raw;
}

TEST(SafePointerTest, CopiesAcrossThreadsKeepTheObjectAliveUntilTheLastDrop) {
    std::atomic<int> deaths{0};
    Tracked* raw = new Tracked(&deaths);
    SafePointer<Tracked> shared(raw);
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([shared, raw]() {
            for (int i = 0; i < 2000; ++i) {
                SafePointer<Tracked> copy = shared;
                SafePointer<Tracked> independent(raw);
                ASSERT_EQ(7, independent->value);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(0, deaths.load());
    EXPECT_EQ(1, shared.useCount());
    shared.reset();
    EXPECT_EQ(1, deaths.load());
}

}  // namespace
