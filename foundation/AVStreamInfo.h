#ifndef FOUNDATION_AVSTREAMINFO_H
#define FOUNDATION_AVSTREAMINFO_H

#include "foundation/AVData.h"
#include "foundation/Field.h"
#include "foundation/TSAVData.h"

// The stream description kept with a record file.
class AVStreamInfo {
    OV_FIELD(int, StreamFormat, 0)
    OV_FIELD(int, ESStreamType, 0)
    OV_FIELD(int, EncoderType, 255)
    OV_FIELD(int, FrameType, 0)
    OV_FIELD(unsigned int, SequenceId, 0)
    OV_FIELD(long long, TimeStamp, 0)
    OV_FIELD(unsigned int, DataLength, 0)
    OV_FIELD(int, BitRate, 0)
    OV_FIELD(int, ImageWidth, 0)
    OV_FIELD(int, ImageHeight, 0)
    OV_FIELD(int, FrameRate, 0)
    OV_FIELD(int, TimeZone, 0)
    OV_FIELD(int, DaylightSavingTime, 0)

public:
    AVStreamInfo() = default;
    explicit AVStreamInfo(AVData const* frame);
    explicit AVStreamInfo(TSAVData const* block);
};

#endif
