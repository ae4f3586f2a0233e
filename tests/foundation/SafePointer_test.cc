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

TEST(SafePointerTest, IndependentPointersToOneObjectShareTheCount) {
    std::atomic<int> deaths{0};
    Tracked* raw = new Tracked(&deaths);
    {
        SafePointer<Tracked> first(raw);
        SafePointer<Tracked> second(raw);
        EXPECT_EQ(2, first.useCount());
        EXPECT_EQ(first.refCount(), second.refCount());
        first.reset();
        EXPECT_EQ(0, deaths.load());
        EXPECT_EQ(7, second->value);
    }
    EXPECT_EQ(1, deaths.load());
}

TEST(SafePointerTest, CountIsReturnedWhenTheLastPointerGoes) {
    std::atomic<int> deaths{0};
    size_t before = RefCountManager::getInstance().size();
    {
        SafePointer<Tracked> one(new Tracked(&deaths));
        SafePointer<Tracked> copy = one;
        SafePointer<Tracked> assigned;
        assigned = copy;
        EXPECT_EQ(3, one.useCount());
        EXPECT_EQ(before + 1, RefCountManager::getInstance().size());
    }
    EXPECT_EQ(1, deaths.load());
    EXPECT_EQ(before, RefCountManager::getInstance().size());
}

TEST(SafePointerTest, BaseAndDerivedPointersShareOneCountAndDeleteOnce) {
    std::atomic<int> deaths{0};
    SafePointer<Derived> derived(new Derived(&deaths));
    {
        SafePointer<Tracked> base = derived;
        EXPECT_EQ(2, derived.useCount());
        SafePointer<Derived> back = base.dynamicCast<Derived>();
        EXPECT_EQ(derived.get(), back.get());
        EXPECT_EQ(3, derived.useCount());
    }
    EXPECT_EQ(1, derived.useCount());
    derived.reset();
    EXPECT_EQ(1, deaths.load());
}

TEST(SafePointerTest, NullDereferenceRaisesWithTheReportText) {
    SafePointer<Tracked> empty;
    try {
        empty->value = 1;
        FAIL() << "no exception";
    } catch (OVRuntimeError const& error) {
        std::string text = error.what();
        EXPECT_EQ(0u, text.find("SafePointer Report:"));
        EXPECT_NE(std::string::npos, text.find(typeid(Tracked).name()));
        EXPECT_NE(std::string::npos, text.find("Use NULL pointer ->"));
    }
    try {
        (*empty).value = 1;
        FAIL() << "no exception";
    } catch (OVRuntimeError const& error) {
        EXPECT_NE(std::string::npos, std::string(error.what()).find("Use NULL pointer *"));
    }
}

TEST(SafePointerTest, CountBrokenFromOutsideIsReported) {
    std::atomic<int> deaths{0};
    Tracked* raw = new Tracked(&deaths);
    SafePointer<Tracked> pointer(raw);
    RefCountManager::getInstance().returnbackRefCount(raw);
    try {
        SafePointer<Tracked> copy = pointer;
        FAIL() << "no exception";
    } catch (OVRuntimeError const& error) {
        EXPECT_NE(std::string::npos, std::string(error.what()).find("not valid pointer in inc_reference "));
    }
    try {
        pointer.reset();
        FAIL() << "no exception";
    } catch (OVRuntimeError const& error) {
        EXPECT_NE(std::string::npos, std::string(error.what()).find("not valid pointer in dec_reference"));
    }
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
