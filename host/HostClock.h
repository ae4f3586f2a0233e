#ifndef HOST_HOSTCLOCK_H
#define HOST_HOSTCLOCK_H

// A process-wide offset added to every clock reading of the host layer (wall
// and monotonic alike: OrvaneTime::currentTime, OrvaneTime::getCurrentTime,
// OVTime::getSeconds, OVTime::getUpTime), so tests can move time forward over
// midnight or past a time-out instead of sleeping. Sleeps and waits stay real.
// Any thread may call.
class HostClock {
public:
    // Adds `seconds` (may be negative or fractional) to the offset.
    static void shift(double seconds);
    // Back to the real clocks, running.
    static void reset();
    // The current offset in microseconds.
    static long long getOffsetMicroseconds();
    // Stops the clocks until reset(), each at the whole second it shows at its
    // first reading after this call; shift still moves them. For tests that
    // must land exactly on a boundary.
    static void freeze();
    // A reading of `clockId` (CLOCK_REALTIME or CLOCK_MONOTONIC) in
    // microseconds, frozen or not, offset included.
    static long long read(int clockId);
};

#endif
