#ifndef DISK_DATAVERSIONINFO_H
#define DISK_DATAVERSIONINFO_H

#include <vector>

// One layout version of the data on a disk: its number, how many channels a
// disk of that layout serves, and the older versions it can read.
class DataVersionInfo {
public:
    DataVersionInfo() = default;
    DataVersionInfo(double version, int maxAccessAbility) : m_dDataVersion(version), m_nMaxAccessAbility(maxAccessAbility) {}

    void setDataVersion(double version) { m_dDataVersion = version; }
    double getDataVersion() const { return m_dDataVersion; }
    void setMaxAccessAbility(int ability) { m_nMaxAccessAbility = ability; }
    int getMaxAccessAbility() const { return m_nMaxAccessAbility; }
    void addCompatibleDataVersion(double version);
    void addCompatibleDataVersionList(double const* versions, int count);
    void getCompatibleDataVersionList(std::vector<double>& versions) const { versions = m_compatibleVersions; }
    bool isInCompatibleList(double version) const;

    // Versions are written as decimal text ("2.0"); two that read back within
    // a millionth are one version.
    static bool isSameVersion(double a, double b);

private:
    double m_dDataVersion = 0.0;
    int m_nMaxAccessAbility = 0;
    std::vector<double> m_compatibleVersions;
};

#endif
