#include "foundation/TimeConvert.h"

#include <cstdio>
#include <cstring>

#include "foundation/OVMutexManager.h"
#include "host/OrvaneTime.h"
#include "host/TimeStruct.h"

OVMutex TimeConvert::s_mutex;
bool TimeConvert::s_bLastValid = false;
unsigned long TimeConvert::m_LastLongTime = 0;
OVDateTime TimeConvert::m_LastSTDateTime;

namespace NS_TimeConvert {

int const kTimeDigits = 14;

int readDigits(char const* text, int count) {
    int value = 0;
    for (int i = 0; i < count; ++i) value = value * 10 + (text[i] - '0');
    return value;
}

}  // namespace NS_TimeConvert

bool TimeConvert::toDateTime(unsigned long seconds, OVDateTime& time) {
    {
        OVMutexManager guard(&s_mutex, __FILE__, __LINE__);
        if (s_bLastValid && m_LastLongTime == seconds) {
            time = m_LastSTDateTime;
            return true;
        }
    }
    // Converted outside the lock; a race only costs a second conversion.
    OVDateTime converted;
    if (!OrvaneTime::getStructTime(converted, seconds)) return false;
    OVMutexManager guard(&s_mutex, __FILE__, __LINE__);
    m_LastLongTime = seconds;
    m_LastSTDateTime = converted;
    s_bLastValid = true;
    time = converted;
    return true;
}

std::string TimeConvert::getStrTime(unsigned long seconds) {
    std::string text;
    timeToStr(seconds, text);
    return text;
}

bool TimeConvert::timeToStr(unsigned long const& seconds, std::string& text) {
    OVDateTime time;
    if (!toDateTime(seconds, time)) {
        text.clear();
        return false;
    }
    char buffer[64];
    std::snprintf(buffer, sizeof(buffer), "%04d%02d%02d%02d%02d%02d", time.year, time.month,
                  time.day, time.hour, time.minute, time.second);
    text = buffer;
    return true;
}

bool TimeConvert::strToTime(std::string const& text, unsigned long& seconds) {
    return strToTime(text.c_str(), seconds);
}

bool TimeConvert::strToTime(char const* text, unsigned long& seconds) {
    using NS_TimeConvert::kTimeDigits;
    if (text == nullptr) return false;
    for (int i = 0; i < kTimeDigits; ++i) {
        if (text[i] < '0' || text[i] > '9') return false;  // also stops at the end
    }
    if (text[kTimeDigits] >= '0' && text[kTimeDigits] <= '9') return false;
    OVDateTime time;
    time.year = NS_TimeConvert::readDigits(text, 4);
    time.month = NS_TimeConvert::readDigits(text + 4, 2);
    time.day = NS_TimeConvert::readDigits(text + 6, 2);
    time.hour = NS_TimeConvert::readDigits(text + 8, 2);
    time.minute = NS_TimeConvert::readDigits(text + 10, 2);
    time.second = NS_TimeConvert::readDigits(text + 12, 2);
    if (time.month < 1 || time.month > 12 || time.day < 1 || time.day > 31 || time.hour > 23 ||
        time.minute > 59 || time.second > 60) {
        return false;
    }
    unsigned long value = 0;
    if (!OrvaneTime::getLongTime(value, time)) return false;
    seconds = value;
    return true;
}

unsigned long TimeConvert::getLongTime(TimeStruct const& time, int /*timeZone*/) {
    OVDateTime dateTime;
    dateTime.year = time.getYear();
    dateTime.month = time.getMonth();
    dateTime.day = time.getDay();
    dateTime.hour = time.getHour();
    dateTime.minute = time.getMinute();
    dateTime.second = time.getSecond();
    return getLongTime(dateTime);
}

unsigned long TimeConvert::getLongTime(OVDateTime const& time) {
    unsigned long seconds = 0;
    if (!OrvaneTime::getLongTime(seconds, time)) return 0;
    return seconds;
}

bool TimeConvert::getTimeStruct(TimeStruct& time, unsigned long seconds, int timeZone) {
    OVDateTime dateTime;
    if (!toDateTime(seconds, dateTime)) return false;
    time.setYear(static_cast<unsigned short>(dateTime.year));
    time.setMonth(static_cast<unsigned short>(dateTime.month));
    time.setDay(static_cast<unsigned short>(dateTime.day));
    time.setHour(static_cast<unsigned short>(dateTime.hour));
    time.setMinute(static_cast<unsigned short>(dateTime.minute));
    time.setSecond(static_cast<unsigned short>(dateTime.second));
    time.setTimeZone(timeZone);
    return true;
}

bool TimeConvert::isSameMonth(OVDateTime const& a, OVDateTime const& b) {
    return a.year == b.year && a.month == b.month;
}

bool TimeConvert::isSameMonth(unsigned long a, unsigned long b) {
    OVDateTime first;
    OVDateTime second;
    if (!toDateTime(a, first) || !toDateTime(b, second)) return false;
    return isSameMonth(first, second);
}

long long TimeConvert::timeDiff(OVDateTime const& a, OVDateTime const& b) {
    if (a.year != b.year) {
        std::printf("Year is not same\n");
        return 0;
    }
    if (a.month != b.month) {
        std::printf("Month is not same\n");
        return 0;
    }
    auto secondsOfMonth = [](OVDateTime const& t) {
        return ((static_cast<long long>(t.day) * 24 + t.hour) * 60 + t.minute) * 60 + t.second;
    };
    return secondsOfMonth(b) - secondsOfMonth(a);
}

void TimeConvert::clearCache() {
    OVMutexManager guard(&s_mutex, __FILE__, __LINE__);
    s_bLastValid = false;
}
