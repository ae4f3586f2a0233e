#include "snapshot/SnapshotIndexFileParser.h"

#include <cstdio>

#include "directory/EarliestFileInfoList.h"
#include "foundation/BasicTool.h"
#include "host/DiskManagerFactory.h"
#include "host/TimeConverter.h"
#include "snapshot/SnapshotIndexCodec.h"
#include "snapshot/SnapshotIndexItem.h"

namespace NS_SnapshotIndexFileParser {
constexpr long long kMaxIndexFileSize = 64LL << 20;
}  // namespace NS_SnapshotIndexFileParser

long long SnapshotIndexFileParser::getZeroTimeStamp(std::string const& date) {
    OVDateTime time;
    if (std::sscanf(date.c_str(), "%04d-%02d-%02d", &time.year, &time.month, &time.day) != 3) return -1;
    unsigned long seconds = 0;
    if (!TimeConverter::structToLong(time, seconds)) return -1;
    return static_cast<long long>(seconds);
}

std::string SnapshotIndexFileParser::getIndexFileName() const {
    return BasicTool::getWholeDateDir(m_dirInfo, BasicTool::kSnapshotDirName, m_strDeviceDir, m_strDate) +
           BasicTool::kSeparator + m_strDeviceDir + "_" + m_strDate + ".index";
}

int SnapshotIndexFileParser::open(RecordDirInfoEx const& dirInfo, std::string const& date,
                                  std::string const& deviceDir) {
    close();
    m_dirInfo = dirInfo;
    m_strDate = date;
    m_strDeviceDir = deviceDir;
    m_deviceParser.parse(m_strDeviceDir.c_str());
    m_nZeroTime = getZeroTimeStamp(date);
    if (m_nZeroTime < 0) return 0;
    std::string bytes;
    m_file = SnapshotIndexCodec::openIndexFile(dirInfo, getIndexFileName(), NS_SnapshotIndexFileParser::kMaxIndexFileSize,
                                               bytes);
    if (m_file.isNull()) return 0;
    m_image.assign(bytes.begin(), bytes.end());
    return 1;
}

void SnapshotIndexFileParser::close() {
    if (!m_file.isNull()) m_file->close();
    m_file = SafePointer<IFile>();
    m_image.clear();
}

int SnapshotIndexFileParser::itemCount() const {
    return static_cast<int>(m_image.size()) / SnapshotIndexItem::indexItemLength();
}

int SnapshotIndexFileParser::query(SnapshotQueryCondition const& condition, std::vector<SnapshotFile>& list) {
    SnapshotIndexItem item;
    for (int i = 0; i < itemCount(); ++i) {
        if (item.parse(m_image.data() + i * SnapshotIndexItem::indexItemLength(), SnapshotIndexItem::indexItemLength()) ==
            0)
            continue;
        long long const time = m_nZeroTime * 1000 + item.getTimeStamp();
        if (time < condition.getBeginTime() || time >= condition.getEndTime()) continue;
        if (condition.getSnapshotType() != 0 && (item.getBurstMode() & condition.getSnapshotType()) == 0) continue;
        SnapshotFile file;
        file.setCameraId(m_deviceParser.getCameraId());
        file.setDeviceId(m_deviceParser.getDeviceId());
        file.setDeviceIP(m_deviceParser.getDeviceIP());
        file.setFileName(createFileName(item.getTimeStamp()));
        file.setTime(time);
        file.setLength(static_cast<int>(item.getFileSize()));
        list.push_back(file);
    }
    return 0;
}

std::string SnapshotIndexFileParser::createFileName(long long nOffset) const {
    long long const time = m_nZeroTime * 1000 + nOffset;
    OVDateTime date;
    TimeConverter::longToStruct(static_cast<unsigned long>(time / 1000), date);
    char name[64];
    std::snprintf(name, sizeof name, "%04d%02d%02d%02d%02d%02d%03d_%02d.jpg", date.year, date.month, date.day,
                  date.hour, date.minute, date.second, static_cast<int>(time % 1000), m_deviceParser.getCameraId());
    return name;
}

bool SnapshotIndexFileParser::writeBack() {
    if (m_file.isNull() || !m_file->seek(0, SEEK_SET)) return false;
    int done = 0;
    int const length = static_cast<int>(m_image.size());
    while (done < length) {
        int n = m_file->write(reinterpret_cast<char const*>(m_image.data()) + done, length - done);
        if (n <= 0) return false;
        done += n;
    }
    return m_file->flush();
}

int SnapshotIndexFileParser::deleteFile(std::string const& fileName) {
    SnapshotIndexItem item;
    for (int i = 0; i < itemCount(); ++i) {
        unsigned char* p = m_image.data() + i * SnapshotIndexItem::indexItemLength();
        if (item.parse(p, SnapshotIndexItem::indexItemLength()) == 0 || createFileName(item.getTimeStamp()) != fileName)
            continue;
        p[0] = SnapshotIndexItem::kDeleted;
        if (!writeBack()) return -1;
        IDiskManager* disk = DiskManagerFactory::getDiskManager(m_dirInfo.getDiskType(), m_dirInfo.getFileSystemFormat());
        std::string const path = BasicTool::createWholeFileName(2, m_dirInfo.getRecordRootDir(), m_strDeviceDir,
                                                                m_strDate, fileName);
        if (disk != nullptr) disk->deleteFile(path.c_str());
        return 1;
    }
    return 0;
}

int SnapshotIndexFileParser::deleteOutDateFile(long long nTime, int, bool& bEmpty) {
    IDiskManager* disk = DiskManagerFactory::getDiskManager(m_dirInfo.getDiskType(), m_dirInfo.getFileSystemFormat());
    std::vector<std::string> names;
    SnapshotIndexItem item;
    bEmpty = true;
    for (int i = 0; i < itemCount(); ++i) {
        unsigned char* p = m_image.data() + i * SnapshotIndexItem::indexItemLength();
        if (item.parse(p, SnapshotIndexItem::indexItemLength()) == 0) continue;
        if (m_nZeroTime * 1000 + item.getTimeStamp() >= nTime) {
            bEmpty = false;
            continue;
        }
        p[0] = SnapshotIndexItem::kDeleted;
        names.push_back(createFileName(item.getTimeStamp()));
    }
    if (names.empty()) return 0;
    // The items go first: an image file that no item names would never be
    // found again, while an item without its file is answered as missing.
    if (!writeBack()) return -1;
    for (std::string const& name : names) {
        std::string const path =
            BasicTool::createWholeFileName(2, m_dirInfo.getRecordRootDir(), m_strDeviceDir, m_strDate, name);
        if (disk != nullptr) disk->deleteFile(path.c_str());
    }
    return static_cast<int>(names.size());
}

int SnapshotIndexFileParser::getEarliestRecordFileInfo(EarliestFileInfoList& list, int, bool) {
    SnapshotIndexItem item;
    for (int i = 0; i < itemCount(); ++i) {
        if (item.parse(m_image.data() + i * SnapshotIndexItem::indexItemLength(), SnapshotIndexItem::indexItemLength()) ==
            0)
            continue;
        SafePointer<RecordFileInfo> file(new RecordFileInfo());
        file->setDeviceId(m_deviceParser.getDeviceId());
        file->setDeviceIP(m_deviceParser.getDeviceIP());
        file->setCameraId(m_deviceParser.getCameraId());
        file->setRecordMode(2);
        file->setRecordFileName(createFileName(item.getTimeStamp()));
        file->setRecordBeginTime(m_nZeroTime + item.getTimeStamp() / 1000);
        file->setRecordDate(m_strDate);
        file->setRecordDirInfoEx(m_dirInfo);
        list.update(file);
    }
    return 0;
}

long long SnapshotIndexFileParser::getTotalFileSize() {
    long long total = 0;
    SnapshotIndexItem item;
    for (int i = 0; i < itemCount(); ++i)
        if (item.parse(m_image.data() + i * SnapshotIndexItem::indexItemLength(), SnapshotIndexItem::indexItemLength()))
            total += item.getFileSize();
    return total;
}
