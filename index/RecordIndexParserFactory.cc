#include "index/RecordIndexParserFactory.h"

#include "index/RecordIndexCodec.h"
#include "index/RecordIndexInfoParserV1.h"
#include "index/RecordIndexInfoParserV2.h"
#include "index/RecordIndexInfoParserV3.h"

std::unique_ptr<IRecordIndexInfoParser> RecordIndexParserFactory::createParser(int nVersion) {
    if (nVersion == RecordIndexCodec::kIndexVersion1) {
        return std::unique_ptr<IRecordIndexInfoParser>(new RecordIndexInfoParserV1());
    }
    if (nVersion == RecordIndexCodec::kIndexVersion2) {
        return std::unique_ptr<IRecordIndexInfoParser>(new RecordIndexInfoParserV2());
    }
    return std::unique_ptr<IRecordIndexInfoParser>(new RecordIndexInfoParserV3());
}
