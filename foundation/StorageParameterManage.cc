#include "foundation/StorageParameterManage.h"

#include <cstdio>

#include "host/HostPaths.h"
#include "host/Property.h"

char const* const StorageParameterManage::kConfigFileName = "storageparam.ini";

StorageParameterManage::StorageParameterManage() { resetStorageParameter(); }

void StorageParameterManage::getParameters(Parameter (&parameters)[kParameterCount]) const {
    // The atomics are the object's own; const only promises not to change them here.
    auto* self = const_cast<StorageParameterManage*>(this);
    Parameter const table[kParameterCount] = {
        {"StorageThreadMaxManagerNumber", 1, &self->m_nThreadMaxManageNum},
        {"StorageThreadRunTimeInterval", 1000, &self->m_nThreadRunTimeInterval},
        {"RecordFileUsePercent", 100, &self->m_nRecordFileUsePercent},
        {"RecordFileUseMode", 1, &self->m_nRecordFileUseMode},
        {"IndexReadTimeout", 2000, &self->m_nIndexReadTimeout},
        {"RecordReadTimeout", 2000, &self->m_nRecordReadTimeout},
        {"TSPrintInterval", 600, &self->m_nTSPrintInterval},
        {"DualDiskStoragePolicy", 0, &self->m_nDualDiskStoragePolicy},
        {"DiskReferenceCountLimit", 16, &self->m_nDiskReferenceCountLimit},
        {"RecordFileSegmentSize", 256, &self->m_nRecordFileSegmentSize},
    };
    for (int i = 0; i < kParameterCount; ++i) parameters[i] = table[i];
}

std::string StorageParameterManage::getConfigFileName() {
    return HostPaths::getConfigDir() + "/" + kConfigFileName;
}

void StorageParameterManage::resetStorageParameter() {
    Parameter parameters[kParameterCount];
    getParameters(parameters);
    for (Parameter const& parameter : parameters) parameter.pValue->store(parameter.nDefault);
    m_bKeepSceneFlag.store(false);
}

bool StorageParameterManage::initStorageParameter() {
    Property property(getConfigFileName());
    if (!property.open()) return false;
    Parameter parameters[kParameterCount];
    getParameters(parameters);
    for (Parameter const& parameter : parameters) {
        int value = parameter.pValue->load();
        if (property.get(parameter.pszKey, value)) parameter.pValue->store(value);
    }
    property.close();
    printStorageParameter();
    return true;
}

void StorageParameterManage::printStorageParameter() const {
    Parameter parameters[kParameterCount];
    getParameters(parameters);
    for (Parameter const& parameter : parameters) {
        std::printf("StorageParameterManage: %s = %d\n", parameter.pszKey, parameter.pValue->load());
    }
    std::printf("StorageParameterManage: KeepSceneFlag = %d\n", m_bKeepSceneFlag.load() ? 1 : 0);
}
