#include "tests/support/TestRecording.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "foundation/AVStreamInfo.h"
#include "directory/LastRecordFileInfoManager.h"
#include "foundation/BasicTool.h"
#include "host/HostClock.h"
#include "host/OrvaneTime.h"
#include "recording/TSRecordWriterWithIndex.h"
#include "retrieval/RecordRetriever.h"
#include "tests/support/TestBlock.h"

SafePointer<RecordFileInfo> testFileOf(int camera, long long begin, bool locked) {
    SafePointer<RecordFileInfo> file(new RecordFileInfo());
    file->setDeviceId("NVR");
    file->setDeviceIP("10.0.0.7");
    file->setCameraId(camera);
    file->setRecordDate(BasicTool::getDateString(begin));
    file->setRecordBeginTime(begin);
    file->setLockFlag(locked);
    return file;
}

namespace {

SafePointer<RecordFileInfo> record(IRecordDir& dir, int camera, long long begin, int blocks, int blockSeconds,
                                   bool lock, bool joinLast) {
    SafePointer<RecordFileInfo> file = testFileOf(camera, begin);
    file->setRecordDirInfoEx(dir.getRecordDirInfoEx());
    TestBlock first(1, 1, begin, 2, static_cast<char>('a' + camera));
    file->setAVStreamInfo(AVStreamInfo(&first.data));
    dir.setDeviceRequetType(file->getRecordDeviceInfo(), joinLast ? 1 : 0);
    EXPECT_EQ(0, dir.createFile(file));
    TSRecordWriterWithIndex writer;
    int held = -1;
    EXPECT_EQ(0, writer.open(file, held));
    for (int i = 0; i < blocks; ++i) {
        TestBlock block(1, 1, begin + i * blockSeconds, 2, static_cast<char>('a' + camera));
        block.data.setDataTimeLength(blockSeconds);
        EXPECT_EQ(0, writer.write(&block.data, lock, 0));
    }
    writer.close();
    return file;
}

}  // namespace

SafePointer<RecordFileInfo> recordTestFile(IRecordDir& dir, int camera, long long begin, bool lock, bool joinLast) {
    return record(dir, camera, begin, 1, 0, lock, joinLast);
}

SafePointer<RecordFileInfo> recordTestSpan(IRecordDir& dir, int camera, long long begin, int seconds, bool lock,
                                           bool joinLast) {
    return record(dir, camera, begin, seconds, 1, lock, joinLast);
}

RecordInfo testRange(int camera, long long begin, long long end) {
    RecordInfo info;
    info.setDeviceId("NVR");
    info.setDeviceIP("10.0.0.7");
    info.setCameraId(camera);
    info.setRecordBeginTime(static_cast<unsigned long>(begin));
    info.setRecordEndTime(static_cast<unsigned long>(end));
    return info;
}

RecordQueryCondition testCondition(int camera, long long begin, long long end, int precision) {
    RecordQueryCondition c;
    c.setDeviceId("NVR");
    c.setDeviceIP("10.0.0.7");
    c.setCameraId(camera);
    c.setRecordBeginTime(static_cast<unsigned long>(begin));
    c.setRecordEndTime(static_cast<unsigned long>(end));
    c.setRecordQueryTimePrecision(precision);
    return c;
}

std::vector<std::unique_ptr<PlainRecordDir>> retrieverDisks(TempDir const& dir,
                                                           std::vector<std::string> const& names) {
    std::vector<std::unique_ptr<PlainRecordDir>> disks;
    std::vector<RecordDirInfo> list;
    for (std::string const& name : names) {
        RecordDirInfoEx info;
        info.setRecordRootDir(dir.path(name));
        info.setFileSegmentSize(1 << 20);
        info.setAttribute(1);
        info.setEnableFlag(true);
        disks.emplace_back(new PlainRecordDir(info));
        EXPECT_EQ(1, disks.back()->init());
        list.push_back(RecordDirInfoEx::changeToRecordDirInfo(info));
    }
    RecordRetriever::setRecordDirList(list);
    return disks;
}

RecordingClock::RecordingClock(long long now) {
    setenv("TZ", "UTC", 1);
    tzset();
    HostClock::freeze();
    HostClock::shift(static_cast<double>(now - OrvaneTime::currentTime().getSeconds()));
    LastRecordFileInfoManager::getInstance()->clear();
}

RecordingClock::~RecordingClock() {
    LastRecordFileInfoManager::getInstance()->clear();
    HostClock::reset();
}
