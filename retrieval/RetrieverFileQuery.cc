#include "retrieval/RetrieverFileQuery.h"

#include <map>

namespace NS_RetrieverFileQuery {

constexpr int kMainStorageType = 0;

}  // namespace NS_RetrieverFileQuery

using namespace NS_RetrieverFileQuery;

bool RetrieverFileQuery::isSameRetrieverCache(RecordRetrieverCache const& cache, RecordDirInfoEx const& dir,
                                              std::string const& deviceDir, int nStorageType) {
    return cache.getRecordDirInfo() == dir && cache.getDeviceInfo() == deviceDir &&
           cache.getRecordStorageType() == nStorageType;
}

void RetrieverFileQuery::setRecordDirInfo(std::vector<RecordDirInfoEx> const& dirs) {
    std::vector<SafePointer<RecordRetrieverCache>> caches;
    for (RecordDirInfoEx const& dir : dirs) {
        for (std::string const& deviceDir : m_deviceList) {
            SafePointer<RecordRetrieverCache> cache;
            for (SafePointer<RecordRetrieverCache> const& kept : m_cacheList) {
                if (isSameRetrieverCache(*kept, dir, deviceDir, kMainStorageType)) {
                    cache = kept;
                    break;
                }
            }
            if (cache.isNull()) {
                cache = SafePointer<RecordRetrieverCache>(new RecordRetrieverCache(dir, deviceDir, kMainStorageType));
            }
            caches.push_back(cache);
        }
    }
    m_dirList = dirs;
    m_cacheList.swap(caches);
}

int RetrieverFileQuery::getRecordFileInfo(long long nTime, SafePointer<RecordFileInfo>& file, bool bForward) {
    std::map<long long, SafePointer<RecordFileInfo>> candidates;
    for (SafePointer<RecordRetrieverCache> const& cache : m_cacheList) {
        SafePointer<RecordFileInfo> found;
        int nRet = cache->getRecordFileInfo(nTime, found, bForward);
        if (nRet == 0) {
            file = found;
            return 1;
        }
        if (nRet < 0 || found.isNull()) continue;
        long long key = found->getRecordBeginTime() +
                        (bForward ? found->getActualBeginTimeOffset() : found->getActualEndTimeOffset());
        candidates.emplace(key, found);
    }
    if (candidates.empty()) return 0;
    file = bForward ? candidates.begin()->second : candidates.rbegin()->second;
    return 1;
}

SafePointer<RecordRetrieverCache> RetrieverFileQuery::findCache(RecordFileInfo const& file) {
    for (SafePointer<RecordRetrieverCache> const& cache : m_cacheList) {
        if (isSameRetrieverCache(*cache, file.getRecordDirInfoEx(), file.getDeviceDirName(),
                                 file.getRecordStorageType())) {
            return cache;
        }
    }
    return SafePointer<RecordRetrieverCache>();
}

int RetrieverFileQuery::getRecordFileIndexList(SafePointer<RecordFileInfo>& file, RecordIndexCache& cache,
                                               bool bIFrameOnly) {
    if (file.isNull()) return 0;
    SafePointer<RecordRetrieverCache> owner = findCache(*file);
    if (owner.isNull()) return 0;
    return owner->getRecordFileIndexList(*file, cache, bIFrameOnly);
}

void RetrieverFileQuery::deleteFile(SafePointer<RecordFileInfo>& file) {
    if (file.isNull()) return;
    SafePointer<RecordRetrieverCache> owner = findCache(*file);
    if (!owner.isNull()) owner->deleteFile(*file);
}

void RetrieverFileQuery::updateRecordCache() {
    for (SafePointer<RecordRetrieverCache> const& cache : m_cacheList) cache->setUpdateFlag(true);
}
