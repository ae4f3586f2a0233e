#ifndef HOST_TSPRIVATEDATAPARSER_H
#define HOST_TSPRIVATEDATAPARSER_H

#include <cstdint>

// What an I frame carries beside its picture, in the transport private data
// of the adaptation field of its first TS packet, so that a reader finds the
// frame's own time and picture without decoding it.
struct ST_TS_PRIVATE_DATA {
    uint32_t nSequenceId = 0;
    uint16_t nImageFormatId = 0;
    uint16_t nImageHeight = 0;
    uint16_t nImageWidth = 0;
    uint16_t nFrameRate = 0;
    uint32_t nBitRate = 0;
    int64_t nTimeStamp = 0;  // microseconds, the frame's own time
};

// The 28-byte record, big-endian like the rest of the stream:
//   0  'R' 'S'          tag
//   2  1                version
//   3  28               record length
//   4  sequence id      u32
//   8  image format id  u16
//  10  height           u16
//  12  width            u16
//  14  frame rate       u16
//  16  bit rate         u32
//  20  time stamp       s64, microseconds
class TSPrivateDataParser {
public:
    static int const kPrivateDataLength = 28;

    // Writes the record to `out` (28 bytes); answers 28.
    static int packetTSPrivateData(ST_TS_PRIVATE_DATA const& data, char* out);
    // Reads a record; false if fewer than 28 bytes or the tag, version or
    // length do not match.
    static bool parseTSPrivateData(char const* in, int length, ST_TS_PRIVATE_DATA& data);
};

#endif
