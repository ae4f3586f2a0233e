#include "snapshot/SnapshotIndexCodec.h"

#include <cstring>
#include <vector>

#include "foundation/BasicTool.h"
#include "host/DiskManagerFactory.h"
#include "host/FileFactory.h"
#include "host/GlobalEnv.h"
#include "host/IDiskManager.h"
#include "index/RecordIndexCodec.h"

static_assert(SnapshotIndexCodec::kTailSize == 19, "comma, 8 time bytes, 10 reserved");

int SnapshotIndexCodec::encodeHead(std::string const& fileName, long long beginTime, char* out, int nCapacity) {
    if (out == nullptr || fileName.find(static_cast<char>(kNameTerminator)) != std::string::npos) return -1;
    int const nameLength = static_cast<int>(fileName.size());
    if (nameLength + kTailSize + RecordIndexCodec::kFramingSize > nCapacity) return -1;
    std::vector<unsigned char> payload(nameLength + kTailSize, 0);
    std::memcpy(payload.data(), fileName.data(), nameLength);
    payload[nameLength] = kNameTerminator;
    BasicTool::toBytesLE(payload.data() + nameLength + 1, beginTime, kBeginTimeSize);
    std::memcpy(out, payload.data(), payload.size());
    return RecordIndexCodec::fillRecordFileInfo(out, static_cast<int>(payload.size()), nCapacity);
}

bool SnapshotIndexCodec::decodeHead(char const* rawHead, int nLength, std::string& fileName, long long& beginTime) {
    if (rawHead == nullptr || nLength < RecordIndexCodec::kFramingSize) return false;
    std::vector<char> head(rawHead, rawHead + nLength);
    int const length = RecordIndexCodec::filter(head.data(), nLength);
    int const payloadEnd = length - RecordIndexCodec::kEndCodeSize;
    void const* comma = std::memchr(head.data() + RecordIndexCodec::kStartCodeSize, kNameTerminator,
                                    payloadEnd > RecordIndexCodec::kStartCodeSize
                                        ? payloadEnd - RecordIndexCodec::kStartCodeSize
                                        : 0);
    if (comma == nullptr) return false;
    int const at = static_cast<int>(static_cast<char const*>(comma) - head.data());
    if (at + 1 + kBeginTimeSize > payloadEnd) return false;
    fileName.assign(head.data() + RecordIndexCodec::kStartCodeSize, at - RecordIndexCodec::kStartCodeSize);
    beginTime = BasicTool::toLongLE(reinterpret_cast<unsigned char const*>(head.data()) + at + 1, kBeginTimeSize);
    return true;
}

int SnapshotIndexCodec::getIndexEndPos(char const* buffer, int nLength) {
    if (buffer == nullptr || nLength <= 0) return -1;
    unsigned char const* p = reinterpret_cast<unsigned char const*>(buffer);
    int pos = 0;
    while (pos + kItemSize <= nLength) {
        if (p[pos] == RecordIndexCodec::kEndOfData) break;
        if (p[pos] == 0x00 && p[pos + 1] == 0 && p[pos + 2] == 0 && p[pos + 3] == RecordIndexCodec::kStartCodeLast)
            break;
        pos += kItemSize;
    }
    return pos - 1;
}

bool SnapshotIndexCodec::getIndexPos(char const* image, int nLength, int nFrom, int& nBegin, int& nHeadEnd,
                                     int& nEnd) {
    int begin = 0;
    int headLength = 0;
    if (!RecordIndexCodec::findHead(image, nLength, nFrom, begin, headLength)) return false;
    nBegin = begin;
    nHeadEnd = begin + headLength - 1;
    nEnd = nHeadEnd + 1 + getIndexEndPos(image + nHeadEnd + 1, nLength - nHeadEnd - 1);
    return true;
}

SafePointer<IFile> SnapshotIndexCodec::openIndexFile(RecordDirInfoEx const& dir, std::string const& path,
                                                     long long maxLength, std::string& bytes) {
    IDiskManager* disk = DiskManagerFactory::getDiskManager(dir.getDiskType(), dir.getFileSystemFormat());
    if (disk == nullptr || disk->isFileExist(path.c_str()) != 1) return SafePointer<IFile>();
    SafePointer<IFile> file = FileFactory::createFile(dir.getDiskType(), dir.getFileSystemFormat());
    if (file.isNull() ||
        (!file->open(path.c_str(), IFile::kModeReadWrite) && !file->open(path.c_str(), IFile::kModeRead)))
        return SafePointer<IFile>();
    long long const length = file->getLength();
    if (length < 0 || length > maxLength || !file->seek(0, SEEK_SET)) {
        file->close();
        return SafePointer<IFile>();
    }
    bytes.resize(static_cast<size_t>(length));
    for (long long done = 0; done < length;) {
        int const n = file->read(&bytes[static_cast<size_t>(done)], static_cast<int>(length - done));
        if (n <= 0) {
            GlobalEnv::print("read indexFile(%s) failed,nReadLength = %lld\n", path.c_str(), done);
            file->close();
            return SafePointer<IFile>();
        }
        done += n;
    }
    return file;
}
