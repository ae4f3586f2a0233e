// Fuzzes both snapshot index generations the way a reader meets them: the
// walk and head decoding over the raw input, then the input as an index file
// on a temporary folder, read, queried, searched and changed by every
// parser operation, and appended to by the writer. Inputs are copied to
// exact-size heap buffers so that AddressSanitizer sees any read past the
// end. Invariants that hold for any input abort when broken.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "directory/EarliestFileInfoList.h"
#include "foundation/RecordDirInfoEx.h"
#include "snapshot/SnapshotFileIndexWriterEx.h"
#include "snapshot/SnapshotIndexCodec.h"
#include "snapshot/SnapshotIndexFileParser.h"
#include "snapshot/SnapshotIndexFileParserEx.h"

namespace {

#define FUZZ_CHECK(condition) \
    do {                      \
        if (!(condition)) __builtin_trap(); \
    } while (0)

std::string const kDeviceDir = "NVR_10.0.0.7_1";
std::string const kDate = "2024-03-05";

std::string const& root() {
    static std::string const path = [] {
        char pattern[] = "/tmp/snapshot_fuzz_XXXXXX";
        char* made = mkdtemp(pattern);
        if (made == nullptr) std::abort();
        std::string dir = std::string(made) + "/snapshot/" + kDeviceDir + "/" + kDate;
        std::string cmd = "mkdir -p '" + dir + "'";
        if (std::system(cmd.c_str()) != 0) std::abort();
        return std::string(made);
    }();
    return path;
}

void writeIndex(uint8_t const* data, size_t size) {
    std::string path = root() + "/snapshot/" + kDeviceDir + "/" + kDate + "/" + kDeviceDir + "_" + kDate + ".index";
    FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) std::abort();
    if (size > 0 && std::fwrite(data, 1, size, file) != size) std::abort();
    std::fclose(file);
}

void walkRaw(uint8_t const* data, int length) {
    std::unique_ptr<char[]> copy(new char[length > 0 ? length : 1]);
    if (length > 0) std::memcpy(copy.get(), data, length);
    int from = 0;
    int begin = 0;
    int headEnd = 0;
    int end = 0;
    while (from < length && SnapshotIndexCodec::getIndexPos(copy.get(), length, from, begin, headEnd, end)) {
        FUZZ_CHECK(begin >= from && headEnd > begin && end >= headEnd && end < length);
        FUZZ_CHECK((end - headEnd) % SnapshotIndexCodec::kItemSize == 0);
        std::string name;
        long long time = 0;
        SnapshotIndexCodec::decodeHead(copy.get() + begin, headEnd - begin + 1, name, time);
        from = end + 1;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
    if (size > (1u << 16)) return 0;
    walkRaw(data, static_cast<int>(size));

    RecordDirInfoEx info;
    info.setRecordRootDir(root());
    SnapshotQueryCondition all;
    all.setBeginTime(0);
    all.setEndTime(1LL << 45);

    writeIndex(data, size);
    {
        SnapshotIndexFileParserEx parser;
        if (parser.open(info, kDate, kDeviceDir) == 1) {
            FUZZ_CHECK(parser.getImage().size() == size);
            std::vector<SnapshotFile> list;
            parser.query(all, list, 0);
            EarliestFileInfoList earliest(10);
            parser.getEarliestRecordFileInfo(earliest, 10, false);
            long long const total = parser.getTotalFileSize();
            for (SnapshotFile const& file : list) {
                // Found or not (an entry's end is its last item's time, which
                // damage may put before another item's), a picture lies
                // inside what the items count.
                SafePointer<SnapshotImageDataInfo> image(new SnapshotImageDataInfo());
                parser.getImageDataInfo(file.getTime(), image);
                FUZZ_CHECK(image->getImageDataLen() < 0 ||
                           (image->getImageFilePos() >= 0 &&
                            image->getImageFilePos() + static_cast<long long>(image->getImageDataLen()) <= total));
            }
            if (!list.empty()) parser.deleteImage(list.front().getTime());
            parser.deleteFile(all);
            RecordFileInfo last;
            bool empty = false;
            if (parser.getLastestFileInfo(last) == 0) {
                FUZZ_CHECK(parser.deleteFile(last.getRecordFileName(), empty) == 1);
            }
        }
    }
    writeIndex(data, size);
    {
        RecordFileInfo file;
        file.setDeviceId("NVR");
        file.setDeviceIP("10.0.0.7");
        file.setCameraId(1);
        file.setRecordDate(kDate);
        file.setRecordFileName("fuzz.mjpeg");
        file.setRecordBeginTime(1709600000);
        file.setRecordDirInfoEx(info);
        SnapshotFileIndexWriterEx writer;
        if (writer.open(file, true) == 0) {
            writer.addIndex(1709600000LL * 1000 + 5, 3, 100);
            writer.close();
            // Whatever was there, the appended entry is the last one.
            SnapshotIndexFileParserEx parser;
            RecordFileInfo last;
            FUZZ_CHECK(parser.open(info, kDate, kDeviceDir) == 1 && parser.getLastestFileInfo(last) == 0);
            FUZZ_CHECK(last.getRecordFileName() == "fuzz.mjpeg" && last.getRecordFileLength() == 100);
        }
    }
    writeIndex(data, size);
    {
        SnapshotIndexFileParser parser;
        if (parser.open(info, kDate, kDeviceDir) == 1) {
            std::vector<SnapshotFile> list;
            parser.query(all, list);
            parser.getTotalFileSize();
            if (!list.empty()) parser.deleteFile(list.front().getFileName());
            bool empty = false;
            parser.deleteOutDateFile(1LL << 45, 0, empty);
            FUZZ_CHECK(empty);
        }
    }
    return 0;
}
