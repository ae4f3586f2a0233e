#include "host/TSPrivateDataParser.h"

namespace NS_TSPrivateDataParser {

unsigned char const kTag0 = 'R';
unsigned char const kTag1 = 'S';
unsigned char const kVersion = 1;

void putBE(unsigned char* out, uint64_t value, int bytes) {
    for (int i = bytes - 1; i >= 0; --i) {
        out[i] = static_cast<unsigned char>(value & 0xFF);
        value >>= 8;
    }
}

uint64_t getBE(unsigned char const* in, int bytes) {
    uint64_t value = 0;
    for (int i = 0; i < bytes; ++i) value = (value << 8) | in[i];
    return value;
}

}  // namespace NS_TSPrivateDataParser

int TSPrivateDataParser::packetTSPrivateData(ST_TS_PRIVATE_DATA const& data, char* out) {
    using namespace NS_TSPrivateDataParser;
    unsigned char* p = reinterpret_cast<unsigned char*>(out);
    p[0] = kTag0;
    p[1] = kTag1;
    p[2] = kVersion;
    p[3] = kPrivateDataLength;
    putBE(p + 4, data.nSequenceId, 4);
    putBE(p + 8, data.nImageFormatId, 2);
    putBE(p + 10, data.nImageHeight, 2);
    putBE(p + 12, data.nImageWidth, 2);
    putBE(p + 14, data.nFrameRate, 2);
    putBE(p + 16, data.nBitRate, 4);
    putBE(p + 20, static_cast<uint64_t>(data.nTimeStamp), 8);
    return kPrivateDataLength;
}

bool TSPrivateDataParser::parseTSPrivateData(char const* in, int length, ST_TS_PRIVATE_DATA& data) {
    using namespace NS_TSPrivateDataParser;
    if (in == nullptr || length < kPrivateDataLength) return false;
    unsigned char const* p = reinterpret_cast<unsigned char const*>(in);
    if (p[0] != kTag0 || p[1] != kTag1 || p[2] != kVersion || p[3] != kPrivateDataLength) return false;
    data.nSequenceId = static_cast<uint32_t>(getBE(p + 4, 4));
    data.nImageFormatId = static_cast<uint16_t>(getBE(p + 8, 2));
    data.nImageHeight = static_cast<uint16_t>(getBE(p + 10, 2));
    data.nImageWidth = static_cast<uint16_t>(getBE(p + 12, 2));
    data.nFrameRate = static_cast<uint16_t>(getBE(p + 14, 2));
    data.nBitRate = static_cast<uint32_t>(getBE(p + 16, 4));
    data.nTimeStamp = static_cast<int64_t>(getBE(p + 20, 8));
    return true;
}
