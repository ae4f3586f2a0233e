#ifndef TESTS_SUPPORT_TESTBLOCK_H
#define TESTS_SUPPORT_TESTBLOCK_H

#include <string>
#include <vector>

#include "foundation/TSAVData.h"

// A queue block of whole 188-byte TS packets whose payload bytes carry a
// tag, so a file's content shows which blocks went into it. 640x360 H.264
// video or G.711 audio; the time stamp is taken as given.
struct TestBlock {
    static constexpr int kPacket = 188;

    std::vector<char> bytes;
    TSAVData data;

    TestBlock(int esType, int frameType, long long timeStamp, int packets, char tag, bool discontinuity = false)
        : bytes(static_cast<size_t>(packets) * kPacket, tag) {
        for (int i = 0; i < packets; ++i) bytes[static_cast<size_t>(i) * kPacket] = 0x47;
        data.setESStreamType(esType);
        data.setFrameType(frameType);
        data.setEncoderType(esType == 1 ? 1 : 102);
        data.setTimeStamp(timeStamp);
        data.setDiscontinuityIndicator(discontinuity);
        data.setImageWidth(640);
        data.setImageHeight(360);
        data.setData(bytes.data(), static_cast<unsigned int>(bytes.size()));
    }
    TestBlock(TestBlock const& other) : bytes(other.bytes), data(other.data) {
        data.setData(bytes.data(), static_cast<unsigned int>(bytes.size()));
    }
    TestBlock& operator=(TestBlock const&) = delete;

    std::string text() const { return std::string(bytes.begin(), bytes.end()); }
};

#endif
