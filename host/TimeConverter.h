#ifndef HOST_TIMECONVERTER_H
#define HOST_TIMECONVERTER_H

#include <string>

#include "host/OVDateTime.h"

// Conversions between seconds since the epoch, text and OVDateTime, all in
// local time. The date text is "YYYY-MM-DD HH:MM:SS". Seconds are unsigned
// long as the engine passes them; the arithmetic inside is 64-bit, so 32-bit
// targets are right up to the limit of unsigned long.
class TimeConverter {
public:
    static void longToStr(unsigned long const& seconds, std::string& text);
    // Date text ("YYYY-MM-DD" or "YYYY-MM-DD HH:MM:SS") to seconds.
    static bool strToLong(std::string const& text, unsigned long& seconds);
    // Plain decimal integer text (optional leading '-', nothing else, not
    // empty) to a 64-bit value, e.g. "20240131235959123". false if it is not
    // a number or out of range; the value is then left alone.
    static bool strToINT64(std::string const& text, long long& value);
    static bool longToStruct(unsigned long seconds, OVDateTime& time);
    static bool structToLong(OVDateTime const& time, unsigned long& seconds);
    // Parses "YYYY-MM-DD[ HH:MM:SS]" with range checks; the clock part is zero
    // when absent. false on anything else.
    static bool getSTDate(char const* text, OVDateTime& time);
};

#endif
