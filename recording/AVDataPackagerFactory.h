#ifndef RECORDING_AVDATAPACKAGERFACTORY_H
#define RECORDING_AVDATAPACKAGERFACTORY_H

#include "foundation/SafePointer.h"
#include "recording/IAVDataPackager.h"

// Makes the packager of a package type. Any thread.
class AVDataPackagerFactory {
public:
    // DataPackageTS gives a new ESToTSPackager and true; any other type
    // leaves `packager` alone and answers false.
    static bool create(DataPackageType type, SafePointer<IAVDataPackager>& packager);
};

#endif
