#ifndef FOUNDATION_BASICTOOL_H
#define FOUNDATION_BASICTOOL_H

#include <string>
#include <vector>

#include "foundation/DeviceDirParser.h"

class IDiskManager;

struct OVDateTime;
class RecordDirInfoEx;

// The one home of the on-disk tree and of the grammar of its names:
//
//   <root>/record                              recordings
//   <root>/record/empty                        pool of preallocated empty files
//   <root>/record/recycleBin                   reclaimed files waiting for reuse
//   <root>/record/Index                        pool of empty index files
//   <root>/record/<device dir>/<date>/<file>   one channel's day
//   <root>/record/<device dir>/<date>/record.lock   marker: date holds locked files
//   <root>/snapshot/<device dir>/<date>/<file> snapshots
//
//   device dir   "<id>_<ip>_<camera>"      ip with ":" written as "-"
//   date dir     "YYYY-MM-DD"              local time
//   record file  "NNNNN-<id>_<ip>_<camera>_YYYYMMDDhhmmss.ts"  (numbered)
//                "<id>_<ip>_<camera>_YYYYMMDDhhmmss.ts"        (unnumbered)
//   locked file  record file name + "&"
//
// Stateless; every function may be called from any thread.
class BasicTool {
public:
    static std::string const kSeparator;           // "/"
    static std::string const kRecordDirName;       // "record"
    static std::string const kSnapshotDirName;     // "snapshot"
    static std::string const kEmptyDirName;        // "empty"
    static std::string const kRecycleBinDirName;   // "recycleBin"
    static std::string const kIndexDirName;        // "Index"
    static std::string const kLockMarkerName;      // "record.lock"
    static std::string const kRecordFileExtension; // ".ts"
    static std::string const kLockedSuffix;        // "&"
    static std::string const kNoEndDate;           // "1970-01-01": no upper limit
    static std::string const kMovedDeviceSuffix;   // "_move": a device folder being wiped

    // ---- dates ----
    // "YYYY-MM-DD" of local time.
    static std::string getDateString(long long seconds);
    // The last date of a range that ends at `seconds`; an end of 0 is open
    // and gives "1970-01-01", which isInCondition reads as no limit.
    static std::string getEndDateString(long long seconds);
    static std::string getDateString(OVDateTime& dateTime);
    // Date of the begin time in a record or snapshot file name (the 14 digits
    // behind the last "_"); empty when the name does not carry one.
    static std::string getDateString(std::string const& fileName);
    static std::string getCurrentString();
    // True when "%4d-%2d-%2d" reads three numbers. No range test: 2024-13-99
    // passes, as old trees may hold such folders and they must stay visible.
    static bool isRecordDateValid(char const* date);
    // Sets only year, month and day; false unless three numbers parse.
    static bool getDateByDateString(std::string const& date, OVDateTime& dateTime);

    // ---- names ----
    // "<id>_<ip>_<camera>", ":" in the IP written as "-"; the camera number is
    // printed into at most 6 characters.
    static std::string getDeviceDirString(std::string const& deviceId, std::string const& deviceIP,
                                          int cameraId);
    // ":" to "-", the form an IP takes in every name of the tree.
    static std::string getFileNameIP(std::string const& deviceIP);
    // Numbered "%05d-%s_%s_%d_%s.ts" when nFileNumber >= 0, else unnumbered.
    // Callers decide which number to pass; the IP is written as in a device dir.
    static std::string getRecordFileName(int nFileNumber, std::string const& deviceId,
                                         std::string const& deviceIP, int cameraId,
                                         unsigned long beginTime);
    // "<id>_<ip>_<camera>_<time><extension>"; extension with its dot (".mjpeg").
    static std::string getSnapshotFileName(std::string const& deviceId, std::string const& deviceIP,
                                           int cameraId, std::string const& time,
                                           std::string const& extension);
    // Locking is a rename: "x.ts" becomes "x.ts&". Both spellings must be
    // looked for wherever a record file is searched ("*.ts*").
    static std::string getLockedFileName(std::string const& recordFileName);
    // The name with a trailing "&" removed; other names unchanged.
    static std::string getUnlockedFileName(std::string const& recordFileName);
    // True if the name contains ".ts&" anywhere.
    static bool isFileLocked(char const* fileName);
    static bool isFileLocked(std::string const& fileName);
    // Digits before the first "-"; number = -1 and false when there is no "-"
    // or a non-digit stands before it. Any later "-" (IPv6) is ignored.
    static bool getFileNumber(std::string const& name, int& number);

    // ---- paths ----
    // root/type/deviceDir; type is kRecordDirName or kSnapshotDirName.
    static std::string getWholeDeviceDir(RecordDirInfoEx const& dirInfo, std::string const& type,
                                         std::string const& deviceDir);
    // root/type/deviceDir/date
    static std::string getWholeDateDir(RecordDirInfoEx const& dirInfo, std::string const& type,
                                       std::string const& deviceDir, std::string const& date);
    // root/record|snapshot/deviceDir/date/fileName: nType 1 is "record", any
    // other "snapshot".
    static std::string createWholeFileName(int nType, std::string const& root,
                                           std::string const& deviceDir, std::string const& date,
                                           std::string const& fileName);
    static std::string getRecordDir(std::string const& root);            // root/record
    static std::string getRecordEmptyDir(std::string const& root);       // root/record/empty
    static std::string getRecordRecycleBinDir(std::string const& root);  // root/record/recycleBin
    static std::string getRecordIndexDir(std::string const& root);       // root/record/Index
    // dateDir/record.lock
    static std::string getLockMarkerFile(std::string const& wholeDateDir);
    // Cut at the last "/": "a/b/c" gives "a/b" and "c". Without "/" the path
    // is empty, the name is the whole text, and the result false.
    static bool splitFilePathAndName(std::string const& whole, std::string& path,
                                     std::string& name);
    static bool getFilePath(std::string const& whole, std::string& path);
    // The folder part of `whole`; empty without "/".
    static std::string getFilePath(std::string const& whole);
    // Renames `from` to `to` and makes it durable: the old folder is synced
    // first (a file system without a journal could keep both names and give
    // the same blocks twice), then the new one. A rename that can't be made
    // durable is put back, so the caller's view matches what a restart finds.
    static bool moveFileDurably(IDiskManager* disk, std::string const& from, std::string const& to);

    // ---- numbers ----
    // Decimal digits to int; false on any other character, on no digits, or
    // above INT_MAX. The value is left alone on failure.
    static bool getNumber(char c, int& number);
    static bool getNumber(char const* text, unsigned int nStart, unsigned int nLength,
                          int& number);
    static bool getNumber(std::string const& text, int& number);

    // Big-endian integers of nLength bytes (toInt up to 4, toLong up to 8;
    // longer lengths read the first bytes only). The record index, stat and
    // snapshot files are little-endian: they use the LE forms below.
    static int toInt(unsigned char const* bytes, int nLength);
    static long long toLong(unsigned char const* bytes, int nLength);
    static void toBytes(unsigned char* bytes, long long value, int nLength);
    // Little-endian: least significant byte first.
    static int toIntLE(unsigned char const* bytes, int nLength);
    static long long toLongLE(unsigned char const* bytes, int nLength);
    static void toBytesLE(unsigned char* bytes, long long value, int nLength);

    static bool checkIPAddress(char const* ip);

    // ---- lists ----
    // In place, by strcmp of the text; date dirs sort correctly as text.
    static void sort(std::vector<std::string>& list, bool bAsc);
    // Empty id or ip match everything; camera < 0 matches any camera. The ip
    // may be given with ":"; it is compared in its file-name form.
    static bool isMatchDevice(DeviceDirParser& parser, std::string const& deviceId,
                              std::string const& deviceIP, int cameraId);
    // beginDate <= date, and date <= endDate unless endDate is "1970-01-01".
    static bool isInCondition(std::string const& beginDate, std::string const& endDate,
                              std::string const& date);

    // Device dirs under root/type that match (see isMatchDevice). With id, ip
    // and a camera >= 0 the name is built and only its existence is tested.
    // False when root/type cannot be listed (or, for the built name, when the
    // disk manager is missing); true with a possibly empty list otherwise.
    // Names are appended; the list is not cleared.
    static bool getMatchDeviceDirList(RecordDirInfoEx const& dirInfo, std::string const& type,
                                      std::string const& deviceId, std::string const& deviceIP,
                                      int cameraId, std::vector<std::string>& list);
    // Date folders of root/type/deviceDir that pass isRecordDateValid;
    // false when the folder cannot be listed.
    static bool getRecordDateList(RecordDirInfoEx const& dirInfo, std::string const& type,
                                  std::string const& deviceDir, std::vector<std::string>& list);
    // getRecordDateList, kept to those in [beginDate, endDate] (isInCondition).
    static bool getMatchDateList(RecordDirInfoEx const& dirInfo, std::string const& type,
                                 std::string const& deviceDir, std::string const& beginDate,
                                 std::string const& endDate, std::vector<std::string>& list);
};

#endif
