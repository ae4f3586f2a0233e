#include "host/OrvaneTime.h"

#include <time.h>

#include <chrono>
#include <climits>
#include <thread>

#include "host/HostClock.h"

namespace NS_OrvaneTime {

bool toStruct(long long seconds, OVDateTime& out) {
    time_t value = static_cast<time_t>(seconds);
    if (static_cast<long long>(value) != seconds) return false;  // 32-bit time_t
    struct tm parts {};
    if (localtime_r(&value, &parts) == nullptr) return false;
    out.year = parts.tm_year + 1900;
    out.month = parts.tm_mon + 1;
    out.day = parts.tm_mday;
    out.hour = parts.tm_hour;
    out.minute = parts.tm_min;
    out.second = parts.tm_sec;
    out.weekday = parts.tm_wday;
    out.millisecond = 0;
    return true;
}

}  // namespace NS_OrvaneTime

OrvaneTime::OrvaneTime(long seconds, long microseconds)
    : m_nSeconds(seconds), m_nMicroseconds(microseconds) {}

long long OrvaneTime::toMicroseconds() const {
    return static_cast<long long>(m_nSeconds) * 1000000LL + m_nMicroseconds;
}

OrvaneTime OrvaneTime::currentTime() {
    long long micros = HostClock::read(CLOCK_REALTIME);
    long long seconds = micros / 1000000LL;
    long long rest = micros % 1000000LL;
    if (rest < 0) {
        rest += 1000000LL;
        --seconds;
    }
    return OrvaneTime(static_cast<long>(seconds), static_cast<long>(rest));
}

bool OrvaneTime::getLongTime(unsigned long& seconds, OVDateTime const& time) {
    struct tm parts {};
    parts.tm_year = time.year - 1900;
    parts.tm_mon = time.month - 1;
    parts.tm_mday = time.day;
    parts.tm_hour = time.hour;
    parts.tm_min = time.minute;
    parts.tm_sec = time.second;
    parts.tm_isdst = -1;
    time_t value = mktime(&parts);
    if (value == static_cast<time_t>(-1)) return false;
    long long wide = static_cast<long long>(value);
    if (wide < 0 || static_cast<unsigned long long>(wide) > ULONG_MAX) return false;
    seconds = static_cast<unsigned long>(wide);
    return true;
}

bool OrvaneTime::getStructTime(OVDateTime& time, unsigned long seconds) {
    return NS_OrvaneTime::toStruct(static_cast<long long>(seconds), time);
}

void OrvaneTime::getCurrentTime(OVDateTime& time) {
    OrvaneTime now = currentTime();
    if (NS_OrvaneTime::toStruct(now.getSeconds(), time))
        time.millisecond = static_cast<int>(now.getMicroseconds() / 1000);
}

void OrvaneTime::wait(OrvaneTime const& duration) {
    long long micros = duration.toMicroseconds();
    if (micros <= 0) return;
    std::this_thread::sleep_for(std::chrono::microseconds(micros));
}
