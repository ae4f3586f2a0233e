#include "tests/support/TsPacketReader.h"

#include <string>

namespace {

std::string describe(int packet, char const* what) { return "packet " + std::to_string(packet) + ": " + what; }

long long readTimeStamp(unsigned char const* p) {
    return (static_cast<long long>(p[0] & 0x0E) << 29) | (static_cast<long long>(p[1]) << 22) |
           (static_cast<long long>(p[2] & 0xFE) << 14) | (static_cast<long long>(p[3]) << 7) | (p[4] >> 1);
}

}  // namespace

unsigned int TsPacketReader::crc32(unsigned char const* data, size_t length) {
    unsigned int crc = 0xFFFFFFFFu;
    for (size_t i = 0; i < length; ++i) {
        crc ^= static_cast<unsigned int>(data[i]) << 24;
        for (int bit = 0; bit < 8; ++bit) crc = (crc & 0x80000000u) ? (crc << 1) ^ 0x04C11DB7u : (crc << 1);
    }
    return crc;
}

TsPacketReader::TsPacketReader(std::string const& bytes) {
    if (bytes.size() % 188 != 0) m_errors.push_back("length is not whole packets");
    for (size_t at = 0; at + 188 <= bytes.size(); at += 188)
        parsePacket(reinterpret_cast<unsigned char const*>(bytes.data() + at));
    while (!m_open.empty()) finishPes(m_open.begin()->first);
}

std::vector<TsPacketReader::Pes> TsPacketReader::getPes(int pid) const {
    std::vector<Pes> out;
    for (Pes const& pes : m_pes)
        if (pes.nPid == pid) out.push_back(pes);
    return out;
}

void TsPacketReader::finishPes(int pid) {
    auto it = m_open.find(pid);
    if (it == m_open.end()) return;
    m_pes.push_back(it->second);
    m_open.erase(it);
}

void TsPacketReader::parsePacket(unsigned char const* p) {
    int const index = m_nPackets++;
    if (p[0] != 0x47) {
        m_errors.push_back(describe(index, "no sync byte"));
        return;
    }
    int const pid = ((p[1] & 0x1F) << 8) | p[2];
    bool const start = (p[1] & 0x40) != 0;
    int const control = (p[3] >> 4) & 3;
    int const cc = p[3] & 0x0F;
    if (control == 0) m_errors.push_back(describe(index, "reserved adaptation control"));
    if (control & 1) {
        auto it = m_continuity.find(pid);
        if (it != m_continuity.end() && ((it->second + 1) & 0x0F) != cc)
            m_errors.push_back(describe(index, "continuity counter jump"));
        m_continuity[pid] = cc;
    }
    int at = 4;
    bool randomAccess = false;
    std::vector<char> privateData;
    if (control & 2) {
        int const length = p[4];
        if (length > 183 || (control == 3 && length > 182)) {
            m_errors.push_back(describe(index, "adaptation field too long"));
            return;
        }
        if (length > 0) {
            unsigned char const flags = p[5];
            randomAccess = (flags & 0x40) != 0;
            int f = 6;
            if (flags & 0x10) {
                long long const base = (static_cast<long long>(p[f]) << 25) | (p[f + 1] << 17) | (p[f + 2] << 9) |
                                       (p[f + 3] << 1) | (p[f + 4] >> 7);
                m_pcrs.push_back(base);
                f += 6;
            }
            if (flags & 0x08) f += 6;
            if (flags & 0x04) f += 1;
            if (flags & 0x02) {
                int const n = p[f];
                privateData.assign(p + f + 1, p + f + 1 + n);
                f += 1 + n;
            }
            if (f > 5 + length) m_errors.push_back(describe(index, "adaptation field overrun"));
            for (int s = f; s < 5 + length; ++s)
                if (p[s] != 0xFF) {
                    m_errors.push_back(describe(index, "stuffing is not 0xFF"));
                    break;
                }
        }
        at = 5 + length;
    }
    if (!(control & 1)) return;
    unsigned char const* payload = p + at;
    int const size = 188 - at;
    if (pid == 0 || pid == m_program.nPmtPid) {
        if (!start) return;
        int const pointer = payload[0];
        parseSection(pid, payload + 1 + pointer, size - 1 - pointer);
        return;
    }
    if (start) {
        finishPes(pid);
        if (size < 9 || payload[0] != 0 || payload[1] != 0 || payload[2] != 1) {
            m_errors.push_back(describe(index, "payload start without PES"));
            return;
        }
        Pes pes;
        pes.nPid = pid;
        pes.nStreamId = payload[3];
        pes.bRandomAccess = randomAccess;
        pes.privateData = privateData;
        int const headerLength = payload[8];
        if (payload[7] & 0x80) pes.nPts = readTimeStamp(payload + 9);
        int const body = 9 + headerLength;
        if (body <= size) pes.payload.assign(payload + body, payload + size);
        m_open[pid] = pes;
        return;
    }
    auto it = m_open.find(pid);
    if (it == m_open.end()) {
        m_errors.push_back(describe(index, "payload without a PES start"));
        return;
    }
    it->second.payload.insert(it->second.payload.end(), payload, payload + size);
}

void TsPacketReader::parseSection(int pid, unsigned char const* s, int size) {
    if (size < 3) return;
    int const length = ((s[1] & 0x0F) << 8) | s[2];
    if (length + 3 > size || length < 9) {
        m_errors.push_back("section does not fit its packet");
        return;
    }
    unsigned int const crc = (static_cast<unsigned int>(s[length - 1]) << 24) | (s[length] << 16) |
                             (s[length + 1] << 8) | s[length + 2];
    if (crc32(s, static_cast<size_t>(length - 1)) != crc) m_errors.push_back("section CRC mismatch");
    ++m_nTables;
    if (pid == 0 && s[0] == 0x00) {
        for (int at = 8; at + 4 <= length - 1; at += 4) {
            int const program = (s[at] << 8) | s[at + 1];
            if (program != 0) m_program.nPmtPid = ((s[at + 2] & 0x1F) << 8) | s[at + 3];
        }
    } else if (s[0] == 0x02) {
        m_program.nPcrPid = ((s[8] & 0x1F) << 8) | s[9];
        int const infoLength = ((s[10] & 0x0F) << 8) | s[11];
        for (int at = 12 + infoLength; at + 5 <= length - 1;) {
            int const type = s[at];
            int const esPid = ((s[at + 1] & 0x1F) << 8) | s[at + 2];
            int const esInfo = ((s[at + 3] & 0x0F) << 8) | s[at + 4];
            m_program.streamTypes[esPid] = type;
            for (int d = at + 5; d + 2 <= at + 5 + esInfo;) {
                if (s[d] == 0x05 && s[d + 1] >= 4)
                    m_program.formats[esPid] = std::string(reinterpret_cast<char const*>(s + d + 2), 4);
                d += 2 + s[d + 1];
            }
            at += 5 + esInfo;
        }
    }
}
