#include "index/RecordIndexCodec.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <vector>

#include "foundation/BasicTool.h"

static_assert(RecordIndexCodec::kTailSize ==
                  RecordIndexCodec::kTailReservedOffset + RecordIndexCodec::kTailReservedSize,
              "the tail ends with its reserved bytes");
static_assert(RecordIndexCodec::kRawVersionFromEnd == 10, "version byte sits 10 bytes from the end");
static_assert(RecordIndexCodec::kShortItemSizeV1 + 4 == RecordIndexCodec::kLongItemSizeV1,
              "a long item is a short one behind 0xF0 and three time bytes");
static_assert(RecordIndexCodec::kShortItemSizeV2 + 4 == RecordIndexCodec::kLongItemSizeV2,
              "a long item is a short one behind 0xF0 and three time bytes");
static_assert(RecordIndexCodec::kCrcItemSize == 2 + 2 + 4, "mark, length, CRC");

namespace NS_RecordIndexCodec {

bool isVersion1(int nVersion) { return nVersion == RecordIndexCodec::kIndexVersion1; }

// Three 00 directly before position i.
bool followsThreeZeros(unsigned char const* p, int i) {
    return i >= 3 && p[i - 1] == 0 && p[i - 2] == 0 && p[i - 3] == 0;
}

}  // namespace NS_RecordIndexCodec

void RecordIndexCodec::writeLE(unsigned char* bytes, std::uint64_t value, int nLength) {
    BasicTool::toBytesLE(bytes, static_cast<long long>(value), std::min(nLength, 8));
}

int RecordIndexCodec::encodeHead(HeadInfo const& info, char* out, int nCapacity) {
    if (info.strFileName.find(static_cast<char>(kNameTerminator)) != std::string::npos) return -1;
    int nameLength = static_cast<int>(info.strFileName.size());
    if (nameLength + kTailSize + kFramingSize > nCapacity) return -1;

    // The tail begins with the comma.
    std::vector<unsigned char> payload(nameLength + kTailSize, 0);
    std::memcpy(payload.data(), info.strFileName.data(), nameLength);
    unsigned char* tail = payload.data() + nameLength;
    tail[0] = kNameTerminator;
    // The zone is truncated to its nibble by the shift, as the recorder
    // always stored it.
    tail[kTailZoneOffset] = static_cast<unsigned char>(((static_cast<unsigned>(info.nTimeZone) & 0x0F) << 4) |
                                                       (static_cast<unsigned>(info.nDst) & 0x0F));
    writeLE(tail + kTailBeginTimeOffset, static_cast<std::uint64_t>(info.nBeginTime), 8);
    writeLE(tail + kTailWidthOffset, static_cast<std::uint64_t>(info.nWidth), 2);
    writeLE(tail + kTailHeightOffset, static_cast<std::uint64_t>(info.nHeight), 2);
    tail[kTailEncodeTypeOffset] = static_cast<unsigned char>(info.nEncodeType);
    tail[kTailVersionOffset] = static_cast<unsigned char>(info.nIndexVersion);

    std::memcpy(out, payload.data(), payload.size());
    return fillRecordFileInfo(out, static_cast<int>(payload.size()), nCapacity);
}

int RecordIndexCodec::fillRecordFileInfo(char* buffer, int nLength, int nCapacity) {
    if (nLength < 0) return -1;
    unsigned char const* payload = reinterpret_cast<unsigned char const*>(buffer);
    std::vector<unsigned char> framed;
    framed.reserve(nLength + kFramingSize + nLength / 3 + 1);
    framed.insert(framed.end(), {0x00, 0x00, 0x00, kStartCodeLast});
    for (int i = 0; i < nLength; ++i) {
        unsigned char b = payload[i];
        // Looking at what was already emitted makes an inserted 03 break the
        // run of zeros, so the scan goes on behind it.
        if (b >= 1 && b <= 3 &&
            NS_RecordIndexCodec::followsThreeZeros(framed.data(), static_cast<int>(framed.size()))) {
            framed.push_back(kEscapeByte);
        }
        framed.push_back(b);
    }
    framed.insert(framed.end(), {0x00, 0x00, 0x00, kEndCodeLast});
    if (static_cast<int>(framed.size()) > nCapacity) return -1;
    std::memcpy(buffer, framed.data(), framed.size());
    return static_cast<int>(framed.size());
}

int RecordIndexCodec::filter(char* buffer, int nLength) {
    unsigned char* p = reinterpret_cast<unsigned char*>(buffer);
    int length = nLength;
    for (int i = 3; i < length; ++i) {
        if (p[i] != kEscapeByte || !NS_RecordIndexCodec::followsThreeZeros(p, i)) continue;
        std::memmove(p + i, p + i + 1, length - i - 1);
        --length;
        // The byte that moved down to i is the escaped one: keep it.
    }
    return length;
}

bool RecordIndexCodec::decodeHead(char const* rawHead, int nLength, HeadInfo& info) {
    if (rawHead == nullptr || nLength < kMinParsableHead) return false;
    std::vector<char> copy(rawHead, rawHead + nLength);
    return decodeFilteredHead(copy.data(), filter(copy.data(), nLength), info);
}

bool RecordIndexCodec::decodeFilteredHead(char const* head, int nLength, HeadInfo& info) {
    if (head == nullptr || nLength < kMinParsableHead) return false;
    unsigned char const* p = reinterpret_cast<unsigned char const*>(head);
    int comma = -1;
    for (int i = kStartCodeSize; i < nLength; ++i) {
        if (p[i] == kNameTerminator) {
            comma = i;
            break;
        }
    }
    if (comma < 0 || comma + kTailVersionOffset >= nLength - 1) return false;

    info.strFileName.assign(head + kStartCodeSize, comma - kStartCodeSize);
    unsigned char const* tail = p + comma;
    info.nTimeZone = tail[kTailZoneOffset] >> 4;
    info.nDst = tail[kTailZoneOffset] & 0x0F;
    info.nBeginTime = static_cast<long long>(readLE(tail + kTailBeginTimeOffset, 8));
    info.nWidth = static_cast<int>(readLE(tail + kTailWidthOffset, 2));
    info.nHeight = static_cast<int>(readLE(tail + kTailHeightOffset, 2));
    info.nEncodeType = tail[kTailEncodeTypeOffset];
    info.nIndexVersion = tail[kTailVersionOffset];
    return true;
}

long long RecordIndexCodec::addSeconds(long long time, long long seconds) {
    if (seconds > 0 && time > LLONG_MAX - seconds) return LLONG_MAX;
    if (seconds < 0 && time < LLONG_MIN - seconds) return LLONG_MIN;
    return time + seconds;
}

int RecordIndexCodec::getRawIndexVersion(char const* rawHead, int nLength) {
    if (rawHead == nullptr || nLength < kRawVersionFromEnd) return -1;
    return static_cast<unsigned char>(rawHead[nLength - kRawVersionFromEnd]);
}

bool RecordIndexCodec::findHead(char const* data, int nLength, int nFrom, int& nBegin,
                                int& nHeadLength) {
    if (data == nullptr || nFrom < 0) return false;
    unsigned char const* p = reinterpret_cast<unsigned char const*>(data);
    int const begin = findCode(p, nFrom + 3, nLength, kStartCodeLast);
    if (begin < 0) return false;
    int const end = findCode(p, begin + kStartCodeSize + 3, nLength, kEndCodeLast);
    if (end < 0) return false;
    nBegin = begin;
    nHeadLength = end + 4 - begin;
    return true;
}

// memchr for the code's last byte: a day's index is scanned for every head
// on each open, and most of it holds no such byte.
int RecordIndexCodec::findCode(unsigned char const* p, int nFrom, int nLength, unsigned char last) {
    for (int i = nFrom; i < nLength; ++i) {
        void const* hit = std::memchr(p + i, last, static_cast<size_t>(nLength - i));
        if (hit == nullptr) return -1;
        i = static_cast<int>(static_cast<unsigned char const*>(hit) - p);
        if (NS_RecordIndexCodec::followsThreeZeros(p, i)) return i - 3;
    }
    return -1;
}

int RecordIndexCodec::encodeItem(int nVersion, ItemInfo const& item, unsigned char* out) {
    bool isLong = item.bLong || item.nTimeInterval > kMaxShortInterval;
    int n = 0;
    unsigned char flags;
    if (isLong) {
        out[n++] = kLongItemMark;
        writeLE(out + n, static_cast<std::uint64_t>(static_cast<unsigned>(item.nTimeInterval)), 3);
        n += 3;
        flags = kLongFlagHighNibble;
    } else {
        // A negative interval (clock stepped back) keeps its low four bits.
        flags = static_cast<unsigned char>((static_cast<unsigned>(item.nTimeInterval) & 0x0F) << 4);
    }
    flags |= static_cast<unsigned char>(static_cast<unsigned>(std::min(item.nTimeLength, kMaxItemTimeLength)) &
                                        kFlagTimeLengthMask);
    if (item.nIndexType == 1) flags |= kFlagIFrame;
    if (item.bLocked) flags |= kFlagLocked;
    out[n++] = flags;
    if (!NS_RecordIndexCodec::isVersion1(nVersion)) {
        out[n++] = static_cast<unsigned char>(kItemSecondByte | (item.bAlarm ? kAlarmBit : 0));
    }
    // Packets of 188 bytes, remainder dropped; 65536 packets and more wrap.
    int packets = item.nDataLength / kTsPacketSize;
    writeLE(out + n, static_cast<std::uint64_t>(static_cast<unsigned>(packets)), 2);
    n += 2;
    return n;
}

void RecordIndexCodec::setLockBit(unsigned char* p, bool bLocked) {
    unsigned char& flags = p[0] == kLongItemMark ? p[4] : p[0];
    if (bLocked) {
        flags |= kFlagLocked;
    } else {
        flags &= static_cast<unsigned char>(~kFlagLocked);
    }
}

std::uint32_t RecordIndexCodec::toStoredCrc(std::uint32_t nCrc) {
    if ((nCrc >> 24) == 0xFF) {
        nCrc = (nCrc & 0x00FFFFFFu) | (static_cast<std::uint32_t>(kCrcTopReplacement) << 24);
    }
    return nCrc;
}

bool RecordIndexCodec::encodeCrcItem(unsigned char* out, int nCoveredLength, std::uint32_t nCrc) {
    std::uint32_t stored = toStoredCrc(nCrc);
    out[0] = kCrcItemMark;
    out[1] = kCrcItemSecond;
    writeLE(out + 2, static_cast<std::uint64_t>(static_cast<unsigned>(nCoveredLength)), 2);
    writeLE(out + kCrcFieldOffset, stored, 4);
    return stored != nCrc;
}
