#ifndef HOST_OVTIME_H
#define HOST_OVTIME_H

// Clock readings in seconds, both including HostClock's offset.
class OVTime {
public:
    // Wall clock, seconds since the epoch.
    static double getSeconds();
    // Monotonic clock (CLOCK_MONOTONIC); only differences mean anything.
    static double getUpTime();
};

#endif
