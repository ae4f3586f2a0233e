#include "host/MPEG_TS_Packager.h"

#include <cstring>

namespace MPEG_TS {
namespace {

int const kHeaderSize = 4;
int const kPayloadSize = kTsPacketSize - kHeaderSize;  // 184
int const kPesHeaderSize = 14;                         // start code .. PTS
unsigned short const kNullPid = 0x1FFF;
unsigned short const kFirstUsablePid = 0x0020;
unsigned long long const kTimeMask = (1ULL << 33) - 1;
int const kMaxPrivateData = 182 - 8;  // what the first packet's field can hold beside the PCR

unsigned char const kVideoStreamId = 0xE0;
unsigned char const kPrivateStream1 = 0xBD;

unsigned char const kAfDiscontinuity = 0x80;
unsigned char const kAfRandomAccess = 0x40;
unsigned char const kAfPcr = 0x10;
unsigned char const kAfPrivateData = 0x02;

struct CrcTable {
    uint32_t values[256];
    CrcTable() {
        for (uint32_t i = 0; i < 256; ++i) {
            uint32_t crc = i << 24;
            for (int bit = 0; bit < 8; ++bit)
                crc = (crc & 0x80000000u) ? (crc << 1) ^ 0x04C11DB7u : (crc << 1);
            values[i] = crc;
        }
    }
};

// CRC-32/MPEG-2 of PSI sections.
uint32_t crc32(unsigned char const* data, int length) {
    static CrcTable const table;
    uint32_t crc = 0xFFFFFFFFu;
    for (int i = 0; i < length; ++i) crc = (crc << 8) ^ table.values[((crc >> 24) ^ data[i]) & 0xFF];
    return crc;
}

void put16(unsigned char* out, unsigned int value) {
    out[0] = static_cast<unsigned char>(value >> 8);
    out[1] = static_cast<unsigned char>(value);
}

void put32(unsigned char* out, uint32_t value) {
    out[0] = static_cast<unsigned char>(value >> 24);
    out[1] = static_cast<unsigned char>(value >> 16);
    out[2] = static_cast<unsigned char>(value >> 8);
    out[3] = static_cast<unsigned char>(value);
}

// PTS or DTS in the 5-byte form, `prefix` being the 4 leading bits.
void putTimeStamp(unsigned char* out, unsigned char prefix, unsigned long long ticks) {
    ticks &= kTimeMask;
    out[0] = static_cast<unsigned char>((prefix << 4) | ((ticks >> 29) & 0x0E) | 0x01);
    out[1] = static_cast<unsigned char>(ticks >> 22);
    out[2] = static_cast<unsigned char>(((ticks >> 14) & 0xFE) | 0x01);
    out[3] = static_cast<unsigned char>(ticks >> 7);
    out[4] = static_cast<unsigned char>(((ticks << 1) & 0xFE) | 0x01);
}

unsigned long long getTimeStamp(unsigned char const* in) {
    return (static_cast<unsigned long long>(in[0] & 0x0E) << 29) |
           (static_cast<unsigned long long>(in[1]) << 22) |
           (static_cast<unsigned long long>(in[2] & 0xFE) << 14) |
           (static_cast<unsigned long long>(in[3]) << 7) | (static_cast<unsigned long long>(in[4]) >> 1);
}

// PCR base in 90 kHz ticks; the 27 MHz extension stays 0.
void putPcr(unsigned char* out, unsigned long long base) {
    base &= kTimeMask;
    out[0] = static_cast<unsigned char>(base >> 25);
    out[1] = static_cast<unsigned char>(base >> 17);
    out[2] = static_cast<unsigned char>(base >> 9);
    out[3] = static_cast<unsigned char>(base >> 1);
    out[4] = static_cast<unsigned char>(((base & 1) << 7) | 0x7E);
    out[5] = 0;
}

unsigned long long getPcrBase(unsigned char const* in) {
    return (static_cast<unsigned long long>(in[0]) << 25) | (static_cast<unsigned long long>(in[1]) << 17) |
           (static_cast<unsigned long long>(in[2]) << 9) | (static_cast<unsigned long long>(in[3]) << 1) |
           (static_cast<unsigned long long>(in[4]) >> 7);
}

// Keeps the extension and reserved bits of a PCR while moving its base.
void setPcrBase(unsigned char* out, unsigned long long base) {
    base &= kTimeMask;
    out[0] = static_cast<unsigned char>(base >> 25);
    out[1] = static_cast<unsigned char>(base >> 17);
    out[2] = static_cast<unsigned char>(base >> 9);
    out[3] = static_cast<unsigned char>(base >> 1);
    out[4] = static_cast<unsigned char>(((base & 1) << 7) | (out[4] & 0x7F));
}

bool isVideoEncoder(int type) {
    return type == EncoderType::MPEG4 || type == EncoderType::H264 || type == EncoderType::MJPEG ||
           type == EncoderType::SVC;
}

// Format identifier of the registration descriptor for codecs carried as
// PES private data; 0 when the stream type says it all.
uint32_t formatIdentifier(int type) {
    switch (type) {
        case EncoderType::MJPEG: return 0x4D4A5047;     // "MJPG"
        case EncoderType::G723_1: return 0x47373233;    // "G723"
        case EncoderType::G711_ALAW: return 0x414C4157; // "ALAW"
        case EncoderType::G711_ULAW: return 0x554C4157; // "ULAW"
        case EncoderType::G722: return 0x47373232;      // "G722"
        case EncoderType::G726: return 0x47373236;      // "G726"
        case EncoderType::G729: return 0x47373239;      // "G729"
        case EncoderType::AMR: return 0x414D5220;       // "AMR "
        default: return 0;
    }
}

}  // namespace

MPEG_TS_Packager::MPEG_TS_Packager(unsigned short nMaxPackets)
    : m_nMaxPids(nMaxPackets),
      m_nPmtPid(kDefaultPmtPid),
      m_nPcrHandle(-1),
      m_nPatContinuity(0),
      m_nPmtContinuity(0),
      m_nPmtVersion(0) {}

bool MPEG_TS_Packager::pidInUse(unsigned short pid) const {
    if (pid == m_nPmtPid) return true;
    for (Stream const& stream : m_streams)
        if (stream.nPid == pid) return true;
    return false;
}

unsigned short MPEG_TS_Packager::allocatePid(unsigned short wanted) const {
    if (wanted >= kFirstUsablePid && wanted < kNullPid && !pidInUse(wanted)) return wanted;
    for (unsigned short pid = kFirstStreamPid; pid < kNullPid; ++pid)
        if (!pidInUse(pid)) return pid;
    return kNullPid;
}

int MPEG_TS_Packager::addProgram(unsigned short pid, std::string const& name) {
    m_strProgramName = name;
    if (pid >= kFirstUsablePid && pid < kNullPid) {
        for (Stream const& stream : m_streams)
            if (stream.nPid == pid) return -1;
        m_nPmtPid = pid;
    }
    return kProgramNumber;
}

int MPEG_TS_Packager::addStreamEx(unsigned short pid, EncoderType::ES_STREAM_TYPE type) {
    m_nPmtVersion = static_cast<unsigned char>((m_nPmtVersion + 1) & 0x1F);
    for (size_t i = 0; i < m_streams.size(); ++i) {
        if (m_streams[i].nKey != pid) continue;
        m_streams[i].nEncoderType = type;
        m_streams[i].bVideo = isVideoEncoder(type);
        return static_cast<int>(i);
    }
    if (m_streams.size() + 1 >= m_nMaxPids) return -1;
    unsigned short const actual = allocatePid(pid);
    if (actual == kNullPid) return -1;
    m_streams.push_back(Stream{pid, actual, type, isVideoEncoder(type), 0});
    return static_cast<int>(m_streams.size() - 1);
}

bool MPEG_TS_Packager::setPCR_stream(unsigned short handle) {
    if (handle >= m_streams.size()) return false;
    if (m_nPcrHandle != handle) m_nPmtVersion = static_cast<unsigned char>((m_nPmtVersion + 1) & 0x1F);
    m_nPcrHandle = handle;
    return true;
}

unsigned short MPEG_TS_Packager::getStreamPid(int handle) const {
    if (handle < 0 || static_cast<size_t>(handle) >= m_streams.size()) return kNullPid;
    return m_streams[static_cast<size_t>(handle)].nPid;
}

unsigned char MPEG_TS_Packager::getStreamType(int encoderType) {
    switch (encoderType) {
        case EncoderType::H264:
        case EncoderType::SVC: return 0x1B;
        case EncoderType::MPEG4: return 0x10;
        default: return 0x06;
    }
}

int MPEG_TS_Packager::writeSection(unsigned char* out, unsigned short pid, unsigned char& continuity,
                                   unsigned char const* section, int length) {
    out[0] = kSyncByte;
    out[1] = static_cast<unsigned char>(0x40 | (pid >> 8));  // payload unit start
    out[2] = static_cast<unsigned char>(pid);
    out[3] = static_cast<unsigned char>(0x10 | continuity);
    continuity = static_cast<unsigned char>((continuity + 1) & 0x0F);
    out[4] = 0;  // pointer field
    std::memcpy(out + 5, section, static_cast<size_t>(length));
    std::memset(out + 5 + length, 0xFF, static_cast<size_t>(kTsPacketSize - 5 - length));
    return kTsPacketSize;
}

void MPEG_TS_Packager::writeTables(unsigned char* out) {
    unsigned char section[kTsPacketSize];
    // PAT: one program.
    section[0] = 0x00;
    put16(section + 1, 0xB000 | 13);
    put16(section + 3, 1);  // transport stream id
    section[5] = static_cast<unsigned char>(0xC1 | (m_nPmtVersion << 1));
    section[6] = 0;
    section[7] = 0;
    put16(section + 8, kProgramNumber);
    put16(section + 10, 0xE000 | m_nPmtPid);
    put32(section + 12, crc32(section, 12));
    writeSection(out, kPatPid, m_nPatContinuity, section, 16);

    // PMT: every stream, with a registration descriptor where the type is private.
    int n = 0;
    section[n++] = 0x02;
    n += 2;  // length, below
    put16(section + n, kProgramNumber);
    n += 2;
    section[n++] = static_cast<unsigned char>(0xC1 | (m_nPmtVersion << 1));
    section[n++] = 0;
    section[n++] = 0;
    unsigned short const pcrPid =
        m_nPcrHandle >= 0 ? m_streams[static_cast<size_t>(m_nPcrHandle)].nPid : kNullPid;
    put16(section + n, 0xE000 | pcrPid);
    n += 2;
    put16(section + n, 0xF000);
    n += 2;
    for (Stream const& stream : m_streams) {
        if (n + 11 + 4 > kTsPacketSize - 5) break;
        uint32_t const format = formatIdentifier(stream.nEncoderType);
        section[n++] = getStreamType(stream.nEncoderType);
        put16(section + n, 0xE000 | stream.nPid);
        n += 2;
        put16(section + n, 0xF000 | (format != 0 ? 6 : 0));
        n += 2;
        if (format != 0) {
            section[n++] = 0x05;
            section[n++] = 4;
            put32(section + n, format);
            n += 4;
        }
    }
    put16(section + 1, 0xB000 | static_cast<unsigned int>(n + 4 - 3));
    put32(section + n, crc32(section, n));
    writeSection(out + kTsPacketSize, m_nPmtPid, m_nPmtContinuity, section, n + 4);
}

int MPEG_TS_Packager::EStoTS_Packet(int handle, unsigned char* out, AVData const* frame) {
    if (frame == nullptr) return 0;
    m_pieces.clear();
    m_pieces.push_back(Piece{reinterpret_cast<unsigned char const*>(frame->getData()), frame->getDataLength()});
    return packFrame(handle, out, *frame, m_pieces, frame->getDataLength());
}

int MPEG_TS_Packager::EStoTS_Packet(int handle, unsigned char* out, AVDataEX const* frame) {
    if (frame == nullptr) return 0;
    m_pieces.clear();
    for (DataInfo const& piece : frame->getData())
        if (piece.pData != nullptr && piece.nLength > 0)
            m_pieces.push_back(Piece{reinterpret_cast<unsigned char const*>(piece.pData), piece.nLength});
    return packFrame(handle, out, *frame, m_pieces, frame->getDataLength());
}

int MPEG_TS_Packager::packFrame(int handle, unsigned char* out, AVFrameFields const& fields,
                                std::vector<Piece> const& pieces, unsigned int length) {
    if (out == nullptr || length == 0 || handle < 0 || static_cast<size_t>(handle) >= m_streams.size())
        return 0;
    Stream& stream = m_streams[static_cast<size_t>(handle)];
    bool const bKey = stream.bVideo && fields.getFrameType() == 1;
    bool const bPcr = handle == m_nPcrHandle;
    unsigned long long const ticks = static_cast<unsigned long long>(fields.getTimeStamp()) & kTimeMask;
    int nPrivate = bKey ? fields.getPrivateDataLength() : 0;
    if (nPrivate > kMaxPrivateData) nPrivate = 0;

    int packets = 0;
    if (bKey) {
        writeTables(out);
        packets = 2;
    }

    unsigned char pes[kPesHeaderSize];
    pes[0] = 0;
    pes[1] = 0;
    pes[2] = 1;
    pes[3] = stream.bVideo ? kVideoStreamId : kPrivateStream1;
    unsigned int const pesLength = length + 8;
    // Video may leave the length open; other streams must fit 16 bits.
    put16(pes + 4, (stream.bVideo || pesLength > 0xFFFF) ? 0 : pesLength);
    pes[6] = 0x84;  // '10', data alignment
    pes[7] = 0x80;  // PTS only
    pes[8] = 5;
    putTimeStamp(pes + 9, 0x2, ticks);

    // Where the next frame byte comes from.
    size_t pieceIndex = 0;
    unsigned int pieceOffset = 0;
    auto copyFrameBytes = [&](unsigned char* to, unsigned int n) {
        while (n > 0 && pieceIndex < pieces.size()) {
            Piece const& piece = pieces[pieceIndex];
            unsigned int const left = piece.nLength - pieceOffset;
            unsigned int const take = left < n ? left : n;
            std::memcpy(to, piece.pData + pieceOffset, take);
            to += take;
            n -= take;
            pieceOffset += take;
            if (pieceOffset == piece.nLength) {
                ++pieceIndex;
                pieceOffset = 0;
            }
        }
    };

    unsigned int remaining = length + kPesHeaderSize;
    int pesWritten = 0;
    bool first = true;
    while (remaining > 0) {
        unsigned char* p = out + packets * kTsPacketSize;
        // Adaptation field content this packet must carry.
        unsigned char flags = 0;
        int mandatory = 0;
        if (first) {
            if (bKey) flags |= kAfRandomAccess;
            if (bPcr) flags |= kAfPcr;
            if (fields.getDiscontinuityIndicator()) flags |= kAfDiscontinuity;
            if (nPrivate > 0) flags |= kAfPrivateData;
            if (flags != 0) mandatory = 2 + ((flags & kAfPcr) ? 6 : 0) + (nPrivate > 0 ? 1 + nPrivate : 0);
        }
        unsigned int const capacity = static_cast<unsigned int>(kPayloadSize - mandatory);
        unsigned int const payload = remaining < capacity ? remaining : capacity;
        int const afSize = kPayloadSize - static_cast<int>(payload);  // field incl. its length byte

        p[0] = kSyncByte;
        p[1] = static_cast<unsigned char>((first ? 0x40 : 0x00) | (stream.nPid >> 8));
        p[2] = static_cast<unsigned char>(stream.nPid);
        p[3] = static_cast<unsigned char>((afSize > 0 ? 0x30 : 0x10) | stream.nContinuity);
        stream.nContinuity = static_cast<unsigned char>((stream.nContinuity + 1) & 0x0F);
        int at = kHeaderSize;
        if (afSize > 0) {
            p[at++] = static_cast<unsigned char>(afSize - 1);
            if (afSize > 1) {
                int const end = kHeaderSize + afSize;
                p[at++] = flags;
                if (flags & kAfPcr) {
                    putPcr(p + at, ticks);
                    at += 6;
                }
                if (flags & kAfPrivateData) {
                    p[at++] = static_cast<unsigned char>(nPrivate);
                    std::memcpy(p + at, fields.getPrivateData(), static_cast<size_t>(nPrivate));
                    at += nPrivate;
                }
                std::memset(p + at, 0xFF, static_cast<size_t>(end - at));
                at = end;
            }
        }
        unsigned int left = payload;
        if (pesWritten < kPesHeaderSize) {
            unsigned int const header = static_cast<unsigned int>(kPesHeaderSize - pesWritten);
            unsigned int const take = header < left ? header : left;
            std::memcpy(p + at, pes + pesWritten, take);
            pesWritten += static_cast<int>(take);
            at += static_cast<int>(take);
            left -= take;
        }
        copyFrameBytes(p + at, left);
        remaining -= payload;
        ++packets;
        first = false;
    }
    return packets;
}

long long MPEG_TS_Packager::adjustTimeStamp(unsigned char* buffer, unsigned int length,
                                            unsigned long long delta) {
    if (buffer == nullptr || length % kTsPacketSize != 0) return -1;
    long long lastPts = -1;
    long long lastPcr = -1;
    for (unsigned int offset = 0; offset < length; offset += kTsPacketSize) {
        unsigned char* p = buffer + offset;
        if (p[0] != kSyncByte) return -1;
        int const control = (p[3] >> 4) & 0x03;
        int at = kHeaderSize;
        if (control & 0x02) {
            int const afLength = p[4];
            if (afLength > kPayloadSize - 1) return -1;
            if (afLength >= 7 && (p[5] & kAfPcr)) {
                unsigned long long const base = (getPcrBase(p + 6) + delta) & kTimeMask;
                setPcrBase(p + 6, base);
                lastPcr = static_cast<long long>(base);
            }
            at += 1 + afLength;
        }
        bool const start = (p[1] & 0x40) != 0;
        if (!(control & 0x01) || !start || at + 14 > kTsPacketSize) continue;
        unsigned char* pes = p + at;
        if (pes[0] != 0 || pes[1] != 0 || pes[2] != 1) continue;
        unsigned char const id = pes[3];
        if (id == 0xBC || id == 0xBE || id == 0xBF || id == 0xF0 || id == 0xF1 || id == 0xF2 ||
            id == 0xF8 || id == 0xFF)
            continue;
        int const ptsDts = pes[7] >> 6;
        if (ptsDts & 0x02) {
            unsigned long long const pts = (getTimeStamp(pes + 9) + delta) & kTimeMask;
            putTimeStamp(pes + 9, static_cast<unsigned char>(pes[9] >> 4), pts);
            lastPts = static_cast<long long>(pts);
            if (ptsDts == 0x03 && at + 19 <= kTsPacketSize) {
                unsigned long long const dts = (getTimeStamp(pes + 14) + delta) & kTimeMask;
                putTimeStamp(pes + 14, static_cast<unsigned char>(pes[14] >> 4), dts);
            }
        }
    }
    if (lastPts >= 0) return lastPts;
    if (lastPcr >= 0) return lastPcr;
    return 0;
}

}  // namespace MPEG_TS
