#ifndef FOUNDATION_AVDATA_H
#define FOUNDATION_AVDATA_H

#include <string>
#include <vector>

#include "foundation/Field.h"

// The fields every elementary stream frame carries, whatever holds its bytes.
class AVFrameFields {
    OV_FIELD(int, BitRate, 0)
    OV_FIELD(int, CameraNo, 0)
    OV_FIELD(int, StreamId, 0)
    OV_FIELD(int, TimeZone, 0)
    OV_FIELD(int, FrameRate, 0)
    OV_FIELD(int, FrameType, 0)
    OV_FIELD(int, ImageWidth, 0)
    OV_FIELD(int, ImageHeight, 0)
    OV_FIELD(int, EncoderType, 255)
    OV_FIELD(int, VideoSystem, 0)
    OV_FIELD(int, ESStreamType, 0)
    OV_FIELD(int, StreamFormat, 0)
    OV_FIELD(int, ImageFormatId, 0)
    OV_FIELD(int, DaylightSavingTime, 0)
    OV_FIELD(long long, TimeStamp, 0)  // microseconds
    OV_FIELD(unsigned int, SequenceId, 0)
    OV_FIELD(bool, DiscontinuityIndicator, false)

public:
    // Up to 255 bytes that ride with the frame (the packager's private record).
    void setPrivateData(char const* data, unsigned char length) {
        if (data == nullptr) length = 0;
        m_privateData.assign(data, data + length);
    }
    char const* getPrivateData() const { return m_privateData.data(); }
    unsigned char getPrivateDataLength() const {
        return static_cast<unsigned char>(m_privateData.size());
    }

private:
    std::vector<char> m_privateData;
};

// One elementary stream frame, owning a copy of its bytes.
class AVData : public AVFrameFields {
public:
    void setData(char const* data, unsigned int length) {
        if (data == nullptr) length = 0;
        m_data.assign(data, data + length);
    }
    char const* getData() const { return m_data.data(); }
    unsigned int getDataLength() const { return static_cast<unsigned int>(m_data.size()); }

private:
    std::vector<char> m_data;
};

// One piece of a frame held elsewhere; not owned.
struct DataInfo {
    char const* pData = nullptr;
    unsigned int nLength = 0;
};

// A frame given as a list of pieces, so the host need not join them.
class AVDataEX : public AVFrameFields {
public:
    void setData(std::vector<DataInfo> const& pieces) {
        m_pieces = pieces;
        m_nLength = 0;
        for (DataInfo const& piece : m_pieces) m_nLength += piece.nLength;
    }
    std::vector<DataInfo> const& getData() const { return m_pieces; }
    unsigned int getDataLength() const { return m_nLength; }

private:
    std::vector<DataInfo> m_pieces;
    unsigned int m_nLength = 0;
};

#endif
