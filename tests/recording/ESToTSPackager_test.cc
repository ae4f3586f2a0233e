#include "recording/ESToTSPackager.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "recording/AVDataPackagerFactory.h"
#include "tests/support/TsPacketReader.h"

namespace {

AVData frame(int es, size_t length, long long time = 0) {
    AVData f;
    std::vector<char> bytes(length, 'v');
    f.setData(bytes.data(), static_cast<unsigned int>(length));
    f.setESStreamType(es);
    f.setFrameType(2);
    f.setTimeStamp(time);
    return f;
}

class ESToTSPackagerTest : public ::testing::Test {
protected:
    ESToTSPackagerTest() {
        EXPECT_FALSE(AVDataPackagerFactory::create(static_cast<DataPackageType>(1), m_packager));
        EXPECT_TRUE(m_packager.isNull());
        EXPECT_TRUE(AVDataPackagerFactory::create(DataPackageTS, m_packager));
        m_packager->setVideoEncoderType(EncoderType::H264);
        m_packager->setAudioEncoderType(EncoderType::G711_ULAW);
    }
    TsPacketReader read(int packed) const {
        return TsPacketReader(std::string(reinterpret_cast<char const*>(m_out.data()), packed));
    }

    SafePointer<IAVDataPackager> m_packager;
    std::vector<unsigned char> m_out = std::vector<unsigned char>(2200000);
};

// Which stream a frame goes to and its PCR are checked through the frame queue.
TEST_F(ESToTSPackagerTest, TimeStampBecomesNinetyKilohertzInPlaceAndTheTenthMoreMustStayUnderTheLimit) {
    AVData video = frame(1, 100, 1000099);
    ASSERT_EQ(188, m_packager->packet(&video, m_out.data(), 2073600));
    EXPECT_EQ(90000, video.getTimeStamp());  // 1000099 / 100 * 9
    EXPECT_EQ(90000, read(188).getPes().at(0).nPts);
    AVData other = frame(3, 160);
    EXPECT_EQ(0, m_packager->packet(&other, m_out.data(), 2073600));
    AVData fits = frame(1, 1884000);  // 1884000 + 188400 = 2072400
    int const packed = m_packager->packet(&fits, m_out.data(), 2073600);
    EXPECT_EQ(1884000u, read(packed).getPes().at(0).payload.size());
    AVData refused = frame(1, 1885091);  // 1885091 + 188509 = 2073600
    EXPECT_EQ(0, m_packager->packet(&refused, m_out.data(), 2073600));
}

}  // namespace
