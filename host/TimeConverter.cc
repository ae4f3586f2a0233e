#include "host/TimeConverter.h"

#include <climits>
#include <cstdio>
#include <cstring>

#include "host/OrvaneTime.h"

namespace NS_TimeConverter {

// Reads exactly `count` digits at text[pos]; false on anything else.
bool digits(char const* text, size_t pos, int count, int& value) {
    value = 0;
    for (int i = 0; i < count; ++i) {
        char c = text[pos + i];
        if (c < '0' || c > '9') return false;
        value = value * 10 + (c - '0');
    }
    return true;
}

int daysInMonth(int year, int month) {
    static int const kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return month == 2 && leap ? 29 : kDays[month - 1];
}

}  // namespace NS_TimeConverter

void TimeConverter::longToStr(unsigned long const& seconds, std::string& text) {
    OVDateTime time;
    if (!OrvaneTime::getStructTime(time, seconds)) {
        text.clear();
        return;
    }
    char buffer[64];
    std::snprintf(buffer, sizeof(buffer), "%04d-%02d-%02d %02d:%02d:%02d", time.year, time.month,
                  time.day, time.hour, time.minute, time.second);
    text = buffer;
}

bool TimeConverter::strToLong(std::string const& text, unsigned long& seconds) {
    OVDateTime time;
    if (!getSTDate(text.c_str(), time)) return false;
    return structToLong(time, seconds);
}

bool TimeConverter::strToINT64(std::string const& text, long long& value) {
    size_t pos = 0;
    bool negative = false;
    if (pos < text.size() && text[pos] == '-') {
        negative = true;
        ++pos;
    }
    if (pos == text.size()) return false;
    // Accumulate negatively so that LLONG_MIN fits.
    long long result = 0;
    for (; pos < text.size(); ++pos) {
        char c = text[pos];
        if (c < '0' || c > '9') return false;
        int digit = c - '0';
        if (result < (LLONG_MIN + digit) / 10) return false;
        result = result * 10 - digit;
    }
    if (!negative) {
        if (result == LLONG_MIN) return false;
        result = -result;
    }
    value = result;
    return true;
}

bool TimeConverter::longToStruct(unsigned long seconds, OVDateTime& time) {
    return OrvaneTime::getStructTime(time, seconds);
}

bool TimeConverter::structToLong(OVDateTime const& time, unsigned long& seconds) {
    return OrvaneTime::getLongTime(seconds, time);
}

bool TimeConverter::getSTDate(char const* text, OVDateTime& time) {
    using NS_TimeConverter::digits;
    if (text == nullptr) return false;
    size_t length = std::strlen(text);
    if (length != 10 && length != 19) return false;
    OVDateTime parsed;
    if (!digits(text, 0, 4, parsed.year) || text[4] != '-' || !digits(text, 5, 2, parsed.month) ||
        text[7] != '-' || !digits(text, 8, 2, parsed.day))
        return false;
    if (length == 19) {
        if (text[10] != ' ' || !digits(text, 11, 2, parsed.hour) || text[13] != ':' ||
            !digits(text, 14, 2, parsed.minute) || text[16] != ':' ||
            !digits(text, 17, 2, parsed.second))
            return false;
    }
    if (parsed.month < 1 || parsed.month > 12) return false;
    if (parsed.day < 1 || parsed.day > NS_TimeConverter::daysInMonth(parsed.year, parsed.month))
        return false;
    if (parsed.hour > 23 || parsed.minute > 59 || parsed.second > 59) return false;
    time = parsed;
    return true;
}
