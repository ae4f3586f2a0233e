#ifndef DIRECTORY_RECORDSTATFILE_H
#define DIRECTORY_RECORDSTATFILE_H

#include <string>

#include "directory/NasDirDeviceRecordStatInfo.h"

// The stat files of one share's stat folder: one 64-byte file per channel,
// named "<device id>_<camera>", little-endian (docs/stat-file.md). Each file
// has one writer, the recorder of its channel; any recorder reads it.
// Stateless past init: any thread.
class RecordStatFile {
public:
    static constexpr int kFileSize = 64;
    static constexpr int kDataSize = 12;  // update time 8, save days 2, useable days 2
    static char const* const kTempSuffix;  // "_bak"

    explicit RecordStatFile(std::string const& statPath) : m_strStatPath(statPath) {}

    // Keeps the disk type and format the files are opened with; 1.
    int init(int diskType, int format);

    // The record's bytes, its update time + 1, into buffer; -1 when size is
    // under kDataSize, else 0. Bytes past the fields are left as they are.
    static int persistStatData(NasDirDeviceRecordStatInfo const& info, char* buffer, int size);
    // The reverse, the update time as stored; -1 (record unchanged) when
    // size is under kDataSize, else 0.
    static int parseStatData(char const* buffer, int size, NasDirDeviceRecordStatInfo& info);

    // Writes the channel's file: in place when it exists, else by
    // createStatFile. 0, or -1 on failure.
    int updateDeviceStatInfo(NasDirDeviceRecordStatInfo const& info);
    // Reads the file of the record's device and camera into it; 0, or -1
    // with the record as it was.
    int getDeviceStatInfo(NasDirDeviceRecordStatInfo& info);
    // Writes path + "_bak", then renames it to path: a reader never meets a
    // new stat file half-written. 0, or -1.
    int createStatFile(std::string const& path, char* data, int size);
    // Deletes the channel's file; whether it is gone.
    bool deleteStatFile(NasDirDeviceRecordStatInfo const& info);

    // Whole-file I/O through the host's file object (open mode 4 to write,
    // 1 to read), the written bytes flushed. 0, or -1 (errors raised by the
    // file count as failure).
    int writeFileData(std::string const& path, char* data, int size);
    int readFileData(std::string const& path, char* data, int size);

    std::string getStatFilePath(NasDirDeviceRecordStatInfo const& info) const;
    // "<device id>_<camera>".
    static std::string getStatFileName(std::string const& deviceId, int cameraId);

private:
    std::string m_strStatPath;
    int m_nDiskType = 4;
    int m_nFormat = 0;
};

#endif
