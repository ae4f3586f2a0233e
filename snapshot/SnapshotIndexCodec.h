#ifndef SNAPSHOT_SNAPSHOTINDEXCODEC_H
#define SNAPSHOT_SNAPSHOTINDEXCODEC_H

#include <string>

#include "foundation/RecordDirInfoEx.h"
#include "foundation/SafePointer.h"
#include "host/IFile.h"

// Byte-level coding of the snapshot index of the data-file generation: the
// framed head of an entry and the walk that finds entries and the end of
// their items. Layout and a worked example: docs/snapshot-index.md.
//
// Integers are little-endian, coded by byte shifts. Decoders never read
// outside the length they are given and never throw. Stateless; any thread.
class SnapshotIndexCodec {
public:
    // Opens an index file for changing, or for reading on a disk that only
    // reads (queries still work there; changes then fail), and reads it
    // whole into bytes. Null when it is missing, longer than maxLength or
    // cannot be read.
    static SafePointer<IFile> openIndexFile(RecordDirInfoEx const& dir, std::string const& path, long long maxLength,
                                            std::string& bytes);

public:
    static constexpr unsigned char kNameTerminator = 0x2C;  // ','
    static constexpr int kBeginTimeSize = 8;
    static constexpr int kReservedSize = 10;
    // Behind the name: comma, begin time, reserved.
    static constexpr int kTailSize = 1 + kBeginTimeSize + kReservedSize;
    static constexpr int kItemSize = 9;
    static constexpr int kOldItemSize = 10;
    // Framed payload of the longest name a head takes; a writer refuses more.
    static constexpr int kHeadBufferSize = 512;

    // Name, comma and tail, escaped and framed into out. The raw head
    // length, or -1 for a name holding a comma or a head that would not fit.
    static int encodeHead(std::string const& fileName, long long beginTime, char* out, int nCapacity);
    // Reads name and begin time of a raw head (start code to end code).
    // False when it holds no comma behind the start code or the tail does not
    // fit before the end code; the outputs are then left alone.
    static bool decodeHead(char const* rawHead, int nLength, std::string& fileName, long long& beginTime);
    // Index of the last item byte of the items at buffer (9-byte steps): a
    // 00 followed by 00 00 01 (the next head) ends them, so does FF, and so
    // does an item that would run past the length. -1 when no whole item
    // lies there.
    static int getIndexEndPos(char const* buffer, int nLength);
    // The entry at or after nFrom: begin of its start code, last byte of its
    // head, last byte of its items (headEnd when it has none). False when no
    // complete head lies there.
    static bool getIndexPos(char const* image, int nLength, int nFrom, int& nBegin, int& nHeadEnd, int& nEnd);
};

#endif
