#include "host/GThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>

#include "host/OVThread.h"

namespace {

// Polls without asserting on time; a hang is caught by the test timeout.
template <typename Predicate>
bool waitUntil(Predicate predicate) {
    for (int i = 0; i < 20000 && !predicate(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return predicate();
}

// Rounds up to m_nThrows throw; the round numbered m_nStopAfter answers 0.
struct Worker {
    int body() {
        if (++m_nRuns <= m_nThrows) throw std::runtime_error("bad round");
        return m_nRuns >= m_nStopAfter ? 0 : 1;
    }
    int before() { return ++m_nBefore; }
    int after() { return ++m_nAfter; }

    std::atomic<int> m_nRuns{0}, m_nBefore{0}, m_nAfter{0};
    int m_nThrows = 0;
    int m_nStopAfter = 1 << 30;
};

TEST(GThreadTest, ZeroEndsTheLoopAndExceptionsDoNot) {
    Worker worker;
    worker.m_nThrows = 2;
    worker.m_nStopAfter = 4;
    GThread thread(bind_funcobj0(&worker, &Worker::body), "ZeroEnds", bind_funcobj0(&worker, &Worker::before),
                   bind_funcobj0(&worker, &Worker::after));
    thread.setPalpitationTime(0);
    ASSERT_TRUE(thread.start());
    ASSERT_TRUE(waitUntil([&]() { return !thread.isRunning(); }));
    EXPECT_EQ(4, worker.m_nRuns.load());
    EXPECT_EQ(1, worker.m_nBefore.load());
    EXPECT_EQ(1, worker.m_nAfter.load());
}

TEST(GThreadTest, StartAndStopManyTimes) {
    Worker worker;
    OVThread thread(bind_funcobj0(&worker, &Worker::body), "ManyStarts", bind_funcobj0(&worker, &Worker::before),
                    bind_funcobj0(&worker, &Worker::after));
    thread.setPalpitationTime(0);
    for (int round = 1; round <= 20; ++round) {
        ASSERT_TRUE(thread.start());
        EXPECT_FALSE(thread.start());  // already running
        int const seen = worker.m_nRuns.load();
        ASSERT_TRUE(waitUntil([&]() { return worker.m_nRuns.load() > seen; }));
        thread.stop();
        EXPECT_FALSE(thread.isRunning());
        EXPECT_EQ(round, worker.m_nBefore.load());
        EXPECT_EQ(round, worker.m_nAfter.load());
        int const after = worker.m_nRuns.load();
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        EXPECT_EQ(after, worker.m_nRuns.load());  // no run after stop
    }
}

TEST(GThreadTest, StopCutsALongPauseAndMayComeFromTheBody) {
    Worker worker;
    GThread thread(bind_funcobj0(&worker, &Worker::body), "LongPause");
    thread.setPalpitationTime(3600 * 1000);
    ASSERT_TRUE(thread.start());
    ASSERT_TRUE(waitUntil([&]() { return worker.m_nRuns.load() == 1; }));
    thread.stop();  // would take an hour without the wake-up
    EXPECT_EQ(1, worker.m_nRuns.load());

    std::atomic<int> runs{0};
    GThread* self = nullptr;
    GThread selfStop(function<int>([&]() -> int {
                         ++runs;
                         self->stop();
                         return 1;
                     }),
                     "SelfStop");
    self = &selfStop;
    selfStop.setPalpitationTime(0);
    ASSERT_TRUE(selfStop.start());
    ASSERT_TRUE(waitUntil([&]() { return !selfStop.isRunning(); }));
    EXPECT_EQ(1, runs.load());
    ASSERT_TRUE(selfStop.start());  // joins the finished loop first
    selfStop.stop();
}

}  // namespace
