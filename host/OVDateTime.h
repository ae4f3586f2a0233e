#ifndef HOST_OVDATETIME_H
#define HOST_OVDATETIME_H

// Broken-down local time. year is the full year (2024), month 1-12, day
// 1-31, hour 0-23, minute and second 0-59; weekday 0 (Sunday) to 6 and
// millisecond are filled by the conversions that know them and ignored when
// converting back.
struct OVDateTime {
    int year = 1970;
    int month = 1;
    int day = 1;
    int hour = 0;
    int minute = 0;
    int second = 0;
    int weekday = 0;
    int millisecond = 0;
};

#endif
