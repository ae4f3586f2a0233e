#ifndef TESTS_INDEX_RECORDINDEXIMAGEBUILDER_H
#define TESTS_INDEX_RECORDINDEXIMAGEBUILDER_H

#include <string>
#include <vector>

#include "index/RecordCrc32.h"
#include "index/RecordIndexCodec.h"

// Builds index file images the way the writer lays them out, with the codec:
// per entry a head, the head CRC item (version 3), and items in groups each
// closed by a CRC item. Remembers where everything went, so tests can cut,
// damage and check the bytes. Header-only; shared by the tests and the bench.
class RecordIndexImageBuilder {
public:
    using Codec = RecordIndexCodec;

    struct BuiltItem {
        int nOffset = 0;       // of the item in the image
        long long nBegin = 0;  // absolute seconds
        int nTimeLength = 0;
        int nDataLength = 0;
        bool bIFrame = false;
        bool bLong = false;
    };
    struct BuiltEntry {
        std::string strName;
        long long nBeginTime = 0;
        int nBegin = 0;       // start code
        int nHeadLength = 0;  // raw
        int nEnd = 0;         // one past the last byte
        std::vector<int> groupEnds;  // one past each CRC item of the item area
        std::vector<BuiltItem> items;
        int nDataLength = 0;
        int nInterval = 0;  // t of the last item + its time length
    };

    // count items of `step` seconds each (time length min(step, 3)), all
    // starting with an I-frame, `packets` TS packets each.
    static std::vector<Codec::ItemInfo> steadyItems(int count, int step = 2, int packets = 400) {
        std::vector<Codec::ItemInfo> items;
        for (int i = 0; i < count; ++i) {
            Codec::ItemInfo item;
            item.nTimeInterval = i == 0 ? 0 : step;
            item.nTimeLength = step < Codec::kMaxItemTimeLength ? step : Codec::kMaxItemTimeLength;
            item.nIndexType = 1;
            item.nDataLength = packets * Codec::kTsPacketSize;
            items.push_back(item);
        }
        return items;
    }

    BuiltEntry const& addEntry(std::string const& name, long long beginTime,
                               std::vector<Codec::ItemInfo> const& items,
                               int version = Codec::kIndexVersion3, int groupSize = 16,
                               bool closeLast = true, int width = 1920, int height = 1080,
                               int encodeType = 1) {
        BuiltEntry entry;
        entry.strName = name;
        entry.nBeginTime = beginTime;
        entry.nBegin = static_cast<int>(m_bytes.size());
        Codec::HeadInfo head;
        head.strFileName = name;
        head.nTimeZone = 8;
        head.nBeginTime = beginTime;
        head.nWidth = width;
        head.nHeight = height;
        head.nEncodeType = encodeType;
        head.nIndexVersion = version;
        char buffer[Codec::kHeadBufferSize];
        int headLength = Codec::encodeHead(head, buffer, sizeof(buffer));
        if (headLength <= 0) return addFailed();
        entry.nHeadLength = headLength;
        m_bytes.append(buffer, headLength);
        bool v3 = version == Codec::kIndexVersion3;
        if (v3) appendCrc(std::string(buffer, headLength));

        std::string group;
        int t = 0;
        int pos = 0;
        for (size_t i = 0; i < items.size(); ++i) {
            Codec::ItemInfo const& item = items[i];
            unsigned char encoded[8];
            int length = Codec::encodeItem(version, item, encoded);
            BuiltItem built;
            built.nOffset = static_cast<int>(m_bytes.size());
            built.bLong = encoded[0] == Codec::kLongItemMark;
            t = built.bLong ? item.nTimeInterval : t + item.nTimeInterval;
            built.nBegin = beginTime + t;
            built.nTimeLength = item.nTimeLength;
            built.nDataLength = item.nDataLength;
            built.bIFrame = item.nIndexType == 1;
            entry.items.push_back(built);
            entry.nInterval = t + item.nTimeLength;
            pos += item.nDataLength;
            m_bytes.append(reinterpret_cast<char*>(encoded), length);
            group.append(reinterpret_cast<char*>(encoded), length);
            bool groupFull = static_cast<int>((i + 1) % groupSize) == 0;
            bool last = i + 1 == items.size();
            if (v3 && (groupFull || (last && closeLast))) {
                appendCrc(group);
                group.clear();
                entry.groupEnds.push_back(static_cast<int>(m_bytes.size()));
            }
        }
        entry.nDataLength = pos;
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
    bool isCrcAltered() const { return m_bCrcAltered; }

private:
    BuiltEntry const& addFailed() {
        m_entries.push_back(BuiltEntry());
        return m_entries.back();
    }
    void appendCrc(std::string const& covered) {
        unsigned char item[Codec::kCrcItemSize];
        int length = static_cast<int>(covered.size());
        // A CRC whose top byte had to be changed checks as damage: tests
        // that expect intact entries look at isCrcAltered.
        if (Codec::encodeCrcItem(item, length,
                                 RecordCrc32::getInstance()->getCrc32(covered.data(), length))) {
            m_bCrcAltered = true;
        }
        m_bytes.append(reinterpret_cast<char*>(item), sizeof(item));
    }

    std::string m_bytes;
    std::vector<BuiltEntry> m_entries;
    bool m_bCrcAltered = false;
};

#endif
