// The recording tool run from outside, as a user runs it: its exit status,
// its lines, and what it leaves in the record folder.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <unistd.h>

#include <string>
#include <vector>

#include "host/sy_system.h"
#include "tests/support/TempDir.h"

namespace {

struct Result {
    int nStatus = -1;
    std::string strOut;
    std::string strErr;
};

std::vector<std::string> lines(std::string const& text) {
    std::vector<std::string> result;
    size_t begin = 0;
    for (size_t end; (end = text.find('\n', begin)) != std::string::npos; begin = end + 1)
        result.push_back(text.substr(begin, end - begin));
    if (begin < text.size()) result.push_back(text.substr(begin));
    return result;
}

int count(std::string const& text, std::string const& piece) {
    int found = 0;
    for (size_t at = text.find(piece); at != std::string::npos; at = text.find(piece, at + 1)) ++found;
    return found;
}

class RecordToolTest : public ::testing::Test {
protected:
    // Runs the tool in the test's folder on the shipped streams; `args` name
    // the record folder and the options, in shell words.
    Result run(std::string const& args) {
        std::string const command = "cd '" + m_dir.root() + "' && RECSTORE_ROOT='" + m_dir.path("root") +
                                    "' TZ=UTC " RECSTORE_TOOL_COMMAND " '" RECSTORE_TESTDATA_DIR "' " + args +
                                    " >out.txt 2>err.txt";
        Result result;
        result.nStatus = sy_system(command.c_str(), 120);
        result.strOut = m_dir.readFile("out.txt");
        result.strErr = m_dir.readFile("err.txt");
        return result;
    }

    // The shipped video with every IDR slice turned into a P slice.
    void writeVideoWithoutIdr(std::string const& rel) {
        std::string bytes = TempDir::readWhole(RECSTORE_TESTDATA_DIR "/hd25_gop25_10s.h264");
        ASSERT_FALSE(bytes.empty());
        for (size_t at = bytes.find(std::string("\0\0\1", 3)); at != std::string::npos && at + 3 < bytes.size();
             at = bytes.find(std::string("\0\0\1", 3), at + 3)) {
            char& header = bytes[at + 3];
            if ((header & 0x1F) == 5) header = static_cast<char>((header & 0xE0) | 1);
        }
        ASSERT_TRUE(m_dir.writeFile(rel, bytes));
    }

    TempDir m_dir;
};

TEST_F(RecordToolTest, BadInputIsOneLineAndRecordsNothing) {
    writeVideoWithoutIdr("noidr.h264");
    ASSERT_TRUE(m_dir.writeFile("text.h264", "not a video\n"));
    struct Case {
        char const* args;
        int nStatus;
        char const* line;
    };
    Case const cases[] = {
        {"rec --channels 99999999999", 2, "--channels wants a whole number from 1 to 256, not '99999999999'"},
        {"rec --channels 0", 2, "--channels wants a whole number from 1 to 256"},
        {"rec --channels 257", 2, "--channels wants a whole number from 1 to 256"},
        {"rec --channels ' 4'", 2, "--channels wants a whole number"},
        {"rec --seconds 10s", 2, "--seconds wants a whole number from 1 to 86400"},
        {"rec --file-mib 0", 2, "--file-mib wants a whole number from 1 to 2048"},
        {"rec --width 0", 2, "--width wants a whole number from 16 to 8192"},
        {"rec --height 8193", 2, "--height wants a whole number from 16 to 8192"},
        {"rec --disk-mib 15", 2, "--disk-mib wants a whole number from 16 to 65536"},
        {"rec --disks 9", 2, "--disks wants a whole number from 1 to 8"},
        {"rec --start 2024-01-01", 2, "--start wants a time \"YYYY-MM-DD HH:MM:SS\", not '2024-01-01'"},
        {"rec --start '2024-02-30 12:00:00'", 2, "--start wants a time"},
        {"rec --seconds", 2, "--seconds needs a value"},
        {"rec --video ''", 2, "--video needs a value"},
        {"rec --frames 3", 2, "unknown option --frames"},
        {"", 2, "wants TESTDATA_DIR and RECORD_DIR"},
        {"rec --video .", 1, "cannot read the video .: it is a folder"},
        {"rec --video missing.h264", 1, "cannot read the video missing.h264: No such file or directory"},
        {"rec --audio .", 1, "cannot read the audio .: it is a folder"},
        {"rec --video text.h264", 1, "no H.264 frames in text.h264"},
        {"rec --video noidr.h264", 1, "no IDR frame in noidr.h264"},
    };
    for (Case const& c : cases) {
        Result const result = run(c.args);
        EXPECT_EQ(c.nStatus, result.nStatus) << c.args;
        ASSERT_EQ(1u, lines(result.strErr).size()) << c.args << ": " << result.strErr;
        EXPECT_NE(std::string::npos, result.strErr.find(std::string("recstore record: ") + c.line))
            << c.args << ": " << result.strErr;
        EXPECT_EQ("", result.strOut) << c.args;
        EXPECT_FALSE(m_dir.exists("rec")) << c.args;
    }
}

// As a recorder after a restart, a later run joins the day's index.
TEST_F(RecordToolTest, GoodRunLogsTheMissingOptionalFileAndALaterRunContinuesTheDay) {
    Result const result = run("rec --channels 2 --seconds 12 --file-mib 4 --disk-mib 96 --disks 1");
    EXPECT_EQ(0, result.nStatus) << result.strErr;
    EXPECT_EQ("", result.strErr);
    EXPECT_EQ(2, count(result.strOut, "segment 2024-01-01 12:00:00 - 2024-01-01 12:00:11"));
    EXPECT_EQ("all record files hold whole TS packets up to their indexed length", lines(result.strOut).back());
    for (char const* device : {"NVR_192.168.1.10_1", "NVR_192.168.1.10_2"}) {
        std::string const index = std::string("rec/disk1/record/") + device + "/2024-01-01/" + device + "_2024-01-01.index";
        EXPECT_GT(m_dir.fileSize(index), 0) << index;
    }
    EXPECT_EQ(0, count(result.strOut, "TSFrameQueueConfig.ini"));
    EXPECT_EQ(2, count(m_dir.readFile("root/mnt/mtd/log/FrameQueueConfig.log"),
                       "open " + m_dir.path("root") + "/hd1/program/config/TSFrameQueueConfig.ini failed"));

    Result const later = run("rec --channels 2 --seconds 10 --file-mib 4 --disk-mib 96 --disks 1 --start '2024-01-01 12:05:00'");
    ASSERT_EQ(0, later.nStatus) << later.strErr;
    EXPECT_EQ(1, count(later.strOut, "from 2024-01-01 12:05:00 into"));
    EXPECT_EQ(2, count(later.strOut, "segment 2024-01-01 12:00:00 - 2024-01-01 12:00:11"));
    EXPECT_EQ(2, count(later.strOut, "segment 2024-01-01 12:05:00 - 2024-01-01 12:05:09"));
}

// Nothing written is a failure, named per channel with the engine's code.
// Without a length the run fills both disks and goes on through the recycle
// bin; each disk keeps the files of its pool, every one of the segment size
// (a file of another size fails the run).
TEST_F(RecordToolTest, DefaultRunFillsBothDisksAndGoesOnThroughTheRecycleBin) {
    Result const result = run("rec --channels 2 --file-mib 1 --disk-mib 32");
    ASSERT_EQ(0, result.nStatus) << result.strErr;
    EXPECT_EQ("", result.strErr);
    int disks = 0;
    for (std::string const& line : lines(result.strOut)) {
        int disk = 0;
        unsigned total = 0, pool = 0, used = 0, bin = 0;
        if (std::sscanf(line.c_str(), "disk%d: %u record file(s): %u in the pool, %u in use, %u in the recycle bin",
                        &disk, &total, &pool, &used, &bin) != 5)
            continue;
        ++disks;
        EXPECT_EQ(30u, total) << line;  // 32 MiB less the room of three index files and the reserve
        EXPECT_LE(pool, 1u) << line;
    }
    EXPECT_EQ(2, disks);
    // Reclaiming frees only what the next files take: the bin may end empty,
    // but the first seconds went through it.
    EXPECT_EQ(0, count(result.strOut, "segment 2024-01-01 12:00:00"));
    for (char const* channel : {"channel 1: ", "channel 2: "}) {
        size_t at = result.strOut.find(std::string(channel));
        ASSERT_NE(std::string::npos, at) << channel;
        EXPECT_GE(std::atoi(result.strOut.c_str() + at + std::strlen(channel)), 1) << channel;
    }
}

TEST_F(RecordToolTest, ChannelsThatRecordedNothingFailOneLineEach) {
    struct Case {
        char const* name;
        char const* args;
        std::vector<int> failed;
        char const* code;
    };
    ASSERT_TRUE(m_dir.writeFile("file", "a file where a folder belongs"));
    std::vector<Case> cases = {
        {"record folder is a file", "file --channels 2 --seconds 3", {1, 2}, "-768 OV_RECORD_NO_DIR_WRITE"},
    };
    // Permissions do not bite root.
    if (geteuid() != 0) {
        ASSERT_TRUE(m_dir.makeDir("readonly"));
        ASSERT_EQ(0, sy_system(("chmod 555 '" + m_dir.path("readonly") + "'").c_str(), 10));
        cases.push_back({"read-only record folder", "readonly --channels 2 --seconds 3", {1, 2},
                         "-768 OV_RECORD_NO_DIR_WRITE"});
    }
    for (Case const& c : cases) {
        Result const result = run(c.args);
        EXPECT_EQ(1, result.nStatus) << c.name;
        std::vector<std::string> const errors = lines(result.strErr);
        ASSERT_EQ(c.failed.size(), errors.size()) << c.name << ": " << result.strErr;
        for (size_t i = 0; i < errors.size(); ++i) {
            EXPECT_EQ(0u, errors[i].find("recstore record: channel " + std::to_string(c.failed[i]) +
                                         ": recorded nothing: "))
                << c.name << ": " << errors[i];
            EXPECT_NE(std::string::npos, errors[i].find(c.code)) << c.name << ": " << errors[i];
        }
        EXPECT_EQ(0, count(result.strOut, "all record files hold")) << c.name;
    }
    if (geteuid() != 0) sy_system(("chmod 755 '" + m_dir.path("readonly") + "'").c_str(), 10);
}

TEST_F(RecordToolTest, SnapshotsAreStoredBesideTheRecordingsAndReadBackWhole) {
    EXPECT_EQ(2, run("rec --snapshots 0").nStatus);
    EXPECT_NE(std::string::npos, run("rec --snapshots 3601").strErr.find("--snapshots wants a whole number from 1 to 3600"));
    Result const result = run("rec --seconds 20 --channels 2 --snapshots 3");
    ASSERT_EQ(0, result.nStatus) << result.strErr;
    for (char const* camera : {"1", "2"}) {
        EXPECT_NE(std::string::npos, result.strOut.find(std::string("channel ") + camera +
                                                       ": 7 snapshot(s) stored, 7 found, first 2024-01-01 "
                                                       "12:00:00.000, last 2024-01-01 12:00:18.000"))
            << result.strOut;
        std::string const date = std::string("rec/disk1/snapshot/NVR_192.168.1.10_") + camera + "/2024-01-01/";
        EXPECT_TRUE(m_dir.exists(date + "NVR_192.168.1.10_" + camera + "_2024-01-01.index"));
        EXPECT_EQ(1 << 20, m_dir.fileSize(date + "NVR_192.168.1.10_" + camera + "_20240101120000.mjpeg"));
    }
    EXPECT_EQ("", result.strErr);
}

}  // namespace
