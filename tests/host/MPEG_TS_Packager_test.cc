#include "host/MPEG_TS_Packager.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "host/TSPrivateDataParser.h"
#include "tests/support/FfprobeCheck.h"
#include "tests/support/TempDir.h"
#include "tests/support/TestStreams.h"
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

    MPEG_TS_Packager m_packager;
    int m_video = -1;
    int m_audio = -1;
};

TEST_F(PackagerTest, ReservedAndTakenPidsAreReplacedByFreeOnes) {
    EXPECT_EQ(0x1000, m_packager.getPmtPid());
    EXPECT_EQ(0x100, m_packager.getStreamPid(m_video));  // 4096 is the PMT's
    EXPECT_EQ(0x101, m_packager.getStreamPid(m_audio));  // 1 is reserved
    // The same key again changes the stream, not the PID.
    EXPECT_EQ(m_audio, m_packager.addStreamEx(1, EncoderType::G711_ULAW));
    EXPECT_EQ(0x101, m_packager.getStreamPid(m_audio));
    AVData f = frame(1, 2, 0, 10);
    unsigned char out[188];
    EXPECT_EQ(0, m_packager.EStoTS_Packet(7, out, &f));
}

TEST_F(PackagerTest, IFrameCarriesTablesPcrPtsAndPrivateRecordInWholePackets) {
    AVData f = frame(1, 1, 900000, 1000, 'v');
    ST_TS_PRIVATE_DATA record;
    record.nSequenceId = 77;
    char bytes[28];
    TSPrivateDataParser::packetTSPrivateData(record, bytes);
    f.setPrivateData(bytes, 28);
    std::string ts = pack(m_video, f);
    ASSERT_EQ(0u, ts.size() % 188);
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
    ST_TS_PRIVATE_DATA back;
    ASSERT_TRUE(TSPrivateDataParser::parseTSPrivateData(pes.privateData.data(),
                                                        static_cast<int>(pes.privateData.size()), back));
    EXPECT_EQ(77u, back.nSequenceId);
    ASSERT_EQ(1u, in.getPcrs().size());
    EXPECT_EQ(900000, in.getPcrs()[0]);
}

TEST_F(PackagerTest, EveryLengthEndsOnAPacketWithStuffing) {
    // Lengths around each packet boundary of a P frame (first packet: 8 bytes
    // of PCR, 14 of PES header) and of audio (no adaptation field).
    for (size_t length = 1; length < 600; ++length) {
        std::string video = pack(m_video, frame(1, 2, 1000, length, 'p'));
        TsPacketReader v(video);
        ASSERT_TRUE(v.getErrors().empty()) << length << ": " << v.getErrors()[0];
        ASSERT_EQ(1u, v.getPes().size());
        ASSERT_EQ(length, v.getPes()[0].payload.size()) << length;
        EXPECT_EQ((length + 22 + 183) / 184, video.size() / 188) << length;

        std::string audio = pack(m_audio, frame(2, 1, 1000, length, 'a'));
        TsPacketReader a(audio);
        ASSERT_TRUE(a.getErrors().empty()) << length;
        ASSERT_EQ(length, a.getPes()[0].payload.size()) << length;
        EXPECT_EQ(0xBD, a.getPes()[0].nStreamId);
        EXPECT_EQ((length + 14 + 183) / 184, audio.size() / 188) << length;
    }
}

TEST_F(PackagerTest, ContinuityCountersRunPerPidAcrossFrames) {
    std::string ts;
    for (int i = 0; i < 40; ++i) {
        ts += pack(m_video, frame(1, i % 10 == 0 ? 1 : 2, 3600 * i, 500 + 37 * i));
        ts += pack(m_audio, frame(2, 1, 3600 * i, 160));
    }
    TsPacketReader in(ts);
    EXPECT_TRUE(in.getErrors().empty()) << in.getErrors()[0];
    EXPECT_EQ(40u, in.getPes(0x100).size());
    EXPECT_EQ(40u, in.getPes(0x101).size());
    EXPECT_EQ(8, in.getTableCount());
}

TEST_F(PackagerTest, AVDataEXPiecesArePackedAsOneFrame) {
    std::string a(300, 'a');
    std::string b(5, 'b');
    std::string c(400, 'c');
    AVDataEX f;
    f.setData({DataInfo{a.data(), 300}, DataInfo{b.data(), 5}, DataInfo{c.data(), 400}});
    f.setESStreamType(1);
    f.setFrameType(2);
    std::vector<unsigned char> out(10 * 188);
    int const packets = m_packager.EStoTS_Packet(m_video, out.data(), &f);
    TsPacketReader in(std::string(reinterpret_cast<char*>(out.data()), static_cast<size_t>(packets) * 188));
    ASSERT_EQ(1u, in.getPes().size());
    EXPECT_EQ(a + b + c, std::string(in.getPes()[0].payload.begin(), in.getPes()[0].payload.end()));
}

TEST_F(PackagerTest, AdjustTimeStampMovesPcrAndPtsAndWrapsAt33Bits) {
    std::string ts = pack(m_video, frame(1, 1, 1000, 3000));
    ts += pack(m_audio, frame(2, 1, 1000, 160));
    ts += pack(m_video, frame(1, 2, 4600, 300));
    std::vector<unsigned char> buffer(ts.begin(), ts.end());
    EXPECT_EQ(4600 + 90000, MPEG_TS_Packager::adjustTimeStamp(buffer.data(), static_cast<unsigned int>(buffer.size()), 90000));
    TsPacketReader moved(std::string(buffer.begin(), buffer.end()));
    EXPECT_TRUE(moved.getErrors().empty());
    ASSERT_EQ(2u, moved.getPes(0x100).size());
    EXPECT_EQ(91000, moved.getPes(0x100)[0].nPts);
    EXPECT_EQ(94600, moved.getPes(0x100)[1].nPts);
    EXPECT_EQ(91000, moved.getPes(0x101).at(0).nPts);
    EXPECT_EQ((std::vector<long long>{91000, 94600}), moved.getPcrs());

    unsigned long long const back = (1ULL << 33) - 90000;  // minus 90000, modulo 2^33
    EXPECT_EQ(4600, MPEG_TS_Packager::adjustTimeStamp(buffer.data(), static_cast<unsigned int>(buffer.size()), back));
    std::vector<unsigned char> again(ts.begin(), ts.end());
    EXPECT_EQ(3600, MPEG_TS_Packager::adjustTimeStamp(again.data(), static_cast<unsigned int>(again.size()),
                                                      (1ULL << 33) - 1000));
    EXPECT_EQ(0, TsPacketReader(std::string(again.begin(), again.end())).getPes(0x100).at(0).nPts);
}

TEST_F(PackagerTest, AdjustTimeStampRefusesBrokenPackets) {
    std::string ts = pack(m_video, frame(1, 2, 1000, 300));
    std::vector<unsigned char> buffer(ts.begin(), ts.end());
    EXPECT_EQ(-1, MPEG_TS_Packager::adjustTimeStamp(buffer.data(), 187, 1));
    buffer[188] = 0;
    EXPECT_EQ(-1, MPEG_TS_Packager::adjustTimeStamp(buffer.data(), static_cast<unsigned int>(buffer.size()), 1));
    EXPECT_EQ(0, MPEG_TS_Packager::adjustTimeStamp(buffer.data(), 0, 1));
}

TEST(PackagerStreamTypeTest, EncodersMapToStreamTypes) {
    EXPECT_EQ(0x1B, MPEG_TS_Packager::getStreamType(EncoderType::H264));
    EXPECT_EQ(0x1B, MPEG_TS_Packager::getStreamType(EncoderType::SVC));
    EXPECT_EQ(0x10, MPEG_TS_Packager::getStreamType(EncoderType::MPEG4));
    EXPECT_EQ(0x06, MPEG_TS_Packager::getStreamType(EncoderType::G711_ALAW));
    EXPECT_EQ(0x06, MPEG_TS_Packager::getStreamType(EncoderType::G711_ULAW));
}

// The packager alone on the shipped H.264 and A-law streams, read back by ffmpeg.
TEST(PackagerFfprobeTest, RealStreamsReadBackFrameForFrame) {
    if (!FfprobeCheck::available()) GTEST_SKIP() << "ffprobe is not installed";
    std::vector<AVData> video = TestStreams::readH264(std::string(RECSTORE_TESTDATA_DIR) + "/cif25_gop50_20s.h264");
    std::vector<AVData> audio = TestStreams::readALaw(std::string(RECSTORE_TESTDATA_DIR) + "/tone8k_20s.alaw");
    ASSERT_EQ(500u, video.size());
    ASSERT_EQ(1000u, audio.size());
    MPEG_TS_Packager packager(256);
    packager.addProgram(4096, "TS stream");
    int const v = packager.addStreamEx(4096, EncoderType::H264);
    int const a = packager.addStreamEx(1, EncoderType::G711_ALAW);
    packager.setPCR_stream(static_cast<unsigned short>(v));
    std::string ts;
    std::vector<unsigned char> out;
    for (AVData frame : TestStreams::interleave(video, audio)) {
        frame.setTimeStamp((frame.getTimeStamp() - video[0].getTimeStamp()) / 100 * 9);
        out.resize(frame.getDataLength() * 2 + 4 * 188);
        int const packets = packager.EStoTS_Packet(frame.getESStreamType() == 1 ? v : a, out.data(), &frame);
        ts.append(reinterpret_cast<char*>(out.data()), static_cast<size_t>(packets) * 188);
    }
    TempDir dir;
    ASSERT_TRUE(dir.writeFile("out.ts", ts));
    std::string const file = dir.path("out.ts");
    EXPECT_EQ((std::vector<std::string>{"h264", "bin_data"}), FfprobeCheck::codecNames(file));
    std::vector<double> times = FfprobeCheck::packetTimes(file, 0);
    ASSERT_EQ(500u, times.size());
    for (size_t i = 1; i < times.size(); ++i) EXPECT_NEAR(0.04, times[i] - times[i - 1], 1e-6);
    EXPECT_EQ(1000u, FfprobeCheck::packetTimes(file, 1).size());
    EXPECT_EQ("", FfprobeCheck::decodeErrors(file));
}

}  // namespace
