#include "foundation/ReturnCode.h"
#include "retrieval/RecordRetrieverImpl.h"

int RecordRetrieverImpl::open(RecordInfo const&, bool) { return OV_RECORD_NOT_OPEN; }
int RecordRetrieverImpl::read(char*, int) { return OV_RECORD_NOT_OPEN; }
int RecordRetrieverImpl::locateTime(unsigned long) { return OV_RECORD_NOT_OPEN; }
int RecordRetrieverImpl::locateNextIFrame() { return OV_RECORD_NOT_OPEN; }
int RecordRetrieverImpl::locatePreIFrame() { return OV_RECORD_NOT_OPEN; }
int RecordRetrieverImpl::locatePreIFrame(unsigned long) { return OV_RECORD_NOT_OPEN; }
int RecordRetrieverImpl::close() { return 0; }
