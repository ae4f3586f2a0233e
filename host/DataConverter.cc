#include "host/DataConverter.h"

long long DataConverter::toInt(unsigned char* bytes, int length) {
    if (bytes == nullptr || length < 1 || length > 8) return 0;
    unsigned long long value = 0;
    for (int i = 0; i < length; ++i) value = (value << 8) | bytes[i];
    return static_cast<long long>(value);
}

void DataConverter::toBytes(unsigned char* bytes, long long value, int length) {
    if (bytes == nullptr || length < 1 || length > 8) return;
    unsigned long long bits = static_cast<unsigned long long>(value);
    for (int i = length - 1; i >= 0; --i) {
        bytes[i] = static_cast<unsigned char>(bits & 0xFF);
        bits >>= 8;
    }
}

bool DataConverter::convert(int const& value, std::string& text) {
    text = std::to_string(value);
    return true;
}

bool DataConverter::convert(long long const& value, std::string& text) {
    text = std::to_string(value);
    return true;
}
