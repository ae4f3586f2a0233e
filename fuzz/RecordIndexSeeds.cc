// Writes a small seed corpus for record_index_fuzz from encoder output:
// index images of each version (heads, head CRC, items, CRC items, filler),
// heads that need escaping (width 768, begin time 2^32), a negative begin
// time, zeroed bytes inside an item group, and an image cut inside an item.
//   record_index_seeds <folder>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "index/RecordCrc32.h"
#include "index/RecordIndexCodec.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Codec = RecordIndexCodec;

Bytes head(int version, int width, std::string const& name, long long beginTime = 1706702400LL) {
    Codec::HeadInfo info;
    info.strFileName = name;
    info.nTimeZone = 8;
    info.nBeginTime = beginTime;
    info.nWidth = width;
    info.nHeight = 1080;
    info.nEncodeType = 1;
    info.nIndexVersion = version;
    char buffer[Codec::kHeadBufferSize];
    int length = Codec::encodeHead(info, buffer, sizeof(buffer));
    return length > 0 ? Bytes(buffer, buffer + length) : Bytes();
}

Bytes crcItem(Bytes const& covered) {
    unsigned char item[Codec::kCrcItemSize];
    Codec::encodeCrcItem(item, static_cast<int>(covered.size()),
                         RecordCrc32::getInstance()->getCrc32(covered.data(), static_cast<int>(covered.size())));
    return Bytes(item, item + sizeof(item));
}

Bytes items(int version, int count, int firstInterval) {
    Bytes out;
    for (int i = 0; i < count; ++i) {
        Codec::ItemInfo item;
        item.nTimeInterval = i == 0 ? firstInterval : (i % 5 == 4 ? 30 + i : i % 4);
        item.nTimeLength = i % 4;
        item.nIndexType = i % 2;
        item.bLocked = i % 3 == 0;
        item.bAlarm = i % 2 == 1;
        item.nDataLength = (i * 37 + 1) * 188;
        unsigned char buffer[8];
        int length = Codec::encodeItem(version, item, buffer);
        out.insert(out.end(), buffer, buffer + length);
    }
    return out;
}

void append(Bytes& to, Bytes const& from) { to.insert(to.end(), from.begin(), from.end()); }

Bytes entry(int version, int width, int count, bool closed, long long beginTime = 1706702400LL) {
    Bytes out = head(version, width, "00001-NVR_10.0.0.2_1_20240131120000.ts", beginTime);
    if (version == Codec::kIndexVersion3) append(out, crcItem(out));
    Bytes area = items(version, count, 0);
    append(out, area);
    if (version == Codec::kIndexVersion3 && closed) append(out, crcItem(area));
    return out;
}

bool writeFile(std::string const& path, Bytes const& bytes) {
    FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) return false;
    bool ok = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
    return std::fclose(file) == 0 && ok;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <folder>\n", argv[0]);
        return 2;
    }
    std::string folder = argv[1];
    std::vector<std::pair<std::string, Bytes>> seeds;
    for (int version = 0; version < 3; ++version) {
        Bytes image = entry(version, 1920, 6, true);
        image.insert(image.end(), 16, 0xFF);
        seeds.emplace_back("v" + std::to_string(version + 1) + "_entry", image);
    }
    Bytes twoEntries = entry(2, 1920, 4, true);
    append(twoEntries, entry(2, 768, 3, true));
    twoEntries.insert(twoEntries.end(), 12, 0x00);
    seeds.emplace_back("v3_two_entries_escaped", twoEntries);
    Bytes open = entry(2, 1280, 5, false);
    open.insert(open.end(), 8, 0xFF);
    seeds.emplace_back("v3_open_group", open);
    Bytes cut = entry(2, 1920, 5, true);
    cut.resize(cut.size() - 11);
    seeds.emplace_back("v3_cut", cut);
    Bytes area = crcItem(head(2, 1920, "a.ts"));
    append(area, items(2, 8, 3));
    Bytes width768 = entry(2, 768, 6, true);
    width768.insert(width768.end(), 16, 0xFF);
    seeds.emplace_back("v3_width_768", width768);
    Bytes late = entry(2, 1920, 6, true, 1LL << 32);
    append(late, entry(2, 1280, 4, true, -1706702400LL));
    late.insert(late.end(), 16, 0xFF);
    seeds.emplace_back("v3_begin_2_32_and_negative", late);
    // Four zeros on the item grid inside a group (they end the area there),
    // and three off it (data, the walk goes on).
    Bytes zeroed = entry(2, 1920, 12, true);
    size_t itemsAt = head(2, 1920, "00001-NVR_10.0.0.2_1_20240131120000.ts").size() + Codec::kCrcItemSize;
    std::fill(zeroed.begin() + itemsAt + 8, zeroed.begin() + itemsAt + 12, 0x00);
    std::fill(zeroed.begin() + itemsAt + 21, zeroed.begin() + itemsAt + 24, 0x00);
    zeroed.insert(zeroed.end(), 16, 0xFF);
    seeds.emplace_back("v3_zeroed_in_group", zeroed);
    seeds.emplace_back("v3_area_only", Bytes(1, 0x02));
    seeds.back().second.insert(seeds.back().second.end(), area.begin(), area.end());

    for (auto const& seed : seeds) {
        if (!writeFile(folder + "/" + seed.first, seed.second)) {
            std::fprintf(stderr, "cannot write %s/%s\n", folder.c_str(), seed.first.c_str());
            return 1;
        }
    }
    std::printf("%zu seeds in %s\n", seeds.size(), folder.c_str());
    return 0;
}
