#include "index/RecordCrc32.h"

RecordCrc32::RecordCrc32() {
    for (std::uint32_t i = 0; i < 256; ++i) {
        std::uint32_t value = i << 24;
        for (int bit = 0; bit < 8; ++bit) {
            value = (value & 0x80000000u) ? (value << 1) ^ kPolynomial : (value << 1);
        }
        m_szTable[i] = value;
    }
}

std::uint32_t RecordCrc32::getCrc32(unsigned char const* data, int nLength) const {
    std::uint32_t crc = kInitialValue;
    if (data == nullptr) return crc;
    for (int i = 0; i < nLength; ++i) {
        crc = (crc << 8) ^ m_szTable[((crc >> 24) ^ data[i]) & 0xFF];
    }
    return crc;
}
