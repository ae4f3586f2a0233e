#ifndef DIRECTORY_RECORDSTATDIR_H
#define DIRECTORY_RECORDSTATDIR_H

#include <string>
#include <vector>

#include "directory/NasDirDeviceRecordStatInfo.h"
#include "directory/RecordStatFile.h"
#include "foundation/RecordInfo.h"
#include "foundation/SafePointer.h"
#include "host/IFileScanAction.h"
#include "host/OVMutex.h"

class RecordDeviceDirPolicy;

// The folder "stat" of a share where every recorder that uses the share
// keeps one stat file per channel, and the table of what was read there.
// The own list is this recorder's channels (written by it only); the scan
// list is everybody else's, as the last scan found it. From both it decides
// which own channels give way when the share is full: those that hold at
// least as many days as the best of the others.
//
// The status thread of the directory calls init, uninit, scanStatDir,
// refreshStatFile, updateStatFile and updateStatFileId; reclaiming threads
// getNeedDelRecordDeviceList. Each list's mutex covers only memory: the
// files are read and written from copies.
class RecordStatDir {
public:
    // path is the directory's root; the folder is path + "/stat".
    explicit RecordStatDir(std::string const& path);

    // Makes the folder if it is missing; false if that fails.
    bool init(int diskType, int format);
    // Empties both lists and deletes this recorder's stat files.
    void uninit();

    // Reads every other recorder's stat file; a file whose update time did
    // not move since the last scan marks its channel inactive.
    void scanStatDir();
    // Writes every own entry; stops at the first failure (tried next round).
    // 0, or the failure.
    int refreshStatFile();
    // Takes over a new own list (update times carried over), deletes the
    // files of channels that left and writes the rest.
    int updateStatFile(std::vector<NasDirDeviceRecordStatInfo>& list);
    // Moves every own update time on, so that others see this recorder live.
    void updateStatFileId();
    // The matching entry's update time + 1, or 1 for a new channel.
    static std::uint64_t generateUpdateId(NasDirDeviceRecordStatInfo const& info,
                                          std::vector<NasDirDeviceRecordStatInfo> const& list);
    // The policies name other channels than the own list, or other save days.
    bool isDevicePolicyChanged(std::vector<RecordDeviceDirPolicy> const& policies);
    int getDeviceCount();
    // Own channels with days in hand and no fewer than the best active other
    // recorder's: they give way first.
    void getNeedDelRecordDeviceList(std::vector<RecordDeviceInfo>& out);

    std::vector<NasDirDeviceRecordStatInfo> getScanList();
    std::vector<NasDirDeviceRecordStatInfo> getOwnList();
    std::string const& getStatPath() const { return m_strStatPath; }

    // A stat record's device id for a channel: its device folder without
    // the camera, "<id>_<ip>".
    static std::string toStatDeviceId(RecordDeviceInfo const& device);

private:
    void updateDeviceStatInfoList(std::vector<NasDirDeviceRecordStatInfo> const& found);

    std::string m_strStatPath;
    SafePointer<RecordStatFile> m_statFile;
    int m_nDiskType = 4;
    int m_nFormat = 0;
    std::vector<NasDirDeviceRecordStatInfo> m_scanList;  // guarded by m_scanMutex
    std::vector<NasDirDeviceRecordStatInfo> m_ownList;   // guarded by m_ownMutex
    OVMutex m_scanMutex;
    OVMutex m_ownMutex;
};

// Counts the record files ("*.ts*") a scan passes; the owner resets it.
class RecordFileNumberStat : public IFileScanAction {
public:
    void doAction(char const* name) override;
    int getCount() const { return m_nCount; }
    void reset() { m_nCount = 0; }

private:
    int m_nCount = 0;
};

#endif
