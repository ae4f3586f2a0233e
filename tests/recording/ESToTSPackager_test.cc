#include "recording/ESToTSPackager.h"

#include <gtest/gtest.h>

#include <vector>

#include "recording/AVDataPackagerFactory.h"
#include "tests/support/TsPacketReader.h"

namespace {

AVData videoFrame(size_t length, long long time) {
    AVData f;
    std::vector<char> bytes(length, 'v');
    f.setData(bytes.data(), static_cast<unsigned int>(length));
    f.setESStreamType(1);
    f.setFrameType(2);
    f.setTimeStamp(time);
    return f;
}

class ESToTSPackagerTest : public ::testing::Test {
protected:
    ESToTSPackagerTest() {
        m_packager.setVideoEncoderType(EncoderType::H264);
        m_packager.setAudioEncoderType(EncoderType::G711_ULAW);
    }
    ESToTSPackager m_packager;
};

TEST_F(ESToTSPackagerTest, FrameWhoseTenthMorePassesTheLimitIsRefused) {
    std::vector<unsigned char> out(2200000);
    AVData fits = videoFrame(1884000, 0);  // 1884000 + 188400 = 2072400
    int const packed = m_packager.packet(&fits, out.data(), 2073600);
    EXPECT_GT(packed, 1884000);
    EXPECT_EQ(0, packed % 188);
    AVData refused = videoFrame(1885091, 0);  // 1885091 + 188509 = 2073600
    EXPECT_EQ(0, m_packager.packet(&refused, out.data(), 2073600));
}

TEST_F(ESToTSPackagerTest, TimeStampBecomesNinetyKilohertzInPlace) {
    std::vector<unsigned char> out(4 * 188);
    AVData f = videoFrame(100, 1000099);
    ASSERT_EQ(188, m_packager.packet(&f, out.data(), 2073600));
    EXPECT_EQ(90000, f.getTimeStamp());  // 1000099 / 100 * 9
    TsPacketReader in(std::string(reinterpret_cast<char*>(out.data()), 188));
    EXPECT_EQ(90000, in.getPes().at(0).nPts);
}

TEST_F(ESToTSPackagerTest, AudioGoesToItsOwnStreamButNeverFromPieces) {
    std::vector<unsigned char> out(4 * 188);
    AVData sound = videoFrame(160, 0);
    sound.setESStreamType(2);
    ASSERT_EQ(188, m_packager.packet(&sound, out.data(), 2073600));
    EXPECT_EQ(0x101, TsPacketReader(std::string(reinterpret_cast<char*>(out.data()), 188)).getPes().at(0).nPid);
    std::string bytes(160, 'a');
    AVDataEX pieces;
    pieces.setESStreamType(2);
    pieces.setData({DataInfo{bytes.data(), 160}});
    EXPECT_EQ(0, m_packager.packet(&pieces, out.data(), 2073600));
    AVData other = videoFrame(160, 0);
    other.setESStreamType(3);
    EXPECT_EQ(0, m_packager.packet(&other, out.data(), 2073600));
}

TEST(ESToTSPackagerNameTest, EncoderNamesAndUnknownNumbers) {
    EXPECT_STREQ("MPEG4", ESToTSPackager::getStreamName(0));
    EXPECT_STREQ("H.264 SP", ESToTSPackager::getStreamName(1));
    EXPECT_STREQ("SVC", ESToTSPackager::getStreamName(3));
    EXPECT_STREQ("G711 ALaw", ESToTSPackager::getStreamName(102));
    EXPECT_STREQ("AMR", ESToTSPackager::getStreamName(107));
    EXPECT_STREQ("Unknown", ESToTSPackager::getStreamName(4));
    EXPECT_STREQ("Unknown", ESToTSPackager::getStreamName(100));
    EXPECT_STREQ("Unknown", ESToTSPackager::getStreamName(108));
    EXPECT_STREQ("Unknown", ESToTSPackager::getStreamName(-1));
}

TEST(AVDataPackagerFactoryTest, OnlyTheTSTypeIsMade) {
    SafePointer<IAVDataPackager> packager;
    EXPECT_FALSE(AVDataPackagerFactory::create(static_cast<DataPackageType>(1), packager));
    EXPECT_TRUE(packager.isNull());
    EXPECT_TRUE(AVDataPackagerFactory::create(DataPackageTS, packager));
    ASSERT_FALSE(packager.isNull());
    EXPECT_NE(nullptr, dynamic_cast<ESToTSPackager*>(packager.get()));
    EXPECT_TRUE(packager->reinit());
}

}  // namespace
