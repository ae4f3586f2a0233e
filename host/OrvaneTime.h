#ifndef HOST_ORVANETIME_H
#define HOST_ORVANETIME_H

#include "host/OVDateTime.h"

// A duration or an instant, in seconds and microseconds. Conversions use the
// local time zone of the process (TZ).
class OrvaneTime {
public:
    explicit OrvaneTime(long seconds = 0, long microseconds = 0);

    long getSeconds() const { return m_nSeconds; }
    long getMicroseconds() const { return m_nMicroseconds; }
    long long toMicroseconds() const;

    // Wall clock now, plus HostClock's offset.
    static OrvaneTime currentTime();

    // Local broken-down time to seconds since the epoch; false if the date is
    // not representable (before 1970 or beyond unsigned long).
    static bool getLongTime(unsigned long& seconds, OVDateTime const& time);
    // Seconds since the epoch to local broken-down time.
    static bool getStructTime(OVDateTime& time, unsigned long seconds);
    // Now (with HostClock's offset), broken down, with milliseconds.
    static void getCurrentTime(OVDateTime& time);

    // Sleeps for the duration (real time; not shortened by HostClock).
    static void wait(OrvaneTime const& duration);

private:
    long m_nSeconds;
    long m_nMicroseconds;
};

#endif
