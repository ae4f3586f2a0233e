#include "host/HostClock.h"

#include <atomic>
#include <cmath>

namespace NS_HostClock {
std::atomic<long long> g_offsetMicroseconds{0};
}

void HostClock::shift(double seconds) {
    NS_HostClock::g_offsetMicroseconds.fetch_add(std::llround(seconds * 1000000.0));
}

void HostClock::reset() { NS_HostClock::g_offsetMicroseconds.store(0); }

long long HostClock::getOffsetMicroseconds() { return NS_HostClock::g_offsetMicroseconds.load(); }
