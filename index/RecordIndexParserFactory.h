#ifndef INDEX_RECORDINDEXPARSERFACTORY_H
#define INDEX_RECORDINDEXPARSERFACTORY_H

#include <memory>

#include "index/IRecordIndexInfoParser.h"

// Makes the item-area parser for the index version stored in an entry's
// head. Any thread.
class RecordIndexParserFactory {
public:
    // 0 gives V1, 1 gives V2, 2 and every other value V3. Never null.
    static std::unique_ptr<IRecordIndexInfoParser> createParser(int nVersion);
};

#endif
