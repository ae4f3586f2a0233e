#include "index/RecordIndexInfo.h"

#include <cstdint>
#include <cstring>

static_assert(sizeof(std::int32_t) * 2 == RecordIndexInfo::kPackedSize, "two 32-bit halves");

void RecordIndexInfo::parseRecordIndexInfo(char const* bytes) {
    std::int32_t halves[2];
    std::memcpy(halves, bytes, sizeof(halves));
    m_nTimeStamp = halves[0];
    m_nFilePos = halves[1];
}

void RecordIndexInfo::combineRecordIndexInfo(char* bytes) const {
    std::int32_t halves[2] = {m_nTimeStamp, m_nFilePos};
    std::memcpy(bytes, halves, sizeof(halves));
}

std::uint64_t RecordIndexInfo::getRecordIndexInfo() const {
    char bytes[kPackedSize];
    combineRecordIndexInfo(bytes);
    std::uint64_t value;
    std::memcpy(&value, bytes, sizeof(value));
    return value;
}
