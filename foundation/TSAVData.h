#ifndef FOUNDATION_TSAVDATA_H
#define FOUNDATION_TSAVDATA_H

#include "foundation/Field.h"

// One queue block of TS packets. Does not own the bytes: the pointer refers
// into the frame queue's ring and is valid until the block is popped.
class TSAVData {
    OV_FIELD(int, StreamFormat, 0)
    OV_FIELD(int, ESStreamType, 0)
    OV_FIELD(int, EncoderType, 255)
    OV_FIELD(int, FrameType, 0)
    OV_FIELD(bool, DiscontinuityIndicator, false)
    OV_FIELD(long long, TimeStamp, 0)  // microseconds from the queue; seconds past the session
    OV_FIELD(int, ImageWidth, 0)
    OV_FIELD(int, ImageHeight, 0)
    OV_FIELD(int, TimeZone, 0)
    OV_FIELD(int, DaylightSavingTime, 0)
    OV_FIELD(int, DataTimeLength, 0)  // seconds the block spans

public:
    void setData(char const* data, unsigned int length) {
        m_pData = data;
        m_nDataLength = length;
    }
    char const* getData() const { return m_pData; }
    unsigned int getDataLength() const { return m_nDataLength; }

private:
    char const* m_pData = nullptr;
    unsigned int m_nDataLength = 0;
};

#endif
