#include "host/HostClock.h"

#include <time.h>

#include <atomic>
#include <cmath>
#include <mutex>

namespace NS_HostClock {
std::atomic<long long> g_offsetMicroseconds{0};
std::atomic<bool> g_frozen{false};
std::mutex g_frozenMutex;
long long g_frozenAt[2] = {-1, -1};  // wall, monotonic; guarded by g_frozenMutex
}  // namespace NS_HostClock

void HostClock::shift(double seconds) {
    NS_HostClock::g_offsetMicroseconds.fetch_add(std::llround(seconds * 1000000.0));
}

void HostClock::reset() {
    NS_HostClock::g_offsetMicroseconds.store(0);
    NS_HostClock::g_frozen.store(false);
}

long long HostClock::getOffsetMicroseconds() { return NS_HostClock::g_offsetMicroseconds.load(); }

void HostClock::freeze() {
    std::lock_guard<std::mutex> lock(NS_HostClock::g_frozenMutex);
    NS_HostClock::g_frozenAt[0] = NS_HostClock::g_frozenAt[1] = -1;
    NS_HostClock::g_frozen.store(true);
}

long long HostClock::read(int clockId) {
    struct timespec now {};
    clock_gettime(clockId, &now);
    long long micros = static_cast<long long>(now.tv_sec) * 1000000LL + now.tv_nsec / 1000;
    if (NS_HostClock::g_frozen.load()) {
        std::lock_guard<std::mutex> lock(NS_HostClock::g_frozenMutex);
        long long& at = NS_HostClock::g_frozenAt[clockId == CLOCK_MONOTONIC ? 1 : 0];
        // Whole seconds, so that seconds as doubles compare exactly.
        if (at < 0) at = micros - micros % 1000000LL;
        micros = at;
    }
    return micros + NS_HostClock::g_offsetMicroseconds.load();
}
