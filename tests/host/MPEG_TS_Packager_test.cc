#include "host/MPEG_TS_Packager.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/TsPacketReader.h"

namespace {

using MPEG_TS::MPEG_TS_Packager;

AVData frame(int es, int type, long long ticks, size_t length, char fill = 'x') {
    AVData f;
    std::vector<char> bytes(length, fill);
    f.setData(bytes.data(), static_cast<unsigned int>(bytes.size()));
    f.setESStreamType(es);
    f.setFrameType(type);
    f.setTimeStamp(ticks);
    return f;
}

// A PTS or DTS field as the standard writes it: 4-bit prefix, 33 bits with markers.
std::vector<unsigned char> stamp(int prefix, long long ticks) {
    return {static_cast<unsigned char>((prefix << 4) | ((ticks >> 29) & 0x0E) | 1),
            static_cast<unsigned char>(ticks >> 22), static_cast<unsigned char>(((ticks >> 14) & 0xFE) | 1),
            static_cast<unsigned char>(ticks >> 7), static_cast<unsigned char>(((ticks << 1) & 0xFE) | 1)};
}

class PackagerTest : public ::testing::Test {
protected:
    PackagerTest() : m_packager(256) {
        m_packager.addProgram(4096, "TS stream");
        m_video = m_packager.addStreamEx(4096, EncoderType::H264);
        m_audio = m_packager.addStreamEx(1, EncoderType::G711_ALAW);
        m_packager.setPCR_stream(static_cast<unsigned short>(m_video));
    }

    std::string pack(int handle, AVData const& f) {
        std::vector<unsigned char> out(f.getDataLength() * 2 + 4 * 188);
        int const packets = m_packager.EStoTS_Packet(handle, out.data(), &f);
        return std::string(reinterpret_cast<char*>(out.data()), static_cast<size_t>(packets) * 188);
    }
    static long long adjust(std::string& ts, unsigned long long delta, size_t length = std::string::npos) {
        return MPEG_TS_Packager::adjustTimeStamp(reinterpret_cast<unsigned char*>(&ts[0]),
                                                 static_cast<unsigned int>(std::min(length, ts.size())),
                                                 delta);
    }

    MPEG_TS_Packager m_packager;
    int m_video = -1;
    int m_audio = -1;
};

TEST_F(PackagerTest, IFrameCarriesTablesPcrAndPtsInWholePackets) {
    AVData f = frame(1, 1, 900000, 1000, 'v');
    f.setPrivateData(std::string(28, 'd').data(), 28);
    std::string ts = pack(m_video, f);
    // 1000 bytes + 14 of PES header + 37 of adaptation field: 6 packets, and the tables.
    EXPECT_EQ(8u * 188, ts.size());
    TsPacketReader in(ts);
    EXPECT_TRUE(in.getErrors().empty()) << in.getErrors()[0];
    EXPECT_EQ(2, in.getTableCount());
    EXPECT_EQ(0x1000, in.getProgram().nPmtPid);
    EXPECT_EQ(0x100, in.getProgram().nPcrPid);
    EXPECT_EQ(0x1B, in.getProgram().streamTypes.at(0x100));
    EXPECT_EQ(0x06, in.getProgram().streamTypes.at(0x101));
    EXPECT_EQ("ALAW", in.getProgram().formats.at(0x101));
    ASSERT_EQ(1u, in.getPes().size());
    TsPacketReader::Pes const& pes = in.getPes()[0];
    EXPECT_EQ(0xE0, pes.nStreamId);
    EXPECT_EQ(900000, pes.nPts);
    EXPECT_TRUE(pes.bRandomAccess);
    EXPECT_EQ(std::string(1000, 'v'), std::string(pes.payload.begin(), pes.payload.end()));
    EXPECT_EQ(std::string(28, 'd'), std::string(pes.privateData.begin(), pes.privateData.end()));
    EXPECT_EQ((std::vector<long long>{900000}), in.getPcrs());
}

TEST_F(PackagerTest, EveryLengthEndsOnAPacketWithStuffing) {
    // Lengths around each packet boundary of a P frame (first packet: 8 bytes
    // of PCR, 14 of PES header) and of audio (no adaptation field).
    for (size_t length = 1; length < 600; ++length) {
        for (int es : {1, 2}) {
            std::string const ts = pack(es == 1 ? m_video : m_audio, frame(es, 3 - es, 1000, length, 'p'));
            TsPacketReader in(ts);
            ASSERT_TRUE(in.getErrors().empty()) << length << ": " << in.getErrors()[0];
            ASSERT_EQ(std::string(length, 'p'),
                      std::string(in.getPes().at(0).payload.begin(), in.getPes()[0].payload.end()));
            EXPECT_EQ(es == 1 ? 0xE0 : 0xBD, in.getPes()[0].nStreamId);
            EXPECT_EQ((length + (es == 1 ? 22 : 14) + 183) / 184, ts.size() / 188) << length;
        }
    }
    AVData f = frame(1, 2, 0, 10);
    unsigned char out[188];
    EXPECT_EQ(0, m_packager.EStoTS_Packet(7, out, &f));  // no such stream
}

// The adaptation field of a frame's first packet (after the PAT and PMT of an
// I frame): its flags, and the private data it carries, at most 174 bytes
// beside the PCR so that the PES packet still starts in that packet.
TEST_F(PackagerTest, AdaptationFieldCarriesTheDiscontinuityFlagAndPrivateDataUpToItsLimit) {
    struct Row {
        int type;
        bool discontinuity;
        int privateLength;
        int flags;  // discontinuity 0x80, random access 0x40, PCR 0x10, private data 0x02
        int carried;
    } const rows[] = {
        {2, false, 0, 0x10, 0}, {2, true, 0, 0x90, 0}, {1, true, 174, 0xD2, 174}, {1, false, 175, 0x50, 0}};
    for (Row const& row : rows) {
        SCOPED_TRACE(row.privateLength);
        AVData f = frame(1, row.type, 1000, 400);
        f.setDiscontinuityIndicator(row.discontinuity);
        std::string const data(static_cast<size_t>(row.privateLength), 'd');
        f.setPrivateData(data.data(), static_cast<unsigned char>(row.privateLength));
        std::string const ts = pack(m_video, f);
        unsigned char const* p =
            reinterpret_cast<unsigned char const*>(ts.data()) + (row.type == 1 ? 2 * 188 : 0);
        EXPECT_EQ(0x30, p[3] & 0x30);
        EXPECT_EQ(row.flags, p[5]);
        int const pes = 5 + p[4];
        ASSERT_LT(pes, 188);
        EXPECT_EQ(0, p[pes]);  // the PES start code begins in this packet
        if (row.carried > 0) {
            EXPECT_EQ(row.carried, p[12]);
            EXPECT_EQ(data, std::string(reinterpret_cast<char const*>(p) + 13, data.size()));
        }
        if (row.carried > 0) continue;  // the test reader wants the whole PES header in one packet
        TsPacketReader in(ts);
        EXPECT_TRUE(in.getErrors().empty()) << in.getErrors()[0];
        EXPECT_EQ(std::string(400, 'x'),
                  std::string(in.getPes().at(0).payload.begin(), in.getPes()[0].payload.end()));
    }
}

// A demuxer takes a PMT of a version it has seen for the one it has: a changed
// stream must come with a new version.
TEST_F(PackagerTest, PmtVersionMovesOnWhenAStreamChanges) {
    auto pmtVersion = [&](std::string const& ts) {
        return (static_cast<unsigned char>(ts[188 + 10]) >> 1) & 0x1F;
    };
    std::string const before = pack(m_video, frame(1, 1, 0, 100));
    EXPECT_EQ(pmtVersion(before), pmtVersion(pack(m_video, frame(1, 1, 3600, 100))));
    EXPECT_EQ(m_video, m_packager.addStreamEx(4096, EncoderType::MPEG4));
    std::string const after = pack(m_video, frame(1, 1, 7200, 100));
    EXPECT_EQ((pmtVersion(before) + 1) & 0x1F, pmtVersion(after));
    TsPacketReader in(after);
    EXPECT_TRUE(in.getErrors().empty()) << in.getErrors()[0];
    EXPECT_EQ(0x10, in.getProgram().streamTypes.at(0x100));
}

TEST_F(PackagerTest, AdjustTimeStampMovesPcrPtsAndDtsAndWrapsAt33Bits) {
    std::string ts = pack(m_video, frame(1, 1, 1000, 3000));
    ts += pack(m_audio, frame(2, 1, 1000, 160));
    ts += pack(m_video, frame(1, 2, 4600, 300));
    std::string const original = ts;
    EXPECT_EQ(4600 + 90000, adjust(ts, 90000));
    TsPacketReader moved(ts);
    std::vector<long long> pts;
    for (int pid : {0x100, 0x101})
        for (TsPacketReader::Pes const& pes : moved.getPes(pid)) pts.push_back(pes.nPts);
    EXPECT_EQ((std::vector<long long>{91000, 94600, 91000}), pts);  // video, then audio
    EXPECT_EQ((std::vector<long long>{91000, 94600}), moved.getPcrs());
    EXPECT_EQ(4600, adjust(ts, (1ULL << 33) - 90000));  // back by 90000, modulo 2^33
    EXPECT_EQ(original, ts);
    EXPECT_EQ(3600, adjust(ts, (1ULL << 33) - 1000));
    EXPECT_EQ(0, TsPacketReader(ts).getPes(0x100).at(0).nPts);

    // A PES header with PTS and DTS: both move, their prefixes and markers stay.
    std::string packet = pack(m_video, frame(1, 2, 0, 100));
    size_t const pes = 5 + static_cast<unsigned char>(packet[4]);
    std::vector<unsigned char> header = {0, 0, 1, 0xE0, 0, 0, 0x84, 0xC0, 10};
    for (std::vector<unsigned char> const& part :
         {stamp(3, 7200), stamp(1, 3600), stamp(3, 97200), stamp(1, 93600)})
        header.insert(header.end(), part.begin(), part.end());
    packet.replace(pes, 19, std::string(header.begin(), header.begin() + 19));
    EXPECT_EQ(7200 + 90000, adjust(packet, 90000));
    EXPECT_EQ(std::string(header.begin() + 19, header.end()), packet.substr(pes + 9, 10));
    // Not whole packets, or a packet without its sync byte: refused.
    EXPECT_EQ(0, adjust(ts, 1, 0));
    EXPECT_EQ(-1, adjust(ts, 1, 187));
    ts[188] = 0;
    EXPECT_EQ(-1, adjust(ts, 1));
}

}  // namespace
