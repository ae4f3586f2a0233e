#include "snapshot/SnapshotImageReader.h"

#include <algorithm>
#include <cstdio>

#include "foundation/ReturnCode.h"
#include "host/FileFactory.h"

bool SnapshotImageReader::open(RecordDirInfoEx const& dir, std::string const& path, long long pos,
                               long long length) {
    close();
    m_file = FileFactory::createFile(dir.getDiskType(), dir.getFileSystemFormat());
    if (m_file.isNull() || !m_file->open(path.c_str(), IFile::kModeRead) || !m_file->seek(pos, SEEK_SET)) {
        close();
        return false;
    }
    if (length < 0) length = m_file->getLength() - pos;
    if (length < 0) {
        close();
        return false;
    }
    m_nImageLength = static_cast<int>(length);
    m_nReadLength = 0;
    return true;
}

int SnapshotImageReader::read(char* buffer, int nLength) {
    if (m_file.isNull()) return OV_RECORD_PICTURE_NOT_OPEN;
    if (m_nReadLength >= m_nImageLength) return 0;
    int const n = m_file->read(buffer, std::min(nLength, m_nImageLength - m_nReadLength));
    if (n > 0) m_nReadLength += n;
    return n;
}

void SnapshotImageReader::close() {
    if (!m_file.isNull()) m_file->close();
    m_file = SafePointer<IFile>();
    m_nImageLength = 0;
    m_nReadLength = 0;
}
