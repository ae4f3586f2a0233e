// Fuzzes the record index codec the way a reader meets an image: find heads,
// decode them, find the end of each item area with the parser of the stored
// version, then walk, lock and check the area. Every version parser also
// walks the raw input. Inputs are copied to exact-size heap buffers so that
// AddressSanitizer sees any read past the end. Invariants that hold for any
// input abort when broken.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/HostPaths.h"
#include "index/RecordCrc32.h"
#include "index/RecordIndexCodec.h"
#include "index/RecordIndexCrcItemParser.h"
#include "index/RecordIndexInfoParserV3.h"
#include "index/RecordIndexItemParserV1.h"
#include "index/RecordIndexItemParserV2.h"
#include "index/RecordIndexItemParserV3.h"
#include "index/RecordIndexParserFactory.h"

namespace {

#define FUZZ_CHECK(condition) \
    do {                      \
        if (!(condition)) __builtin_trap(); \
    } while (0)

std::unique_ptr<char[]> exactCopy(char const* data, int length) {
    std::unique_ptr<char[]> copy(new char[length > 0 ? length : 1]);
    if (length > 0) std::memcpy(copy.get(), data, length);
    return copy;
}

void exerciseArea(int version, char const* data, int length, long long beginTime) {
    auto area = exactCopy(data, length);
    auto parser = RecordIndexParserFactory::createParser(version);

    int result = -1;
    int end = parser->getIndexEndPos(area.get(), length, result);
    FUZZ_CHECK(end >= -1 && end < (length > 0 ? length : 1) && (result == 0 || result == 1));

    parser->setIndexInfo(area.get(), length, beginTime);
    IRecordIndexInfoParser::WalkItem item;
    int count = 0;
    long long total = 0;
    while (parser->nextItem(item)) {
        FUZZ_CHECK(item.nOffset >= 0 && item.nOffset + item.nItemLength <= length);
        FUZZ_CHECK(item.nTimeLength >= 0 && item.nTimeLength <= 3);
        FUZZ_CHECK(item.nDataLength >= 0 && item.nDataLength % 188 == 0);
        total += item.nDataLength;
        ++count;
    }
    FUZZ_CHECK(count == item.nCount);
    FUZZ_CHECK(static_cast<long long>(parser->getValidDataLength()) == total);
    parser->getRecordFileTimeInterval();
    std::map<int, int> segments;
    int interval = 0;
    int dataLength = 0;
    parser->getRecordFileTimeSegmentList(segments, interval, dataLength);
    int time = 0;
    parser->getRecordFileSizeAndTimeInfo(dataLength, time, interval);
    parser->checkFileIsLocked();
    parser->isIndexInfoNeedRepaire(length);

    // Lock and unlock touch nothing but bit 3 of flag bytes.
    std::vector<char> before(area.get(), area.get() + length);
    parser->lockFile(beginTime, beginTime + 0x7FFFFF);
    parser->unLockFile(beginTime - 1, beginTime + 0x1000000);
    for (int i = 0; i < length; ++i) FUZZ_CHECK(((before[i] ^ area[i]) & ~0x08) == 0);
    if (version == RecordIndexCodec::kIndexVersion3) {
        auto* v3 = static_cast<RecordIndexInfoParserV3*>(parser.get());
        char* p = area.get();
        int left = length;
        int skipped = v3->filterCrcItem(p, left, length);
        FUZZ_CHECK(skipped >= 0 && skipped <= length && left == length - skipped);
    }
}

// The position scan of a reader: head, version, end of the item area, next.
void scanImage(char const* data, int length) {
    auto image = exactCopy(data, length);
    int from = 0;
    int rounds = 0;
    int begin = 0;
    int headLength = 0;
    while (from < length && rounds++ < 64 &&
           RecordIndexCodec::findHead(image.get(), length, from, begin, headLength)) {
        FUZZ_CHECK(begin >= from && headLength >= 8 && begin + headLength <= length);
        char const* head = image.get() + begin;
        RecordIndexCodec::HeadInfo info;
        bool decoded = RecordIndexCodec::decodeHead(head, headLength, info);
        int version = RecordIndexCodec::getRawIndexVersion(head, headLength);
        int areaBegin = begin + headLength;
        auto parser = RecordIndexParserFactory::createParser(version);
        int result = 0;
        int end = parser->getIndexEndPos(image.get() + areaBegin, length - areaBegin, result);
        if (decoded) {
            std::vector<char> area(image.get() + areaBegin, image.get() + areaBegin + end + 1);
            exerciseArea(version, area.data(), static_cast<int>(area.size()), info.nBeginTime);
        }
        from = areaBegin + end + 1;
    }
}

void exerciseItemParsers(char const* data, int length) {
    auto bytes = exactCopy(data, length);
    RecordIndexItemParserV1 v1;
    RecordIndexItemParserV2 v2;
    RecordIndexItemParserV3 v3;
    RecordIndexCrcItemParser crc;
    for (int offset = 0; offset < length; ++offset) {
        char* p = bytes.get() + offset;
        int left = length - offset;
        int itemLength = 0;
        if (v3.parse(p, left, itemLength)) FUZZ_CHECK(itemLength == 4 || itemLength == 8);
        FUZZ_CHECK(v1.parse(p, left, itemLength) == 0 && v2.parse(p, left, itemLength) == 0);
        unsigned char first = static_cast<unsigned char>(p[0]);
        if (left >= RecordIndexCodec::getItemSize(0, first)) v1.parse(p, itemLength);
        if (left >= RecordIndexCodec::getItemSize(1, first)) v2.parse(p, itemLength);
        crc.parse(p, left, itemLength);
    }
}

// Escaping must be undone exactly by filter, and hide every code.
void exerciseEscaping(char const* data, int length) {
    int payload = length < 300 ? length : 300;
    int capacity = payload * 2 + RecordIndexCodec::kFramingSize;
    std::unique_ptr<char[]> buffer(new char[capacity]);
    if (payload > 0) std::memcpy(buffer.get(), data, payload);
    int framed = RecordIndexCodec::fillRecordFileInfo(buffer.get(), payload, capacity);
    FUZZ_CHECK(framed >= payload + RecordIndexCodec::kFramingSize && framed <= capacity);
    int begin = -1;
    int headLength = -1;
    FUZZ_CHECK(RecordIndexCodec::findHead(buffer.get(), framed, 0, begin, headLength));
    FUZZ_CHECK(begin == 0 && headLength == framed);
    int filtered = RecordIndexCodec::filter(buffer.get(), framed);
    FUZZ_CHECK(filtered == payload + RecordIndexCodec::kFramingSize);
    FUZZ_CHECK(payload == 0 || std::memcmp(buffer.get() + RecordIndexCodec::kStartCodeSize, data, payload) == 0);
    RecordCrc32::getInstance()->getCrc32(data, payload);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // The parsers log oddities; keep the logs out of the real log folder.
    char folder[] = "/tmp/record_index_fuzz.XXXXXX";
    if (mkdtemp(folder) != nullptr) HostPaths::setRoot(folder);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
    if (size > (1u << 16)) return 0;
    char const* text = reinterpret_cast<char const*>(data);
    int length = static_cast<int>(size);
    scanImage(text, length);
    if (length >= 1) {
        // First byte: version and begin time for the raw walk of the rest.
        int version = data[0] % 4;
        exerciseArea(version, text + 1, length - 1, static_cast<long long>(data[0]) * 1000);
    }
    exerciseItemParsers(text, length);
    exerciseEscaping(text, length);
    return 0;
}
