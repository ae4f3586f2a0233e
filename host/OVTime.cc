#include "host/OVTime.h"

#include <time.h>

#include "host/HostClock.h"

namespace NS_OVTime {

double read(clockid_t clock) {
    struct timespec now {};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9 +
           static_cast<double>(HostClock::getOffsetMicroseconds()) / 1e6;
}

}  // namespace NS_OVTime

double OVTime::getSeconds() { return NS_OVTime::read(CLOCK_REALTIME); }

double OVTime::getUpTime() { return NS_OVTime::read(CLOCK_MONOTONIC); }
