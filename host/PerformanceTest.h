#ifndef HOST_PERFORMANCETEST_H
#define HOST_PERFORMANCETEST_H

// Measures one stretch of time on the monotonic clock (not moved by
// HostClock). One owner.
class PerformanceTest {
public:
    PerformanceTest();

    void begin();
    void end();
    // Microseconds from begin to end (to now if end was not called since
    // begin); never less than 1, so callers may divide by it.
    long long getWasteTime() const;

private:
    long long m_nBegin;  // monotonic microseconds
    long long m_nEnd;    // -1 while measuring
};

#endif
