#ifndef TESTS_SUPPORT_TSPACKETREADER_H
#define TESTS_SUPPORT_TSPACKETREADER_H

#include <map>
#include <string>
#include <vector>

// Reads a transport stream back the way a demuxer would, and says what is
// wrong with it: sync bytes, continuity counters, tables and their CRC, PES
// packets with their PTS and payload, PCRs and private data.
class TsPacketReader {
public:
    struct Pes {
        int nPid = 0;
        int nStreamId = 0;
        long long nPts = -1;  // ticks; -1 without
        bool bRandomAccess = false;
        std::vector<char> payload;  // the elementary stream bytes
        std::vector<char> privateData;  // of the PES's first packet
    };
    struct Program {
        int nPmtPid = -1;
        int nPcrPid = -1;
        std::map<int, int> streamTypes;  // PID -> stream_type
        std::map<int, std::string> formats;  // PID -> registration format identifier
    };

    // Parses whole packets; errors collect in getErrors().
    explicit TsPacketReader(std::string const& bytes);

    std::vector<std::string> const& getErrors() const { return m_errors; }
    std::vector<Pes> const& getPes() const { return m_pes; }
    std::vector<Pes> getPes(int pid) const;
    Program const& getProgram() const { return m_program; }
    // PCR bases in ticks, in stream order.
    std::vector<long long> const& getPcrs() const { return m_pcrs; }
    int getTableCount() const { return m_nTables; }

    // CRC-32/MPEG-2, as PSI sections use it.
    static unsigned int crc32(unsigned char const* data, size_t length);

private:
    void parsePacket(unsigned char const* p);
    void parseSection(int pid, unsigned char const* section, int length);
    void finishPes(int pid);

    std::vector<std::string> m_errors;
    std::vector<Pes> m_pes;
    std::map<int, Pes> m_open;  // PES being gathered per PID
    std::map<int, int> m_continuity;
    Program m_program;
    std::vector<long long> m_pcrs;
    int m_nPackets = 0;
    int m_nTables = 0;
};

#endif
