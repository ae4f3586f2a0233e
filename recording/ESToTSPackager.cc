#include "recording/ESToTSPackager.h"

#include <cstdio>
#include <cstdlib>

namespace NS_ESToTSPackager {
unsigned short const kPacketLimit = 256;
unsigned short const kProgramPid = 4096;
unsigned short const kVideoStreamKey = 4096;
unsigned short const kAudioStreamKey = 1;
int const kVideo = 1;
int const kAudio = 2;

long long toTicks(long long microseconds) { return microseconds / 100 * 9; }
}  // namespace NS_ESToTSPackager

ESToTSPackager::ESToTSPackager()
    : m_pPackager(new MPEG_TS::MPEG_TS_Packager(NS_ESToTSPackager::kPacketLimit)),
      m_nVideoHandle(-1),
      m_nAudioHandle(-1),
      m_nAudioEncoderType(EncoderType::NONE),
      m_nVideoEncoderType(EncoderType::NONE) {
    if (m_pPackager == nullptr) {
        std::fprintf(stderr, "%s:%d: Assertion `m_pPackager != __null' failed.\n", __FILE__, __LINE__);
        std::abort();
    }
    m_pPackager->addProgram(NS_ESToTSPackager::kProgramPid, "TS stream");
}

ESToTSPackager::~ESToTSPackager() { delete m_pPackager; }

bool ESToTSPackager::reinit() { return true; }

void ESToTSPackager::setVideoEncoderType(EncoderType::ES_STREAM_TYPE type) {
    m_nVideoEncoderType = type;
    m_nVideoHandle = m_pPackager->addStreamEx(NS_ESToTSPackager::kVideoStreamKey, type);
    if (m_nVideoHandle >= 0) m_pPackager->setPCR_stream(static_cast<unsigned short>(m_nVideoHandle));
}

void ESToTSPackager::setAudioEncoderType(EncoderType::ES_STREAM_TYPE type) {
    m_nAudioEncoderType = type;
    if (type != EncoderType::NONE)
        m_nAudioHandle = m_pPackager->addStreamEx(NS_ESToTSPackager::kAudioStreamKey, type);
}

int ESToTSPackager::packet(AVData* frame, unsigned char* out, int nLimit) {
    using namespace NS_ESToTSPackager;
    if (frame == nullptr || !fits(frame->getDataLength(), nLimit)) return 0;
    frame->setTimeStamp(toTicks(frame->getTimeStamp()));
    int packets = 0;
    if (frame->getESStreamType() == kVideo)
        packets = m_pPackager->EStoTS_Packet(m_nVideoHandle, out, frame);
    else if (frame->getESStreamType() == kAudio)
        packets = m_pPackager->EStoTS_Packet(m_nAudioHandle, out, frame);
    return packets * MPEG_TS::kTsPacketSize;
}

int ESToTSPackager::packet(AVDataEX* frame, unsigned char* out, int nLimit) {
    using namespace NS_ESToTSPackager;
    if (frame == nullptr || !fits(frame->getDataLength(), nLimit)) return 0;
    frame->setTimeStamp(toTicks(frame->getTimeStamp()));
    if (frame->getESStreamType() != kVideo) return 0;
    return m_pPackager->EStoTS_Packet(m_nVideoHandle, out, frame) * MPEG_TS::kTsPacketSize;
}

char const* ESToTSPackager::getStreamName(int type) {
    switch (type) {
        case 0: return "MPEG4";
        case 1: return "H.264 SP";
        case 2: return "MJPEG";
        case 3: return "SVC";
        case 101: return "G723.1";
        case 102: return "G711 ALaw";
        case 103: return "G711 ULaw";
        case 104: return "G722";
        case 105: return "G726";
        case 106: return "G729";
        case 107: return "AMR";
        default: return "Unknown";
    }
}
