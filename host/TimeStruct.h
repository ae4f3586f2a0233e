#ifndef HOST_TIMESTRUCT_H
#define HOST_TIMESTRUCT_H

// A broken-down time as the host hands it out in query answers. year is the
// full year, month 1-12. The time zone is carried, never interpreted here.
class TimeStruct {
public:
    TimeStruct() = default;
    TimeStruct(unsigned short year, unsigned short month, unsigned short day,
               unsigned short hour, unsigned short minute, unsigned short second,
               int timeZone = 0)
        : m_nYear(year), m_nMonth(month), m_nDay(day), m_nHour(hour), m_nMinute(minute),
          m_nSecond(second), m_nTimeZone(timeZone) {}

    void setYear(unsigned short value) { m_nYear = value; }
    void setMonth(unsigned short value) { m_nMonth = value; }
    void setDay(unsigned short value) { m_nDay = value; }
    void setHour(unsigned short value) { m_nHour = value; }
    void setMinute(unsigned short value) { m_nMinute = value; }
    void setSecond(unsigned short value) { m_nSecond = value; }
    void setTimeZone(int value) { m_nTimeZone = value; }

    unsigned short getYear() const { return m_nYear; }
    unsigned short getMonth() const { return m_nMonth; }
    unsigned short getDay() const { return m_nDay; }
    unsigned short getHour() const { return m_nHour; }
    unsigned short getMinute() const { return m_nMinute; }
    unsigned short getSecond() const { return m_nSecond; }
    int getTimeZone() const { return m_nTimeZone; }

    bool operator==(TimeStruct const& other) const {
        return m_nYear == other.m_nYear && m_nMonth == other.m_nMonth && m_nDay == other.m_nDay &&
               m_nHour == other.m_nHour && m_nMinute == other.m_nMinute &&
               m_nSecond == other.m_nSecond && m_nTimeZone == other.m_nTimeZone;
    }
    bool operator!=(TimeStruct const& other) const { return !(*this == other); }

private:
    unsigned short m_nYear = 0;
    unsigned short m_nMonth = 0;
    unsigned short m_nDay = 0;
    unsigned short m_nHour = 0;
    unsigned short m_nMinute = 0;
    unsigned short m_nSecond = 0;
    int m_nTimeZone = 0;
};

#endif
