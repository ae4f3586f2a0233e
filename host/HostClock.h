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
    // Back to the real clocks.
    static void reset();
    // The current offset in microseconds.
    static long long getOffsetMicroseconds();
};

#endif
