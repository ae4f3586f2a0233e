#ifndef TESTS_INDEX_RECORDINDEXIMAGEBUILDER_H
#define TESTS_INDEX_RECORDINDEXIMAGEBUILDER_H

#include <cstdint>
#include <string>
#include <vector>

#include "index/RecordCrc32.h"
#include "index/RecordIndexCodec.h"

// Builds index file images the way the writer lays them out, with the codec:
// per entry a head, the head CRC item (version 3), and items in groups each
// closed by a CRC item. Remembers where each entry went, so tests can cut,
// damage and check the bytes. Header-only; shared by the tests and the bench.
class RecordIndexImageBuilder {
public:
    using Codec = RecordIndexCodec;
    using Bytes = std::vector<unsigned char>;

    static Bytes encodeItems(int version, std::vector<Codec::ItemInfo> const& items) {
        Bytes out;
        for (auto const& item : items) {
            unsigned char buffer[8];
            out.insert(out.end(), buffer, buffer + Codec::encodeItem(version, item, buffer));
        }
        return out;
    }
    // A CRC item over `covered`, stating coveredLength (-1: the true length).
    static Bytes crcItem(Bytes const& covered, int coveredLength = -1) {
        unsigned char item[Codec::kCrcItemSize];
        int length = static_cast<int>(covered.size());
        Codec::encodeCrcItem(item, coveredLength < 0 ? length : coveredLength,
                             RecordCrc32::getInstance()->getCrc32(covered.data(), length));
        return Bytes(item, item + sizeof(item));
    }

    struct BuiltEntry {
        int nBegin = 0;              // start code
        int nHeadLength = 0;         // raw
        int nEnd = 0;                // one past the last byte
        std::vector<int> groupEnds;  // one past each CRC item of the item area
    };

    // count items of `step` seconds each (time length min(step, 3)), all
    // starting with an I-frame, `packets` TS packets each.
    static std::vector<Codec::ItemInfo> steadyItems(int count, int step = 2, int packets = 400) {
        std::vector<Codec::ItemInfo> items(count);
        for (int i = 0; i < count; ++i) {
            items[i].nTimeInterval = i == 0 ? 0 : step;
            items[i].nTimeLength = step < Codec::kMaxItemTimeLength ? step : Codec::kMaxItemTimeLength;
            items[i].nIndexType = 1;
            items[i].nDataLength = packets * Codec::kTsPacketSize;
        }
        return items;
    }

    BuiltEntry const& addEntry(std::string const& name, long long beginTime,
                               std::vector<Codec::ItemInfo> const& items, int version = Codec::kIndexVersion3,
                               int groupSize = 16, bool closeLast = true, int width = 1920, int height = 1080) {
        BuiltEntry entry;
        entry.nBegin = static_cast<int>(m_bytes.size());
        Codec::HeadInfo head;
        head.strFileName = name;
        head.nTimeZone = 8;
        head.nBeginTime = beginTime;
        head.nWidth = width;
        head.nHeight = height;
        head.nEncodeType = 1;
        head.nIndexVersion = version;
        char buffer[Codec::kHeadBufferSize];
        entry.nHeadLength = Codec::encodeHead(head, buffer, sizeof(buffer));
        if (entry.nHeadLength > 0) m_bytes.append(buffer, entry.nHeadLength);
        bool v3 = version == Codec::kIndexVersion3;
        if (v3 && entry.nHeadLength > 0) appendCrc(std::string(buffer, entry.nHeadLength));
        std::string group;
        for (size_t i = 0; i < items.size(); ++i) {
            unsigned char encoded[8];
            int length = Codec::encodeItem(version, items[i], encoded);
            m_bytes.append(reinterpret_cast<char*>(encoded), length);
            group.append(reinterpret_cast<char*>(encoded), length);
            bool groupFull = (i + 1) % groupSize == 0;
            if (v3 && (groupFull || (i + 1 == items.size() && closeLast))) {
                appendCrc(group);
                group.clear();
                entry.groupEnds.push_back(static_cast<int>(m_bytes.size()));
            }
        }
        entry.nEnd = static_cast<int>(m_bytes.size());
        m_entries.push_back(entry);
        return m_entries.back();
    }

    std::string const& bytes() const { return m_bytes; }
    // The entries followed by filler up to `size` bytes (not cut when shorter).
    std::string image(int size, char fill) const {
        std::string out = m_bytes;
        if (static_cast<int>(out.size()) < size) out.append(size - out.size(), fill);
        return out;
    }
    std::vector<BuiltEntry> const& entries() const { return m_entries; }
    // A CRC whose top byte had to be changed checks as damage: tests that
    // expect intact entries look at this.
    bool isCrcAltered() const { return m_bCrcAltered; }

private:
    void appendCrc(std::string const& covered) {
        std::uint32_t crc = RecordCrc32::getInstance()->getCrc32(covered.data(), static_cast<int>(covered.size()));
        m_bCrcAltered |= Codec::toStoredCrc(crc) != crc;
        Bytes item = crcItem(Bytes(covered.begin(), covered.end()));
        m_bytes.append(item.begin(), item.end());
    }

    std::string m_bytes;
    std::vector<BuiltEntry> m_entries;
    bool m_bCrcAltered = false;
};

#endif
