#ifndef TESTS_SUPPORT_FAULTINJECTINGFILE_H
#define TESTS_SUPPORT_FAULTINJECTINGFILE_H

#include <memory>
#include <string>

#include "host/PosixFile.h"
#include "tests/support/FaultPlan.h"

// A PosixFile that obeys a FaultPlan and keeps the undo log for power cuts.
class FaultInjectingFile : public IFile {
public:
    explicit FaultInjectingFile(std::shared_ptr<FaultPlan> plan);

    bool open(char const* name, int mode) override;
    void close() override;
    int read(char* buffer, int length) override;
    int write(char const* buffer, int length) override;
    bool seek(long long offset, int whence) override;
    long long getLength() override;
    bool flush() override;

private:
    std::shared_ptr<FaultPlan> m_pPlan;
    PosixFile m_file;
    FaultPlan::FileKey m_key;
    bool m_bShadowed = false;  // opened for writing and known to the plan
};

#endif
