#include "foundation/BasicTool.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>

#include "foundation/RecordDirInfoEx.h"
#include "foundation/TimeConvert.h"
#include "host/DiskManagerFactory.h"
#include "host/IDiskManager.h"
#include "host/IPTool.h"
#include "host/OVDateTime.h"
#include "host/OrvaneTime.h"

std::string const BasicTool::kSeparator = "/";
std::string const BasicTool::kRecordDirName = "record";
std::string const BasicTool::kSnapshotDirName = "snapshot";
std::string const BasicTool::kEmptyDirName = "empty";
std::string const BasicTool::kRecycleBinDirName = "recycleBin";
std::string const BasicTool::kIndexDirName = "Index";
std::string const BasicTool::kLockMarkerName = "record.lock";
std::string const BasicTool::kRecordFileExtension = ".ts";
std::string const BasicTool::kLockedSuffix = "&";
std::string const BasicTool::kNoEndDate = "1970-01-01";
std::string const BasicTool::kMovedDeviceSuffix = "_move";

namespace NS_BasicTool {

char const* const kLockedMark = ".ts&";
std::size_t const kBeginTimeDigits = 14;  // YYYYMMDDhhmmss

std::string formatDate(int year, int month, int day) {
    char buffer[32];
    std::snprintf(buffer, sizeof(buffer), "%04d-%02d-%02d", year, month, day);
    return buffer;
}

bool isDigits(std::string const& text, std::size_t pos, std::size_t count) {
    if (pos + count > text.size()) return false;
    for (std::size_t i = pos; i < pos + count; ++i) {
        if (text[i] < '0' || text[i] > '9') return false;
    }
    return true;
}

IDiskManager* diskManagerOf(RecordDirInfoEx const& dirInfo) {
    return DiskManagerFactory::getDiskManager(dirInfo.getDiskType(),
                                              dirInfo.getFileSystemFormat());
}

}  // namespace NS_BasicTool

// ---- dates ----

std::string BasicTool::getDateString(long long seconds) {
    OVDateTime dateTime;
    OrvaneTime::getStructTime(dateTime, static_cast<unsigned long>(seconds));
    return getDateString(dateTime);
}

std::string BasicTool::getEndDateString(long long seconds) {
    return seconds == 0 ? kNoEndDate : getDateString(seconds);
}

std::string BasicTool::getDateString(OVDateTime& dateTime) {
    return NS_BasicTool::formatDate(dateTime.year, dateTime.month, dateTime.day);
}

std::string BasicTool::getDateString(std::string const& fileName) {
    std::size_t const underscore = fileName.rfind('_');
    if (underscore == std::string::npos) return std::string();
    std::size_t const pos = underscore + 1;
    if (!NS_BasicTool::isDigits(fileName, pos, NS_BasicTool::kBeginTimeDigits)) {
        return std::string();
    }
    return fileName.substr(pos, 4) + "-" + fileName.substr(pos + 4, 2) + "-" +
           fileName.substr(pos + 6, 2);
}

std::string BasicTool::getCurrentString() {
    OVDateTime dateTime;
    OrvaneTime::getCurrentTime(dateTime);
    return getDateString(dateTime);
}

bool BasicTool::isRecordDateValid(char const* date) {
    if (date == nullptr) return false;
    int year = 0;
    int month = 0;
    int day = 0;
    return std::sscanf(date, "%4d-%2d-%2d", &year, &month, &day) == 3;
}

bool BasicTool::getDateByDateString(std::string const& date, OVDateTime& dateTime) {
    int year = 0;
    int month = 0;
    int day = 0;
    if (std::sscanf(date.c_str(), "%4d-%2d-%2d", &year, &month, &day) != 3) return false;
    dateTime.year = year;
    dateTime.month = month;
    dateTime.day = day;
    return true;
}

// ---- names ----

std::string BasicTool::getFileNameIP(std::string const& deviceIP) {
    std::string ip = deviceIP;
    std::replace(ip.begin(), ip.end(), ':', '-');
    return ip;
}

std::string BasicTool::getDeviceDirString(std::string const& deviceId,
                                          std::string const& deviceIP, int cameraId) {
    char camera[7];  // six characters and the end
    std::snprintf(camera, sizeof(camera), "%d", cameraId);
    return deviceId + "_" + getFileNameIP(deviceIP) + "_" + camera;
}

std::string BasicTool::getRecordFileName(int nFileNumber, std::string const& deviceId,
                                         std::string const& deviceIP, int cameraId,
                                         unsigned long beginTime) {
    std::string const ip = getFileNameIP(deviceIP);
    std::string const time = TimeConvert::getStrTime(beginTime);
    std::vector<char> buffer(deviceId.size() + ip.size() + time.size() + 64);
    if (nFileNumber >= 0) {
        std::snprintf(buffer.data(), buffer.size(), "%05d-%s_%s_%d_%s.ts", nFileNumber,
                      deviceId.c_str(), ip.c_str(), cameraId, time.c_str());
    } else {
        std::snprintf(buffer.data(), buffer.size(), "%s_%s_%d_%s.ts", deviceId.c_str(), ip.c_str(),
                      cameraId, time.c_str());
    }
    return buffer.data();
}

std::string BasicTool::getSnapshotFileName(std::string const& deviceId,
                                           std::string const& deviceIP, int cameraId,
                                           std::string const& time,
                                           std::string const& extension) {
    return deviceId + "_" + getFileNameIP(deviceIP) + "_" + std::to_string(cameraId) + "_" + time +
           extension;
}

std::string BasicTool::getLockedFileName(std::string const& recordFileName) {
    return recordFileName + kLockedSuffix;
}

std::string BasicTool::getUnlockedFileName(std::string const& recordFileName) {
    if (!recordFileName.empty() && recordFileName.back() == '&') {
        return recordFileName.substr(0, recordFileName.size() - 1);
    }
    return recordFileName;
}

bool BasicTool::isFileLocked(char const* fileName) {
    return fileName != nullptr && std::strstr(fileName, NS_BasicTool::kLockedMark) != nullptr;
}

bool BasicTool::isFileLocked(std::string const& fileName) {
    return fileName.find(NS_BasicTool::kLockedMark) != std::string::npos;
}

bool BasicTool::getFileNumber(std::string const& name, int& number) {
    number = -1;
    std::size_t const dash = name.find('-');
    if (dash == std::string::npos) return false;
    int value = 0;
    if (!getNumber(name.c_str(), 0, static_cast<unsigned int>(dash), value)) return false;
    number = value;
    return true;
}

// ---- paths ----

std::string BasicTool::getWholeDeviceDir(RecordDirInfoEx const& dirInfo, std::string const& type,
                                         std::string const& deviceDir) {
    return dirInfo.getRecordRootDir() + kSeparator + type + kSeparator + deviceDir;
}

std::string BasicTool::getWholeDateDir(RecordDirInfoEx const& dirInfo, std::string const& type,
                                       std::string const& deviceDir, std::string const& date) {
    return getWholeDeviceDir(dirInfo, type, deviceDir) + kSeparator + date;
}

std::string BasicTool::createWholeFileName(int nType, std::string const& root,
                                           std::string const& deviceDir, std::string const& date,
                                           std::string const& fileName) {
    std::string const& type = (nType == 1) ? kRecordDirName : kSnapshotDirName;
    return root + kSeparator + type + kSeparator + deviceDir + kSeparator + date + kSeparator +
           fileName;
}

std::string BasicTool::getRecordDir(std::string const& root) {
    return root + kSeparator + kRecordDirName;
}

std::string BasicTool::getRecordEmptyDir(std::string const& root) {
    return getRecordDir(root) + kSeparator + kEmptyDirName;
}

std::string BasicTool::getRecordRecycleBinDir(std::string const& root) {
    return getRecordDir(root) + kSeparator + kRecycleBinDirName;
}

std::string BasicTool::getRecordIndexDir(std::string const& root) {
    return getRecordDir(root) + kSeparator + kIndexDirName;
}

std::string BasicTool::getLockMarkerFile(std::string const& wholeDateDir) {
    return wholeDateDir + kSeparator + kLockMarkerName;
}

bool BasicTool::splitFilePathAndName(std::string const& whole, std::string& path,
                                     std::string& name) {
    std::size_t const slash = whole.rfind('/');
    if (slash == std::string::npos) {
        path.clear();
        name = whole;
        return false;
    }
    path = whole.substr(0, slash);
    name = whole.substr(slash + 1);
    return true;
}

bool BasicTool::getFilePath(std::string const& whole, std::string& path) {
    std::string name;
    return splitFilePathAndName(whole, path, name);
}

std::string BasicTool::getFilePath(std::string const& whole) {
    std::string path;
    getFilePath(whole, path);
    return path;
}

bool BasicTool::moveFileDurably(IDiskManager* disk, std::string const& from, std::string const& to) {
    if (disk == nullptr || disk->renameFile(from.c_str(), to.c_str()) == 0) return false;
    if (disk->syncDir(getFilePath(from).c_str()) && disk->syncDir(getFilePath(to).c_str())) return true;
    disk->renameFile(to.c_str(), from.c_str());
    return false;
}

// ---- numbers ----

bool BasicTool::getNumber(char c, int& number) {
    if (c < '0' || c > '9') return false;
    number = c - '0';
    return true;
}

bool BasicTool::getNumber(char const* text, unsigned int nStart, unsigned int nLength,
                          int& number) {
    if (text == nullptr || nLength == 0) return false;
    long long value = 0;
    for (unsigned int i = 0; i < nLength; ++i) {
        int digit = 0;
        if (!getNumber(text[nStart + i], digit)) return false;  // also stops at the end
        value = value * 10 + digit;
        if (value > INT_MAX) return false;
    }
    number = static_cast<int>(value);
    return true;
}

bool BasicTool::getNumber(std::string const& text, int& number) {
    return getNumber(text.c_str(), 0, static_cast<unsigned int>(text.size()), number);
}

int BasicTool::toInt(unsigned char const* bytes, int nLength) {
    return static_cast<int>(static_cast<unsigned int>(toLong(bytes, std::min(nLength, 4))));
}

long long BasicTool::toLong(unsigned char const* bytes, int nLength) {
    if (bytes == nullptr) return 0;
    unsigned long long value = 0;
    int const count = std::min(nLength, 8);
    for (int i = 0; i < count; ++i) value = (value << 8) | bytes[i];
    return static_cast<long long>(value);
}

void BasicTool::toBytes(unsigned char* bytes, long long value, int nLength) {
    if (bytes == nullptr) return;
    unsigned long long const bits = static_cast<unsigned long long>(value);
    for (int i = 0; i < nLength; ++i) {
        int const shift = 8 * (nLength - 1 - i);
        bytes[i] = shift < 64 ? static_cast<unsigned char>(bits >> shift) : 0;
    }
}

int BasicTool::toIntLE(unsigned char const* bytes, int nLength) {
    return static_cast<int>(static_cast<unsigned int>(toLongLE(bytes, std::min(nLength, 4))));
}

long long BasicTool::toLongLE(unsigned char const* bytes, int nLength) {
    if (bytes == nullptr) return 0;
    unsigned long long value = 0;
    int const count = std::min(nLength, 8);
    for (int i = 0; i < count; ++i) value |= static_cast<unsigned long long>(bytes[i]) << (8 * i);
    return static_cast<long long>(value);
}

void BasicTool::toBytesLE(unsigned char* bytes, long long value, int nLength) {
    if (bytes == nullptr) return;
    unsigned long long const bits = static_cast<unsigned long long>(value);
    for (int i = 0; i < nLength; ++i) {
        bytes[i] = i < 8 ? static_cast<unsigned char>(bits >> (8 * i)) : 0;
    }
}

bool BasicTool::checkIPAddress(char const* ip) {
    if (ip == nullptr) return false;
    int type = 0;
    return IPTool::checkIPAddress(ip, type);
}

// ---- lists ----

void BasicTool::sort(std::vector<std::string>& list, bool bAsc) {
    std::sort(list.begin(), list.end(), [bAsc](std::string const& a, std::string const& b) {
        int const order = std::strcmp(a.c_str(), b.c_str());
        return bAsc ? order < 0 : order > 0;
    });
}

bool BasicTool::isMatchDevice(DeviceDirParser& parser, std::string const& deviceId,
                              std::string const& deviceIP, int cameraId) {
    if (!parser.isParsed()) return false;
    if (!deviceId.empty() && parser.getDeviceId() != deviceId) return false;
    if (!deviceIP.empty() && parser.getDeviceIP() != getFileNameIP(deviceIP)) return false;
    if (cameraId >= 0 && parser.getCameraId() != cameraId) return false;
    return true;
}

bool BasicTool::isInCondition(std::string const& beginDate, std::string const& endDate,
                              std::string const& date) {
    if (date < beginDate) return false;
    if (endDate == kNoEndDate) return true;
    return !(endDate < date);
}

bool BasicTool::getMatchDeviceDirList(RecordDirInfoEx const& dirInfo, std::string const& type,
                                      std::string const& deviceId, std::string const& deviceIP,
                                      int cameraId, std::vector<std::string>& list) {
    IDiskManager* diskManager = NS_BasicTool::diskManagerOf(dirInfo);
    if (diskManager == nullptr) return false;

    if (!deviceId.empty() && !deviceIP.empty() && cameraId >= 0) {
        std::string const deviceDir = getDeviceDirString(deviceId, deviceIP, cameraId);
        std::string const whole = getWholeDeviceDir(dirInfo, type, deviceDir);
        if (diskManager->isDirExist(whole.c_str()) != 0) list.push_back(deviceDir);
        return true;
    }

    std::vector<std::string> names;
    std::string const typeDir = dirInfo.getRecordRootDir() + kSeparator + type;
    if (diskManager->getDirList(typeDir.c_str(), names) < 0) return false;
    for (std::string const& name : names) {
        DeviceDirParser parser;
        // A camera part that is no number ("<id>_<ip>_<n>_move") is no device.
        if (!parser.parse(name.c_str()) || parser.getCameraId() < 0) continue;
        if (isMatchDevice(parser, deviceId, deviceIP, cameraId)) list.push_back(name);
    }
    return true;
}

bool BasicTool::getRecordDateList(RecordDirInfoEx const& dirInfo, std::string const& type,
                                  std::string const& deviceDir, std::vector<std::string>& list) {
    IDiskManager* diskManager = NS_BasicTool::diskManagerOf(dirInfo);
    if (diskManager == nullptr) return false;
    std::vector<std::string> names;
    std::string const whole = getWholeDeviceDir(dirInfo, type, deviceDir);
    if (diskManager->getDirList(whole.c_str(), names) < 0) return false;
    for (std::string const& name : names) {
        if (isRecordDateValid(name.c_str())) list.push_back(name);
    }
    return true;
}

bool BasicTool::getMatchDateList(RecordDirInfoEx const& dirInfo, std::string const& type,
                                 std::string const& deviceDir, std::string const& beginDate,
                                 std::string const& endDate, std::vector<std::string>& list) {
    std::vector<std::string> dates;
    if (!getRecordDateList(dirInfo, type, deviceDir, dates)) return false;
    for (std::string const& date : dates) {
        if (isInCondition(beginDate, endDate, date)) list.push_back(date);
    }
    return true;
}
