// Fuzzes the record index codec the way a reader meets an image: find heads,
// decode them, find the end of each item area with the parser of the stored
// version, then walk, lock and check the area. Every version parser also
// walks the raw input. The whole-file reader then takes the input as an index
// image, in memory and as a file with a ".reindex" sibling on a temporary
// folder, and runs every reading, repairing and changing operation on it.
// Inputs are copied to exact-size heap buffers so that AddressSanitizer sees
// any read past the end. Invariants that hold for any input abort when
// broken: lock and unlock change only lock bits and renewed CRC fields, and
// a file changed after a repair ends as the same changes leave it without.

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sys/stat.h>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "directory/EarliestFileDeleteHandler.h"
#include "directory/EarliestFileInfoList.h"
#include "directory/RecordOutDateFileHandler.h"
#include "directory/RecordRecycleBin.h"
#include "foundation/RecordDirInfoEx.h"
#include "host/HostPaths.h"
#include "index/RecordFileIndexNodeInfo.h"
#include "index/RecordIndexCache.h"
#include "index/RecordIndexFileParserEx.h"
#include "index/RecordIndexParserImplEx.h"
#include "retrieval/SingleDeviceRecordQuery.h"
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

// Marks the CRC fields (bytes 4 to 7) of the CRC items a V3 walk meets.
void markCrcFields(char const* area, int length, std::vector<char>& marks) {
    int const usable = length - length % 4;
    int offset = 0;
    while (offset < usable) {
        unsigned char first = static_cast<unsigned char>(area[offset]);
        int size = first == RecordIndexCodec::kCrcItemMark ? RecordIndexCodec::kCrcItemSize
                                                             : RecordIndexCodec::getItemSize(2, first);
        if (offset + size > usable) break;
        if (first == RecordIndexCodec::kCrcItemMark) {
            for (int i = RecordIndexCodec::kCrcFieldOffset; i < size; ++i) marks[offset + i] = 1;
        }
        offset += size;
    }
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
    // Byte counts stop at the largest int.
    FUZZ_CHECK(static_cast<long long>(parser->getValidDataLength()) ==
               (total > 0x7FFFFFFFLL ? 0x7FFFFFFFLL : total));
    parser->getRecordFileTimeInterval();
    std::map<int, int> segments;
    int interval = 0;
    int dataLength = 0;
    parser->getRecordFileTimeSegmentList(segments, interval, dataLength);
    int time = 0;
    parser->getRecordFileSizeAndTimeInfo(dataLength, time, interval);
    parser->checkFileIsLocked();
    parser->isIndexInfoNeedRepaire(length);

    // Lock and unlock touch nothing but bit 3 of flag bytes, and in V3 the
    // CRC fields of the CRC items (renewed).
    std::vector<char> before(area.get(), area.get() + length);
    std::vector<char> crcFields(length > 0 ? length : 1, 0);
    bool v3 = version != RecordIndexCodec::kIndexVersion1 && version != RecordIndexCodec::kIndexVersion2;
    if (v3) markCrcFields(area.get(), length, crcFields);
    parser->lockFile(beginTime, RecordIndexCodec::addSeconds(beginTime, 0x7FFFFF));
    if (v3) markCrcFields(area.get(), length, crcFields);
    parser->unLockFile(RecordIndexCodec::addSeconds(beginTime, -1), RecordIndexCodec::addSeconds(beginTime, 0x1000000));
    for (int i = 0; i < length; ++i) FUZZ_CHECK(((before[i] ^ area[i]) & ~0x08) == 0 || crcFields[i]);
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

std::string& fuzzRoot() {
    static std::string root;
    return root;
}

char const* const kDate = "2024-01-31";
char const* const kDevice = "NVR_10.0.0.2_1";

RecordDirInfoEx fuzzDirInfo() {
    RecordDirInfoEx info;
    info.setRecordRootDir(fuzzRoot());
    info.setDiskType(1);
    return info;
}

void runQueries(RecordIndexParserImplEx& parser) {
    for (bool withData : {false, true}) {
        RecordQueryCondition condition;
        condition.setRecordQueryTimePrecision(3);
        condition.setRecordSegmentInterval(withData ? 300 : 0);
        RecordQueryResult result;
        SingleDeviceRecordQuery query(result, condition);
        query.setDate(kDate);
        parser.queryRecordSegmentList(&query, withData);
        query.clear();
        for (auto const& segment : result.getRecordTimeSegmentList()) {
            FUZZ_CHECK(segment.getRecordBeginTime() <= segment.getRecordEndTime());
        }
    }
}

// Every reading walk of the entry parser over the image it holds.
void walkImage(RecordIndexParserImplEx& parser, int length) {
    int count = parser.getFileNumber();
    FUZZ_CHECK(count >= 0 && count <= length / 8 + 1);
    runQueries(parser);
    RecordIndexParserImplEx::FileList all, whole, broken;
    parser.getRecordFileInfoList(LLONG_MIN, LLONG_MAX, all);
    parser.getRepairedRecordFileInfoList(whole);
    parser.getIndexDemagedFileList(broken);
    FUZZ_CHECK(static_cast<int>(whole.size() + broken.size()) == count);
    int locked = 0;
    parser.getLockFileInfo(locked);
    std::vector<std::string> lockedNames;
    parser.getLockFileList(lockedNames);
    FUZZ_CHECK(static_cast<int>(lockedNames.size()) == locked && locked <= count);
    EarliestFileInfoList earliest(4);
    parser.getEarliestRecordFileInfo(earliest, 4, true);
    FUZZ_CHECK(earliest.getFileCount() <= 4);
    RecordFileInfo file;
    int version = 0;
    FUZZ_CHECK(parser.getLastestFileInfo(file, version) == (count > 0 ? 1 : 0));
    parser.getEarliestRecordFileInfo(file);
    int headLength = 0;
    char* last = parser.getLastestIndexInfo(headLength);
    int imageLength = 0;
    char* image = parser.getIndexInfo(imageLength);
    FUZZ_CHECK(last == nullptr || (last >= image && last + headLength <= image + imageLength));
    int data = 0, time = 0, interval = 0, end = 0;
    bool closed = false;
    parser.getRecordFileLenAndTimeLen(data, time, interval, end, closed);
    FUZZ_CHECK(end >= -1 && end < (imageLength > 0 ? imageLength : 1));
    for (bool forward : {true, false}) {
        RecordInfo info;
        info.setRecordBeginTime(all.empty() ? 0 : static_cast<unsigned long>(all[0]->getRecordBeginTime() + 1));
        SafePointer<RecordFileInfo> found;
        int begin = 0, headEnd = 0, last2 = 0;
        std::map<int, int> spans;
        if (parser.getRecordFileInfo(info, found, begin, headEnd, last2, spans, forward)) {
            FUZZ_CHECK(begin >= 0 && headEnd > begin && last2 < imageLength);
            RecordIndexCache cache;
            parser.getRecordFileIndexList(begin, headEnd, last2, cache, forward);
            cache.getFilePos(5, true);
            cache.getFilePos(5, false);
            cache.getPreFilePos(5);
            cache.getTimeStamp(1000, true);
            cache.getTimeStamp(1000, false);
        }
    }
    for (auto const& entry : all) {
        RecordFileIndexNodeInfo nodes;
        parser.getRecordFileIndexNodeInfoList(entry->getRecordFileName().c_str(), nodes);
        nodes.seekIndexNode(3);
        RecordIndexNode node;
        nodes.getCurrentNodeInfo(node);
    }
}

// The image in memory: walks, then changes in place, which must stay inside
// the image and paint only what they report.
void exerciseImage(char const* data, int length) {
    auto image = exactCopy(data, length);
    RecordIndexParserImplEx parser;
    parser.setIndexInfo(fuzzDirInfo(), kDate, kDevice, length > 0 ? image.get() : nullptr, length, 0);
    walkImage(parser, length);
    int first = 0, last = 0;
    parser.lockFile(0, 1LL << 40, first, last);
    FUZZ_CHECK(first == -1 || (first >= 0 && first <= last && last < length));
    parser.unLockFile(0, 1LL << 40, first, last);
    // Lock bits of garbage "items" may have made or broken codes: look again.
    parser.setInitIndexPosInfoFlag();
    int count = parser.getFileNumber();
    RecordIndexParserImplEx::FileList all;
    parser.getRecordFileInfoList(LLONG_MIN, LLONG_MAX, all);
    if (!all.empty()) {
        int begin = 0, end = 0;
        FUZZ_CHECK(parser.deleteFile(*all[0], begin, end) == 1);
        FUZZ_CHECK(begin >= 0 && begin <= end && end < length);
        for (int i = begin; i <= end; ++i) FUZZ_CHECK(static_cast<unsigned char>(image[i]) == 0xFF);
        FUZZ_CHECK(parser.getFileNumber() < count);
    }
    SafePointer<EarliestFileDeleteHandler> noHandler;
    parser.deleteEarliestRecordFile(noHandler, first, last);
    FUZZ_CHECK(first == -1 || (first >= 0 && first <= last && last < length));
    walkImage(parser, length);
}

bool writeWhole(std::string const& path, char const* data, int length) {
    FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) return false;
    bool ok = length == 0 || std::fwrite(data, 1, length, file) == static_cast<size_t>(length);
    return std::fclose(file) == 0 && ok;
}

std::string readWholeFile(std::string const& path) {
    std::string bytes;
    FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) return bytes;
    char buffer[4096];
    size_t read = 0;
    while ((read = std::fread(buffer, 1, sizeof(buffer), file)) > 0) bytes.append(buffer, read);
    std::fclose(file);
    return bytes;
}

// What a user and the reclamation change in one index file.
void changeFile(RecordIndexFileParserEx& parser, RecordDirInfoEx const& info, std::string const& firstName) {
    parser.lockFile(0, 1LL << 40);
    parser.unLockFile(0, 1LL << 39);
    if (!firstName.empty()) {
        RecordFileInfo file;
        file.setRecordFileName(firstName);
        FUZZ_CHECK(parser.deleteFile(file) == 1);
    }
    SafePointer<RecordOutDateFileHandler> outDate(new RecordOutDateFileHandler(SafePointer<RecordRecycleBin>(), info));
    outDate->setFileDeleteTime(1000);
    outDate->setDeleteFileFlag(false);
    FUZZ_CHECK(parser.deleteOutDateFile(outDate) == 1);
    // Entries may name anything: nothing but record files may go to the bin.
    SafePointer<RecordRecycleBin> bin(new RecordRecycleBin(info.getDiskType(), info.getRecordRootDir() + "/record"));
    bin->init(0, 0);
    SafePointer<EarliestFileDeleteHandler> earliest(new EarliestFileDeleteHandler(bin, info));
    FUZZ_CHECK(parser.deleteEarliestRecordFile(earliest) == 1);
    FUZZ_CHECK(parser.getFileNumber() >= 0);
}

// The input split in two, as the index file and its ".reindex" sibling. A
// repaired view is walked and then changed: the file must end exactly as
// the same changes leave it without a repair.
void exerciseFiles(uint8_t const* data, int length) {
    if (fuzzRoot().empty()) return;
    int split = length < 2 ? 0 : (data[0] | (data[1] << 8)) % (length + 1);
    char const* text = reinterpret_cast<char const*>(data);
    RecordDirInfoEx info = fuzzDirInfo();
    std::string main = RecordIndexFileParserEx::getIndexFileName(fuzzRoot(), kDate, kDevice, 0);
    std::string rebuilt = RecordIndexFileParserEx::getIndexFileName(fuzzRoot(), kDate, kDevice, 3);
    if (!writeWhole(main, text, split) || !writeWhole(rebuilt, text + split, length - split)) return;

    RecordIndexFileParserEx parser;
    FUZZ_CHECK(parser.open(info, kDate, kDevice, 0, 0) == 1);
    RecordIndexParserImplEx::FileList all;
    parser.getRecordFileInfoList(LLONG_MIN, LLONG_MAX, all);
    std::string firstName = all.empty() ? std::string() : all[0]->getRecordFileName();

    FUZZ_CHECK(parser.open(info, kDate, kDevice, 0, 1) == 1);
    FUZZ_CHECK(parser.repairIndex(info, kDate, kDevice, 0) == 1);
    int imageLength = 0;
    parser.getIndexInfo(imageLength);
    FUZZ_CHECK(imageLength == length || imageLength == split);
    walkImage(parser.getParser(), imageLength);
    changeFile(parser, info, firstName);
    parser.close();
    std::string repaired = readWholeFile(main);
    FUZZ_CHECK(static_cast<int>(repaired.size()) == split);

    if (!writeWhole(main, text, split)) return;
    FUZZ_CHECK(parser.open(info, kDate, kDevice, 0, 1) == 1);
    changeFile(parser, info, firstName);
    parser.close();
    FUZZ_CHECK(readWholeFile(main) == repaired);
    FUZZ_CHECK(readWholeFile(rebuilt) == std::string(text + split, length - split));
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // The parsers log oddities; keep the logs out of the real log folder.
    char folder[] = "/tmp/record_index_fuzz.XXXXXX";
    if (mkdtemp(folder) != nullptr) {
        HostPaths::setRoot(folder);
        // The same folder is the record root of the whole-file runs.
        std::string dateDir = std::string(folder) + "/record/" + kDevice;
        if (mkdir((std::string(folder) + "/record").c_str(), 0755) == 0 &&
            mkdir(dateDir.c_str(), 0755) == 0 && mkdir((dateDir + "/" + kDate).c_str(), 0755) == 0) {
            fuzzRoot() = folder;
        }
    }
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
    exerciseImage(text, length);
    // Files cost a sync per change: one input in four goes the whole way.
    if (length == 0 || (data[length - 1] & 3) == 0) exerciseFiles(data, length);
    return 0;
}
