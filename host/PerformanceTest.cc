#include "host/PerformanceTest.h"

#include <time.h>

namespace NS_PerformanceTest {

long long now() {
    struct timespec value {};
    clock_gettime(CLOCK_MONOTONIC, &value);
    return static_cast<long long>(value.tv_sec) * 1000000LL + value.tv_nsec / 1000;
}

}  // namespace NS_PerformanceTest

PerformanceTest::PerformanceTest() : m_nBegin(NS_PerformanceTest::now()), m_nEnd(-1) {}

void PerformanceTest::begin() {
    m_nBegin = NS_PerformanceTest::now();
    m_nEnd = -1;
}

void PerformanceTest::end() { m_nEnd = NS_PerformanceTest::now(); }

long long PerformanceTest::getWasteTime() const {
    long long stop = m_nEnd >= 0 ? m_nEnd : NS_PerformanceTest::now();
    long long elapsed = stop - m_nBegin;
    // Callers divide by it; a stretch below the clock's grain counts as 1.
    return elapsed < 1 ? 1 : elapsed;
}
