#include "recording/AVDataPackagerFactory.h"

#include "recording/ESToTSPackager.h"

bool AVDataPackagerFactory::create(DataPackageType type, SafePointer<IAVDataPackager>& packager) {
    if (type != DataPackageTS) return false;
    packager = SafePointer<IAVDataPackager>(new ESToTSPackager());
    return true;
}
