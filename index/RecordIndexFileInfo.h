#ifndef INDEX_RECORDINDEXFILEINFO_H
#define INDEX_RECORDINDEXFILEINFO_H

// The index version of an entry as its head stores it (0 V1, 1 V2, 2 V3).
class RecordIndexFileInfo {
public:
    void setIndexVersion(int nVersion) { m_nIndexVersion = nVersion; }
    int getIndexVersion() const { return m_nIndexVersion; }

private:
    int m_nIndexVersion = 0;
};

#endif
