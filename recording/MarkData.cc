#include "recording/MarkData.h"

#include <cstring>
#include <type_traits>

static_assert(sizeof(MarkData) == MarkData::kSize, "a mark is 72 bytes in the mark ring");
static_assert(std::is_trivially_copyable<MarkData>::value, "marks are copied byte-wise");

MarkData::MarkData()
    : timeStamp(0),
      timeZone(4),
      daylightSavingTime(5),
      imageWidth(400),
      imageHeight(600),
      ESStreamType(1),
      frameType(1),
      encoderType(255),
      offset(0),
      isInvalid(false),
      discontinuityIndicator(false),
      topIntervalTime(0),
      invalidSpaceLen(0),
      snapDataLen(0),
      firstFrameLen(0),
      frameNum(0),
      frameTotalLength(0),
      currentTimeInterval(0),
      firstFrameTimeStamp(0),
      lastFrameTimeStamp(0) {}

void MarkData::zero() {
    timeStamp = 0;
    timeZone = 0;
    daylightSavingTime = 0;
    imageWidth = 0;
    imageHeight = 0;
    ESStreamType = 0;
    frameType = 0;
    encoderType = 0;
    offset = 0;
    isInvalid = false;
    discontinuityIndicator = false;
    topIntervalTime = 0;
    invalidSpaceLen = 0;
    snapDataLen = 0;
    firstFrameLen = 0;
    frameNum = 0;
    frameTotalLength = 0;
    currentTimeInterval = 0;
    firstFrameTimeStamp = 0;
    lastFrameTimeStamp = 0;
}

bool MarkData::addTSFrameInfo(TSFrameInfo const& info) {
    ++frameNum;
    frameTotalLength += info.nFrameLength;
    currentTimeInterval = info.nReserved;
    return true;
}

void MarkData::writeTo(char* out) const { std::memcpy(out, this, kSize); }

MarkData MarkData::readFrom(char const* in) {
    MarkData mark;
    std::memcpy(&mark, in, kSize);
    return mark;
}
