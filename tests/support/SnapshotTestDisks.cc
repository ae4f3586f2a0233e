#include "tests/support/SnapshotTestDisks.h"

#include <climits>

#include "disk/RecordDeviceDirPolicy.h"
#include "foundation/RecordDirInfo.h"
#include "snapshot/SnapshotDiskManagerImplEx.h"
#include "snapshot/SnapshotIndexFileParserEx.h"
#include "snapshot/SnapshotRetriever.h"

SnapshotTestDisks::SnapshotTestDisks(std::vector<std::string> const& folders, long long fileSize) {
    std::vector<RecordDirInfo> hostList;
    for (std::string const& folder : folders) {
        m_root.makeDir(folder);
        RecordDirInfoEx dir;
        dir.setRecordRootDir(m_root.path(folder));
        dir.setDiskType(1);
        dir.setGroupId(1);
        dir.setEnableFlag(true);
        dir.setFileSegmentSize(fileSize);
        m_dirs.push_back(dir);
        hostList.push_back(RecordDirInfoEx::changeToRecordDirInfo(dir));
    }
    SnapshotDiskManagerImplEx* disks = SnapshotDiskManagerImplEx::getInstance();
    disks->start();
    disks->setRecordDirInfoList(m_dirs);
    RecordDeviceInfo device;
    device.setDeviceId("NVR");
    device.setDeviceIP("10.0.0.7");
    device.setCameraId(1);
    device.setRecordMode(2);
    disks->setRecordDevicePolicy(RecordDeviceDirPolicy(device, true, 1, 0, false));
    disks->setDirPolicyThread();
    SnapshotRetriever::setSnapshotDirList(hostList);
}

SnapshotTestDisks::~SnapshotTestDisks() {
    SnapshotDiskManagerImplEx::getInstance()->stop();
    SnapshotRetriever::setSnapshotDirList({});
}

RecordInfo SnapshotTestDisks::channel() {
    RecordInfo info;
    info.setDeviceId("NVR");
    info.setDeviceIP("10.0.0.7");
    info.setCameraId(1);
    return info;
}

SnapshotQueryCondition SnapshotTestDisks::condition(long long begin, long long end) {
    SnapshotQueryCondition condition;
    condition.setDeviceId("NVR");
    condition.setDeviceIP("10.0.0.7");
    condition.setCameraId(1);
    condition.setBeginTime(begin);
    condition.setEndTime(end);
    return condition;
}

std::map<long long, std::string> SnapshotTestDisks::stored(RecordDirInfoEx const& dir, std::string const& date,
                                                           int* entries) {
    std::map<long long, std::string> pictures;
    SnapshotIndexFileParserEx parser;
    if (entries != nullptr) *entries = 0;
    if (parser.open(dir, date, kDeviceDir) != 1) return pictures;
    if (entries != nullptr) *entries = parser.getFileNum();
    std::vector<SnapshotFile> files;
    parser.query(condition(0, LLONG_MAX), files, 0);
    for (SnapshotFile const& file : files) {
        SafePointer<SnapshotImageDataInfo> info(new SnapshotImageDataInfo());
        parser.getImageDataInfo(file.getTime(), info);
        std::string const data = TempDir::readWhole(parser.getDateDir() + "/" + info->getSnapshotFileName());
        size_t const pos = static_cast<size_t>(info->getImageFilePos());
        size_t const length = static_cast<size_t>(info->getImageDataLen());
        pictures[file.getTime()] = pos + length <= data.size() ? data.substr(pos, length) : "<outside>";
    }
    return pictures;
}
