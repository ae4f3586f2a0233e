#ifndef DIRECTORY_IFILEOPERATOR_H
#define DIRECTORY_IFILEOPERATOR_H

#include <string>

// What a directory operator does to the files of one date folder of a
// device, called once per date folder of a walk.
class IFileOperator {
public:
    virtual ~IFileOperator() = default;
    virtual int doAction(std::string const& dateDirPath, std::string const& recordFileName) = 0;
    // A second form for operators that work on the date and device folder
    // names; 0 where an operator has none.
    virtual int doActionEx(std::string const&, std::string const&) { return 0; }
};

#endif
