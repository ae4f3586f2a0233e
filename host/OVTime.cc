#include "host/OVTime.h"

#include <time.h>

#include "host/HostClock.h"

namespace NS_OVTime {

double read(clockid_t clock) { return static_cast<double>(HostClock::read(clock)) / 1e6; }

}  // namespace NS_OVTime

double OVTime::getSeconds() { return NS_OVTime::read(CLOCK_REALTIME); }

double OVTime::getUpTime() { return NS_OVTime::read(CLOCK_MONOTONIC); }
