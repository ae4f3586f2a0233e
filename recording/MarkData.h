#ifndef RECORDING_MARKDATA_H
#define RECORDING_MARKDATA_H

#include <cstdint>

// What addTSFrameInfo learns of one frame packed into a block.
struct TSFrameInfo {
    int nFrameType = 0;
    int nFrameLength = 0;
    int nOffset = 0;  // write position in the data ring
    int nReserved = 0;  // always 0
};

// Descriptor of one block in the frame queue's data ring, or of a stretch at
// the ring's end given up so that no block wraps. A plain record of exactly
// 72 bytes: the queue copies it byte-wise into its mark ring (memory only,
// never stored), so it must stay trivially copyable.
class MarkData {
public:
    static int const kSize = 72;

    MarkData();

    // Zero in every field (not the constructor's defaults).
    void zero();

    // One more frame in the block; always true.
    bool addTSFrameInfo(TSFrameInfo const& info);

    void writeTo(char* out) const;
    // Reads a record written by writeTo.
    static MarkData readFrom(char const* in);

    long long getTimeStamp() const { return timeStamp; }
    void setTimeStamp(long long value) { timeStamp = value; }
    int getTimeZone() const { return timeZone; }
    void setTimeZone(int value) { timeZone = static_cast<char>(value); }
    int getDaylightSavingTime() const { return daylightSavingTime; }
    void setDaylightSavingTime(int value) { daylightSavingTime = static_cast<char>(value); }
    int getImageWidth() const { return imageWidth; }
    void setImageWidth(int value) { imageWidth = static_cast<int16_t>(value); }
    int getImageHeight() const { return imageHeight; }
    void setImageHeight(int value) { imageHeight = static_cast<int16_t>(value); }
    int getESStreamType() const { return ESStreamType; }
    void setESStreamType(int value) { ESStreamType = static_cast<char>(value); }
    int getFrameType() const { return frameType; }
    void setFrameType(int value) { frameType = static_cast<char>(value); }
    int getEncoderType() const { return encoderType; }
    void setEncoderType(int value) { encoderType = value; }
    int getOffset() const { return offset; }
    void setOffset(int value) { offset = value; }
    bool getIsInvalid() const { return isInvalid; }
    void setIsInvalid(bool value) { isInvalid = value; }
    bool getDiscontinuityIndicator() const { return discontinuityIndicator; }
    void setDiscontinuityIndicator(bool value) { discontinuityIndicator = value; }
    int getTopIntervalTime() const { return topIntervalTime; }
    void setTopIntervalTime(int value) { topIntervalTime = value; }
    int getInvalidSpaceLen() const { return invalidSpaceLen; }
    void setInvalidSpaceLen(int value) { invalidSpaceLen = value; }
    int getSnapDataLen() const { return snapDataLen; }
    void setSnapDataLen(int value) { snapDataLen = value; }
    int getFirstFrameLen() const { return firstFrameLen; }
    void setFirstFrameLen(int value) { firstFrameLen = value; }
    int getFrameNum() const { return frameNum; }
    void setFrameNum(int value) { frameNum = value; }
    int getFrameTotalLength() const { return frameTotalLength; }
    void setFrameTotalLength(int value) { frameTotalLength = value; }
    int getCurrentTimeInterval() const { return currentTimeInterval; }
    long long getFirstFrameTimeStamp() const { return firstFrameTimeStamp; }
    void setFirstFrameTimeStamp(long long value) { firstFrameTimeStamp = value; }
    long long getLastFrameTimeStamp() const { return lastFrameTimeStamp; }
    void setLastFrameTimeStamp(long long value) { lastFrameTimeStamp = value; }
    // There is no field of its own: this reads frameNum, which is what the
    // queue compressor relies on.
    int getFirstPFrameLen() const { return frameNum; }

private:
    int64_t timeStamp;  // first frame, microseconds
    char timeZone;
    char daylightSavingTime;
    int16_t imageWidth;
    int16_t imageHeight;
    char ESStreamType;
    char frameType;
    int32_t encoderType;
    int32_t offset;  // block start in the data ring
    bool isInvalid;  // skipped space, not a block
    bool discontinuityIndicator;
    int32_t topIntervalTime;  // seconds, at most 3 on a skip record
    int32_t invalidSpaceLen;
    int32_t snapDataLen;
    int32_t firstFrameLen;
    int32_t frameNum;
    int32_t frameTotalLength;
    int32_t currentTimeInterval;
    int64_t firstFrameTimeStamp;
    int64_t lastFrameTimeStamp;
};

#endif
