#include "disk/DataVersionInfo.h"

#include <cmath>

bool DataVersionInfo::isSameVersion(double a, double b) { return std::fabs(a - b) < 1e-6; }

void DataVersionInfo::addCompatibleDataVersion(double version) {
    if (!isInCompatibleList(version)) m_compatibleVersions.push_back(version);
}

void DataVersionInfo::addCompatibleDataVersionList(double const* versions, int count) {
    if (versions == nullptr) return;
    for (int i = 0; i < count; ++i) addCompatibleDataVersion(versions[i]);
}

bool DataVersionInfo::isInCompatibleList(double version) const {
    for (double known : m_compatibleVersions)
        if (isSameVersion(known, version)) return true;
    return false;
}
