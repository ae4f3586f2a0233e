// recstore run from outside on a tree the engine recorded: one camera on two
// small disks. Each subcommand's output and exit status, the faults verify
// must find, and bad input.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "host/HostPaths.h"
#include "host/sy_system.h"
#include "retrieval/RecordRetriever.h"
#include "tests/support/FfprobeCheck.h"
#include "tests/support/TempDir.h"

namespace {

char const kDevice[] = "NVR_192.168.1.10_1";

struct Result {
    int nStatus = -1;
    std::string strOut;
    std::string strErr;
};

class RecstoreTest : public ::testing::Test {
protected:
    // One recording for the suite: 90 s of the CIF stream from 12:00 UTC.
    static void SetUpTestSuite() {
        s_tree = new TempDir();
        std::string const command = "cd '" + s_tree->root() + "' && RECSTORE_ROOT='" + s_tree->path("root") +
                                    "' TZ=UTC " RECSTORE_TOOL_COMMAND " --channels 1 --seconds 90 --disks 2 --snapshots 30 "
                                    "--disk-mib 64 --file-mib 2 --width 640 --height 360 --video '" RECSTORE_TESTDATA_DIR
                                    "/cif25_gop50_20s.h264' '" RECSTORE_TESTDATA_DIR "' rec >/dev/null 2>&1";
        ASSERT_EQ(0, sy_system(command.c_str(), 120));
    }
    static void TearDownTestSuite() { delete s_tree; }

    void SetUp() override {
        ASSERT_EQ(0, sy_system(("cp -a '" + s_tree->path("rec") + "' '" + m_dir.path("rec") + "'").c_str(), 60));
    }
    std::string roots() const { return "'" + m_dir.path("rec/disk1") + "' '" + m_dir.path("rec/disk2") + "'"; }

    Result run(std::string const& args) {
        std::string const command = "cd '" + m_dir.root() + "' && TZ=UTC " RECSTORE_CLI_COMMAND " " + args +
                                    " >out.txt 2>err.txt";
        Result result;
        result.nStatus = sy_system(command.c_str(), 120);
        result.strOut = m_dir.readFile("out.txt");
        result.strErr = m_dir.readFile("err.txt");
        return result;
    }

    static TempDir* s_tree;
    TempDir m_dir;
};

TempDir* RecstoreTest::s_tree = nullptr;

TEST_F(RecstoreTest, ListsExportsLocksAndCountsAHealthyTree) {
    Result r = run("ls " + roots());
    EXPECT_EQ(0, r.nStatus);
    EXPECT_EQ(std::string(kDevice) + std::string(40 - sizeof(kDevice) + 1, ' ') + " since 2024-01-01\n", r.strOut);
    EXPECT_EQ("2024-01-01\n", run("ls --device " + std::string(kDevice) + " " + roots()).strOut);
    r = run("ls --json --device " + std::string(kDevice) + " --date 2024-01-01 " + roots());
    EXPECT_EQ(0, r.nStatus);
    EXPECT_EQ("[{\"begin\":\"2024-01-01 12:00:00\",\"end\":\"2024-01-01 12:01:28\",\"seconds\":88,"
              "\"locked\":false,\"alarm\":false}]\n",
              r.strOut);

    r = run("verify " + roots());
    EXPECT_EQ(0, r.nStatus) << r.strOut;
    EXPECT_NE(std::string::npos, r.strOut.find(", 0 problem(s)"));
    EXPECT_NE(std::string::npos, r.strOut.find(" in the pool, 0 in the bin\n")) << r.strOut;

    // The export is what the playback reader gives for the window, and plays.
    r = run("export --device " + std::string(kDevice) + " --from '2024-01-01 12:00:10' --to '2024-01-01 12:00:40' " +
            roots() + " out.ts");
    ASSERT_EQ(0, r.nStatus) << r.strErr;
    RecordDirInfo a, b;
    std::string const pathA = m_dir.path("rec/disk1"), pathB = m_dir.path("rec/disk2");
    a.setDiskName(pathA.c_str());
    b.setDiskName(pathB.c_str());
    a.setEnableFlag(true);
    b.setEnableFlag(true);
    RecordRetriever::setRecordDirList({a, b});
    RecordRetriever retriever;
    RecordInfo window;
    window.setDeviceId("NVR");
    window.setDeviceIP("192.168.1.10");
    window.setCameraId(1);
    window.setRecordBeginTime(1704110410UL);
    window.setRecordEndTime(1704110440UL);
    ASSERT_EQ(0, retriever.open(window, false));
    std::string expected;
    std::vector<char> buffer(1 << 16);
    for (int n; (n = retriever.read(buffer.data(), static_cast<int>(buffer.size()))) > 0;) expected.append(buffer.data(), n);
    RecordRetriever::setRecordDirList({});
    EXPECT_EQ(expected, m_dir.readFile("out.ts"));
    if (FfprobeCheck::available()) {
        EXPECT_EQ("", FfprobeCheck::decodeErrors(m_dir.path("out.ts")));
    }

    EXPECT_EQ(0, run("lock --device " + std::string(kDevice) + " --from '2024-01-01 12:00:20' --to '2024-01-01 12:00:30' " +
                     roots()).nStatus);
    r = run("ls --device " + std::string(kDevice) + " --date 2024-01-01 " + roots());
    EXPECT_NE(std::string::npos, r.strOut.find("2024-01-01 12:00:20  2024-01-01 12:00:32        12  yes")) << r.strOut;
    EXPECT_EQ(0, run("verify " + roots()).nStatus);  // a lock is no fault
    r = run("df " + roots());
    EXPECT_EQ(0, r.nStatus);
    EXPECT_NE(std::string::npos, r.strOut.find("in the pool,")) << r.strOut;
    EXPECT_NE(std::string::npos, r.strOut.find(std::string(kDevice)));
}

TEST_F(RecstoreTest, VerifyFindsEachFaultAndNothingElse) {
    std::string const day = "rec/disk1/record/" + std::string(kDevice) + "/2024-01-01/";
    std::string index = m_dir.readFile(day + std::string(kDevice) + "_2024-01-01.index");
    ASSERT_GT(index.size(), 40u);
    index[12] = static_cast<char>(index[12] ^ 0x20);  // a name byte of the first head
    ASSERT_TRUE(m_dir.writeFile(day + std::string(kDevice) + "_2024-01-01.index", index));
    sy_system(("ls '" + m_dir.path(day) + "' | grep '\\.ts$' > '" + m_dir.path("files.txt") + "'").c_str(), 10);
    std::vector<std::string> files;
    std::string const list = m_dir.readFile("files.txt");
    for (size_t at = 0, end; (end = list.find('\n', at)) != std::string::npos; at = end + 1)
        files.push_back(list.substr(at, end - at));
    ASSERT_GE(files.size(), 4u) << list;
    std::string const second = files[1];
    std::string const third = files[2];
    ASSERT_EQ(0, std::remove(m_dir.path(day + second).c_str()));
    // Moved to the bin by a reclaiming pass that a power cut stopped before
    // it dropped the entry: counted, no problem.
    ASSERT_EQ(0, std::rename(m_dir.path(day + files[3]).c_str(),
                             m_dir.path("rec/disk1/record/recycleBin/" + files[3]).c_str()));
    // So is a date folder a power cut left before its index was made.
    m_dir.makeDir("rec/disk2/record/" + std::string(kDevice) + "/2024-01-02");
    std::string data = m_dir.readFile(day + third);
    data[0] = 'X';  // the first I-frame item points here
    ASSERT_TRUE(m_dir.writeFile(day + third, data));

    // A power cut before the day's last group was sealed: counted, no problem.
    index = m_dir.readFile(day + std::string(kDevice) + "_2024-01-01.index");
    size_t const last = index.find_last_not_of('\xff');
    ASSERT_NE(std::string::npos, last);
    index.replace(last - 7, 8, 8, '\xff');  // the closing CRC item
    ASSERT_TRUE(m_dir.writeFile(day + std::string(kDevice) + "_2024-01-01.index", index));
    Result const r = run("verify " + roots());
    EXPECT_EQ(1, r.nStatus);
    EXPECT_NE(std::string::npos, r.strOut.find(", 1 open at a day's end, ")) << r.strOut;
    EXPECT_NE(std::string::npos, r.strOut.find(", 1 with their file in the bin, 1 date folder(s) empty, ")) << r.strOut;
    EXPECT_NE(std::string::npos, r.strOut.find("is damaged")) << r.strOut;
    EXPECT_NE(std::string::npos, r.strOut.find(second + ": record file missing")) << r.strOut;
    EXPECT_NE(std::string::npos, r.strOut.find(third + ": I-frame item at byte 0 does not start a TS packet"));
    EXPECT_NE(std::string::npos, r.strOut.find(", 3 problem(s)")) << r.strOut;
}

TEST_F(RecstoreTest, RepairReportsFirstThenReplacesRebuiltEntriesAndDropsLostFiles) {
    std::string const day = "rec/disk1/record/" + std::string(kDevice) + "/2024-01-01/";
    std::string const indexName = day + std::string(kDevice) + "_2024-01-01.index";
    std::string const original = m_dir.readFile(indexName);
    size_t const second = original.find(std::string("\0\0\0\1", 4), 4);
    ASSERT_NE(std::string::npos, second);
    // The rebuilt copy of the first entry, as a rebuilding job leaves it.
    ASSERT_TRUE(m_dir.writeFile(day + std::string(kDevice) + "_2024-01-01.reindex",
                                original.substr(0, second) + std::string(4096, '\xff')));
    std::string damaged = original;
    size_t const items = original.find(std::string("\0\0\0\2", 4)) + 4;
    damaged[items + 9] = static_cast<char>(damaged[items + 9] ^ 0x10);  // an item of the first entry
    ASSERT_TRUE(m_dir.writeFile(indexName, damaged));
    Result r = run("verify " + roots());
    ASSERT_EQ(1, r.nStatus);
    std::string const first = r.strOut.substr(r.strOut.find("index entry ") + 12, 42);

    r = run("repair " + roots());
    EXPECT_EQ(0, r.nStatus) << r.strOut << r.strErr;
    EXPECT_NE(std::string::npos, r.strOut.find(": would replace damaged entry " + first + " with its rebuilt copy"));
    EXPECT_EQ(damaged, m_dir.readFile(indexName));  // a dry run writes nothing
    r = run("repair --apply " + roots());
    EXPECT_EQ(0, r.nStatus) << r.strOut;
    EXPECT_NE(std::string::npos, r.strOut.find(": replace damaged entry " + first));
    EXPECT_FALSE(m_dir.exists(day + std::string(kDevice) + "_2024-01-01.reindex"));
    EXPECT_EQ(0, run("verify " + roots()).nStatus);

    // A lost record file: its entry goes, and the time it held with it.
    ASSERT_EQ(0, std::remove(m_dir.path(day + first).c_str()));
    r = run("repair --apply " + roots());
    EXPECT_NE(std::string::npos, r.strOut.find(": remove the entry of " + first + " (its record file is gone)"));
    EXPECT_EQ(0, run("verify " + roots()).nStatus);
    r = run("ls --device " + std::string(kDevice) + " --date 2024-01-01 " + roots());
    EXPECT_EQ(std::string::npos, r.strOut.find("12:00:00  ")) << r.strOut;

    // Damage without a rebuilt copy stays, and says so.
    std::string now = m_dir.readFile(indexName);
    size_t const head = now.find(std::string("\0\0\0\2", 4)) + 4;
    now[head + 9] = static_cast<char>(now[head + 9] ^ 0x10);
    ASSERT_TRUE(m_dir.writeFile(indexName, now));
    r = run("repair " + roots());
    EXPECT_EQ(1, r.nStatus);
    EXPECT_NE(std::string::npos, r.strOut.find("cannot repair entry ")) << r.strOut;
}

TEST_F(RecstoreTest, SnapshotsAreListedAndWrittenOutAsTheyWereTaken) {
    std::string const snapRoots = "'" + m_dir.path("rec/disk1") + "' '" + m_dir.path("rec/disk2") + "'";
    Result r = run("snap ls --device " + std::string(kDevice) + " " + snapRoots);
    ASSERT_EQ(0, r.nStatus) << r.strErr;
    EXPECT_EQ(0u, r.strOut.find("2024-01-01 12:00:00.000  ")) << r.strOut;
    EXPECT_EQ(3, std::count(r.strOut.begin(), r.strOut.end(), '\n')) << r.strOut;  // at 0, 30 and 60 s
    ASSERT_TRUE(m_dir.writeFile("pictures/.keep", ""));
    r = run("snap get --device " + std::string(kDevice) + " --from '2024-01-01 12:00:30' " + snapRoots + " pictures");
    ASSERT_EQ(0, r.nStatus) << r.strErr;
    std::vector<std::string> written;
    for (size_t at = 0, end; (end = r.strOut.find('\n', at)) != std::string::npos; at = end + 1)
        written.push_back(r.strOut.substr(at, end - at));
    ASSERT_EQ(2u, written.size()) << r.strOut;
    // The tool takes the shipped pictures in turn: the second and the third.
    EXPECT_TRUE(TempDir::readWhole(RECSTORE_TESTDATA_DIR "/snapshots/snap2.jpg") == m_dir.readFile(written[0]));
    EXPECT_TRUE(TempDir::readWhole(RECSTORE_TESTDATA_DIR "/snapshots/snap3.jpg") == m_dir.readFile(written[1]));
    if (FfprobeCheck::available()) {
        EXPECT_EQ((std::vector<std::string>{"mjpeg"}), FfprobeCheck::codecNames(m_dir.path(written[1])));
    }
    EXPECT_EQ(1, run("snap ls --device NVR_192.168.1.10_9 " + snapRoots).nStatus);
}

TEST_F(RecstoreTest, BadInputIsOneLineWithItsExitStatus) {
    std::string const device = " --device " + std::string(kDevice);
    struct Case {
        std::string args;
        int nStatus;
        char const* line;
    } const cases[] = {
        {"ls --device NVR_192.168.1.10_9 " + roots(), 1, "recstore ls: no recording of NVR_192.168.1.10_9\n"},
        {"export" + device + " --from '2024-01-01 12:01:00' --to '2024-01-01 12:00:00' " + roots() + " o.ts", 1,
         "recstore export: --to must come after --from\n"},
        {"export" + device + " --from '2024-01-01 12:00:00' --to '2024-01-01 12:01:00' " + roots() + " nowhere/o.ts", 1,
         "recstore export: cannot write nowhere/o.ts\n"},
        {"verify " + m_dir.root(), 1, "recstore verify: "},
        {"ls --date 2024-01-01 " + roots(), 2, "recstore ls: --date needs --device\n"},
        {"ls --device NVR " + roots(), 2, "recstore ls: --device takes ID_IP_CAMERA, not NVR\n"},
        {"lock" + device + " --from 2024-01-01 --to 12:00 " + roots(), 2, "recstore lock: --from and --to take"},
        {"df --all " + roots(), 2, "recstore df: unknown option --all\n"},
        {"format " + roots(), 2, "recstore: unknown command 'format'"},
    };
    for (Case const& c : cases) {
        Result const r = run(c.args);
        EXPECT_EQ(c.nStatus, r.nStatus) << c.args;
        EXPECT_EQ(0u, r.strErr.find(c.line)) << c.args << ": " << r.strErr;
        EXPECT_EQ(r.strErr.find('\n'), r.strErr.size() - 1) << c.args;
    }
    EXPECT_EQ(0, run("export --help").nStatus);
}

}  // namespace
