#ifndef FOUNDATION_TIMECONVERT_H
#define FOUNDATION_TIMECONVERT_H

#include <string>

#include "host/OVDateTime.h"
#include "host/OVMutex.h"

class TimeStruct;

// Time conversions for names and query answers, all in the process's local
// time. The time-in-a-name form is "YYYYMMDDhhmmss" (14 digits).
// All functions are static and may be called from any thread; the cache of
// the last conversion is shared and guarded by s_mutex.
class TimeConvert {
public:
    // "%04d%02d%02d%02d%02d%02d" of local time; "" if it cannot be converted.
    static std::string getStrTime(unsigned long seconds);
    static bool timeToStr(unsigned long const& seconds, std::string& text);
    // The reverse of getStrTime: 14 digits, then the end of the text or a
    // non-digit (so "20240101120000.ts" reads too). False, value left alone,
    // on anything else or on an impossible date.
    static bool strToTime(std::string const& text, unsigned long& seconds);
    static bool strToTime(char const* text, unsigned long& seconds);

    // TimeStruct and OVDateTime are local broken-down times. The time zone
    // argument is carried into the struct, never applied: the process's TZ
    // decides, as it did when the seconds were written. 0 on failure.
    static unsigned long getLongTime(TimeStruct const& time, int timeZone);
    static unsigned long getLongTime(OVDateTime const& time);
    static bool getTimeStruct(TimeStruct& time, unsigned long seconds, int timeZone);

    static bool isSameMonth(OVDateTime const& a, OVDateTime const& b);
    static bool isSameMonth(unsigned long a, unsigned long b);
    // b - a in seconds for two times of one month. Prints "Year is not same"
    // or "Month is not same" and answers 0 when they lie in different months.
    static long long timeDiff(OVDateTime const& a, OVDateTime const& b);

    // Forgets the cached conversion. The cache cannot see a change of the
    // process's time zone: whoever changes TZ calls this.
    static void clearCache();

private:
    static bool toDateTime(unsigned long seconds, OVDateTime& time);

    static OVMutex s_mutex;
    // The last conversion seconds -> broken-down time; answers repeats, as
    // names of one recording ask for the same second many times.
    static bool s_bLastValid;                 // guarded by s_mutex
    static unsigned long m_LastLongTime;      // guarded by s_mutex
    static OVDateTime m_LastSTDateTime;       // guarded by s_mutex
};

#endif
