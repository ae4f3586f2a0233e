#include "snapshot/SnapshotRetriever.h"

#include "foundation/OVRuntimeError.h"
#include "foundation/ReturnCode.h"
#include "host/GlobalEnv.h"
#include "host/Logger.h"
#include "host/OVTime.h"
#include "snapshot/SnapshotRetrieverImplEx.h"

namespace NS_SnapshotRetriever {
template <typename Call>
int guarded(Call const& call, int line) {
    try {
        return call();
    } catch (OVRuntimeError const& error) {
        Logger::writeLog("RecordIOError", error.what(), __FILE__, line);
        return OV_RECORD_IO_ERROR;
    }
}
}  // namespace NS_SnapshotRetriever

using NS_SnapshotRetriever::guarded;

std::vector<RecordDirInfoEx> SnapshotRetriever::m_SnapshotDisableDirList;

SnapshotRetriever::SnapshotRetriever() : m_pImpl(new SnapshotRetrieverImplEx()) {}

SnapshotRetriever::~SnapshotRetriever() { delete m_pImpl; }

void SnapshotRetriever::setSnapshotDirList(std::vector<RecordDirInfo> const& dirs) {
    std::vector<RecordDirInfoEx> enabled;
    std::vector<RecordDirInfoEx> disabled;
    for (RecordDirInfo const& dir : dirs)
        (dir.getEnableFlag() ? enabled : disabled).push_back(RecordDirInfoEx::changeToRecordDirInfoEx(dir));
    SnapshotRetrieverImplEx::setDirLists(enabled, disabled);
}

int SnapshotRetriever::query(SnapshotQueryCondition const& condition, std::vector<SnapshotFile>& list) {
    return guarded(
        [&] {
            double const begin = OVTime::getUpTime();
            int const code = m_pImpl->query(condition, list);
            GlobalEnv::print("query wasteTime = %ld ms,FileSize:%d\n",
                             static_cast<long>((OVTime::getUpTime() - begin) * 1000), static_cast<int>(list.size()));
            return code;
        },
        __LINE__);
}

int SnapshotRetriever::open(char const* name) {
    return guarded([&] { return m_pImpl->open(name); }, __LINE__);
}

int SnapshotRetriever::read(char* buffer, int nLength) {
    return guarded([&] { return m_pImpl->read(buffer, nLength); }, __LINE__);
}

int SnapshotRetriever::close() {
    return guarded(
        [&] {
            m_pImpl->close();
            return 0;
        },
        __LINE__);
}

int SnapshotRetriever::deleteSnapshotFile(SnapshotQueryCondition const& condition) {
    return guarded([&] { return m_pImpl->deleteSnapshotFile(condition); }, __LINE__);
}

int SnapshotRetriever::deleteSnapshotFile(std::vector<std::string> const& names) {
    return guarded([&] { return m_pImpl->deleteSnapshotFile(names); }, __LINE__);
}
