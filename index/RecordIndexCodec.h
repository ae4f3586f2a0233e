#ifndef INDEX_RECORDINDEXCODEC_H
#define INDEX_RECORDINDEXCODEC_H

#include <cstdint>
#include <string>

// Byte-level coding of the record index file (".index", ".bakindex",
// ".reindex"): the framed head of an entry, index items and CRC items.
// The layout, with a byte diagram and an annotated example, is described in
// docs/record-index.md; this class is its one implementation.
//
// Every integer in the file is little-endian and is coded here by byte
// shifts, so the result is the same on any host and any width of long.
// Decoders never read outside the length they are given and never throw.
// Stateless; any thread.
class RecordIndexCodec {
public:
    // ---- framing of a head ----
    static constexpr int kStartCodeSize = 4;              // 00 00 00 01
    static constexpr int kEndCodeSize = 4;                // 00 00 00 02
    static constexpr int kFramingSize = kStartCodeSize + kEndCodeSize;
    static constexpr unsigned char kStartCodeLast = 0x01;
    static constexpr unsigned char kEndCodeLast = 0x02;
    static constexpr unsigned char kEscapeByte = 0x03;
    static constexpr unsigned char kNameTerminator = 0x2C;  // ','

    // ---- the fixed tail behind the name, offsets from the comma ----
    static constexpr int kTailSize = 21;
    static constexpr int kTailZoneOffset = 1;
    static constexpr int kTailBeginTimeOffset = 2;
    static constexpr int kTailWidthOffset = 10;
    static constexpr int kTailHeightOffset = 12;
    static constexpr int kTailEncodeTypeOffset = 14;
    static constexpr int kTailVersionOffset = 15;
    static constexpr int kTailReservedOffset = 16;
    static constexpr int kTailReservedSize = 5;
    // The raw head ends in the version byte, five reserved 00 and the end
    // code, so the version can be read at (raw length - 10) unescaped.
    static constexpr int kRawVersionFromEnd = 1 + kTailReservedSize + kEndCodeSize;
    // A head below this length cannot hold a comma behind the start code.
    static constexpr int kMinParsableHead = 6;
    // The writer builds a head in a buffer of this size.
    static constexpr int kHeadBufferSize = 256;

    // ---- index versions as stored in the head ----
    static constexpr int kIndexVersion1 = 0;
    static constexpr int kIndexVersion2 = 1;
    static constexpr int kIndexVersion3 = 2;  // INDEX_VERSION_3, the only one written

    // ---- items ----
    static constexpr unsigned char kLongItemMark = 0xF0;
    static constexpr unsigned char kCrcItemMark = 0xF1;
    static constexpr unsigned char kCrcItemSecond = 0xE0;
    static constexpr unsigned char kEndOfData = 0xFF;
    static constexpr unsigned char kItemSecondByte = 0xE0;   // V2/V3 byte 1, bit 0 is alarm
    static constexpr unsigned char kLongFlagHighNibble = 0xE0;
    static constexpr int kShortItemSizeV1 = 3;
    static constexpr int kLongItemSizeV1 = 7;
    static constexpr int kShortItemSizeV2 = 4;               // V2 and V3
    static constexpr int kLongItemSizeV2 = 8;                // V2 and V3
    static constexpr int kCrcItemSize = 8;
    static constexpr int kCrcFieldOffset = 4;               // of the CRC in a CRC item
    static constexpr int kMaxShortInterval = 14;             // 15 would collide with 0xFx
    static constexpr int kMaxItemTimeLength = 3;
    static constexpr int kTsPacketSize = 188;
    static constexpr unsigned char kFlagLocked = 0x08;
    static constexpr unsigned char kFlagIFrame = 0x04;
    static constexpr unsigned char kFlagTimeLengthMask = 0x03;
    static constexpr unsigned char kAlarmBit = 0x01;
    // A stored CRC must not end (its top byte) in FF; see toStoredCrc.
    static constexpr unsigned char kCrcTopReplacement = 0xEE;

    // A fresh index file, and the largest one a reader accepts.
    static constexpr int kFreshIndexFileSize = 0x80000;
    static constexpr int kMaxIndexFileSize = 0x100000;

    // ---- little-endian helpers, n bytes (1 to 8) ----
    static std::uint64_t readLE(unsigned char const* bytes, int nLength) {
        std::uint64_t value = 0;
        for (int i = 0; i < nLength && i < 8; ++i) value |= static_cast<std::uint64_t>(bytes[i]) << (8 * i);
        return value;
    }
    static void writeLE(unsigned char* bytes, std::uint64_t value, int nLength);

    // What the head of one entry carries.
    struct HeadInfo {
        std::string strFileName;   // record file name; must not hold a comma
        int nTimeZone = 0;         // high nibble of the zone byte
        int nDst = 0;              // low nibble of the zone byte
        long long nBeginTime = 0;  // seconds; base of every item time
        int nWidth = 0;
        int nHeight = 0;
        int nEncodeType = 0;
        int nIndexVersion = kIndexVersion3;
    };

    // The values of one index item, decoded or to encode.
    struct ItemInfo {
        bool bLong = false;
        int nTimeInterval = 0;  // short: from the previous item; long: from the begin time
        int nDataLength = 0;    // bytes, a multiple of 188 when decoded
        int nTimeLength = 0;    // seconds, 0 to 3 when decoded
        bool bLocked = false;
        int nIndexType = 0;     // 1: the stretch begins with an I-frame
        bool bAlarm = false;    // V2 and V3 only
    };

    // ---- head ----
    // Builds name, comma and tail, escapes and frames them into out. Answers
    // the raw head length, or -1 when the name holds a comma or the result
    // would not fit nCapacity.
    static int encodeHead(HeadInfo const& info, char* out, int nCapacity);
    // Escapes the nLength payload bytes at the front of buffer and frames
    // them, in place. Answers the new length, or -1 if it would pass
    // nCapacity (the buffer is then unchanged).
    static int fillRecordFileInfo(char* buffer, int nLength, int nCapacity);
    // Removes the escape bytes of a raw head in place: every 03 that ends
    // 00 00 00 03 at position 3 or later. Answers the new length.
    static int filter(char* buffer, int nLength);
    // Decodes a raw head (start code to end code). False when it is shorter
    // than 6 bytes, holds no comma behind the start code, or the tail does
    // not fit; info is then left alone. Every begin time is taken: the field
    // is signed 64 bits, and no value of it is damage by itself.
    static bool decodeHead(char const* rawHead, int nLength, HeadInfo& info);
    // The same for a head that filter has already unescaped.
    static bool decodeFilteredHead(char const* head, int nLength, HeadInfo& info);
    // time + seconds, held at the ends of the signed 64-bit range: a begin
    // time near either end must not make the sums of a walk wrap.
    static long long addSeconds(long long time, long long seconds);
    // The version byte read without unescaping; -1 for a head too short.
    static int getRawIndexVersion(char const* rawHead, int nLength);
    // The first head at or after nFrom in data: begin is the offset of its
    // start code, length runs to the end of its end code. False when there
    // is no complete head.
    static bool findHead(char const* data, int nLength, int nFrom, int& nBegin, int& nHeadLength);
    // Offset of the first 00 00 00 <last> whose last byte lies at or after
    // nFrom; -1 if none.
    static int findCode(unsigned char const* p, int nFrom, int nLength, unsigned char last);

    // ---- items ----
    // Size of the item beginning with firstByte (0xF0 long, otherwise short).
    static int getItemSize(int nVersion, unsigned char firstByte) {
        bool const isLong = firstByte == kLongItemMark;
        if (nVersion == kIndexVersion1) return isLong ? kLongItemSizeV1 : kShortItemSizeV1;
        return isLong ? kLongItemSizeV2 : kShortItemSizeV2;
    }
    // Encodes an item of the given version (0 V1, 1 V2, anything else V3) the
    // way the writer does: long when asked or when the interval is 15 or more;
    // time length capped at 3; data length stored in 188-byte packets modulo
    // 65536. Answers the bytes written to out (at least 8 must be free).
    static int encodeItem(int nVersion, ItemInfo const& item, unsigned char* out);
    // Decodes the item at p within nLength bytes. Answers its size, or 0 when
    // it does not fit. Inline: every walk over an index runs it per item.
    static int decodeItem(int nVersion, unsigned char const* p, int nLength, ItemInfo& item) {
        if (p == nullptr || nLength < 1) return 0;
        int const size = getItemSize(nVersion, p[0]);
        if (nLength < size) return 0;
        int n = 0;
        item.bLong = p[0] == kLongItemMark;
        if (item.bLong) {
            item.nTimeInterval = static_cast<int>(readLE(p + 1, 3));
            n = 4;
        }
        unsigned char const flags = p[n++];
        if (!item.bLong) item.nTimeInterval = flags >> 4;
        item.nTimeLength = flags & kFlagTimeLengthMask;
        item.nIndexType = (flags & kFlagIFrame) ? 1 : 0;
        item.bLocked = (flags & kFlagLocked) != 0;
        item.bAlarm = false;
        if (nVersion != kIndexVersion1) item.bAlarm = (p[n++] & kAlarmBit) != 0;
        item.nDataLength = static_cast<int>(readLE(p + n, 2)) * kTsPacketSize;
        return size;
    }

    // Sets or clears the lock bit in the flag byte of the raw item at p (byte
    // 0, or byte 4 behind 0xF0); p must hold the whole item.
    static void setLockBit(unsigned char* p, bool bLocked);

    // ---- CRC items ----
    // The CRC as stored: a top byte of 0xFF becomes 0xEE, so that the item
    // never ends in the FF of the filler. Readers don't undo it.
    static std::uint32_t toStoredCrc(std::uint32_t nCrc);
    // A stored CRC that may have been changed so: its top byte is EE. The
    // run was whole when sealed, though readers take it for damaged, and a
    // lock of its items since (which renews only intact runs) left the CRC
    // as it was. A damaged run whose own CRC ends in EE passes too (1 in 256).
    static bool isReplacedCrc(std::uint32_t nStored) { return (nStored >> 24) == kCrcTopReplacement; }
    // F1 E0, covered length (16 bits), stored CRC. Answers true when the CRC
    // had to be changed by toStoredCrc.
    static bool encodeCrcItem(unsigned char* out, int nCoveredLength, std::uint32_t nCrc);
};

#endif
