#include "tests/support/TestStreams.h"

#include <fstream>
#include <iterator>

namespace {

int const kNalSlice = 1;
int const kNalIdr = 5;
int const kNalSei = 6;
int const kNalSps = 7;
int const kNalPps = 8;
int const kNalAud = 9;

struct Nal {
    size_t nBegin;  // at its start code
    size_t nPayload;  // at its header byte
    int nType;
};

std::vector<Nal> findNals(std::vector<char> const& s) {
    std::vector<Nal> nals;
    size_t i = 0;
    while (i + 3 <= s.size()) {
        if (s[i] == 0 && s[i + 1] == 0 && s[i + 2] == 1) {
            size_t begin = i;
            if (begin > 0 && s[begin - 1] == 0) --begin;  // four-byte start code
            size_t const payload = i + 3;
            if (payload < s.size())
                nals.push_back(Nal{begin, payload, static_cast<unsigned char>(s[payload]) & 0x1F});
            i = payload;
        } else {
            ++i;
        }
    }
    return nals;
}

bool isSlice(int type) { return type == kNalSlice || type == kNalIdr; }

// first_mb_in_slice is ue(v): it is 0 exactly when its first bit is 1.
bool startsPicture(std::vector<char> const& s, Nal const& nal) {
    size_t const at = nal.nPayload + 1;
    return at < s.size() && (static_cast<unsigned char>(s[at]) & 0x80) != 0;
}

}  // namespace

std::vector<char> TestStreams::readFile(std::string const& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return {};
    return std::vector<char>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::vector<TestStreams::AccessUnit> TestStreams::splitAccessUnits(std::vector<char> const& stream) {
    std::vector<AccessUnit> units;
    std::vector<Nal> const nals = findNals(stream);
    size_t unitBegin = 0;
    bool bUnitHasSlice = false;
    bool bUnitIdr = false;
    auto closeUnit = [&](size_t end) {
        AccessUnit unit;
        unit.bytes.assign(stream.begin() + static_cast<long>(unitBegin), stream.begin() + static_cast<long>(end));
        unit.bIdr = bUnitIdr;
        units.push_back(std::move(unit));
    };
    for (Nal const& nal : nals) {
        bool const bOpensUnit =
            (nal.nType == kNalAud || nal.nType == kNalSps || nal.nType == kNalPps || nal.nType == kNalSei) ||
            (isSlice(nal.nType) && startsPicture(stream, nal));
        if (bUnitHasSlice && bOpensUnit) {
            closeUnit(nal.nBegin);
            unitBegin = nal.nBegin;
            bUnitHasSlice = false;
            bUnitIdr = false;
        }
        if (isSlice(nal.nType)) bUnitHasSlice = true;
        if (nal.nType == kNalIdr) bUnitIdr = true;
    }
    if (bUnitHasSlice) closeUnit(stream.size());
    return units;
}

std::vector<AVData> TestStreams::readH264(std::string const& path, VideoOptions const& options) {
    std::vector<AVData> frames;
    std::vector<AccessUnit> const units = splitAccessUnits(readFile(path));
    unsigned int sequence = 1;
    for (AccessUnit const& unit : units) {
        AVData frame;
        frame.setData(unit.bytes.data(), static_cast<unsigned int>(unit.bytes.size()));
        frame.setESStreamType(1);
        frame.setFrameType(unit.bIdr ? 1 : 2);
        frame.setEncoderType(options.nEncoderType);
        frame.setImageWidth(options.nWidth);
        frame.setImageHeight(options.nHeight);
        frame.setFrameRate(options.nFrameRate);
        frame.setTimeStamp(options.nFirstTime + options.nStep * static_cast<long long>(sequence - 1));
        frame.setSequenceId(sequence++);
        frames.push_back(std::move(frame));
    }
    return frames;
}

std::vector<AVData> TestStreams::readALaw(std::string const& path, AudioOptions const& options) {
    std::vector<AVData> frames;
    std::vector<char> const bytes = readFile(path);
    size_t const size = static_cast<size_t>(options.nFrameBytes);
    unsigned int sequence = 1;
    for (size_t at = 0; size > 0 && at + size <= bytes.size(); at += size) {
        AVData frame;
        frame.setData(bytes.data() + at, static_cast<unsigned int>(size));
        frame.setESStreamType(2);
        frame.setFrameType(1);
        frame.setEncoderType(options.nEncoderType);
        frame.setTimeStamp(options.nFirstTime + options.nStep * static_cast<long long>(sequence - 1));
        frame.setSequenceId(sequence++);
        frames.push_back(std::move(frame));
    }
    return frames;
}

std::vector<AVData> TestStreams::interleave(std::vector<AVData> const& video, std::vector<AVData> const& audio) {
    std::vector<AVData> out;
    out.reserve(video.size() + audio.size());
    size_t v = 0;
    size_t a = 0;
    while (v < video.size() || a < audio.size()) {
        if (a >= audio.size() || (v < video.size() && video[v].getTimeStamp() <= audio[a].getTimeStamp()))
            out.push_back(video[v++]);
        else
            out.push_back(audio[a++]);
    }
    return out;
}
