// Fuzzes the readers of the configuration files people edit by hand: the
// "key=value" files (storageparam.ini, TSFrameQueueConfig.ini) and the XML
// files (FileLockConfigure.xml, DataVersionInfoConfigure.xml). Any input
// must give values or defaults, never a crash; what the XML writer makes of
// a parsed tree must parse again to the same text.

#include <cstdint>
#include <stdlib.h>

#include <string>

#include "host/HostPaths.h"
#include "host/Property.h"
#include "host/XmlCodec.h"
#include "host/XmlConfigureNode.h"

#define FUZZ_CHECK(condition)               \
    do {                                    \
        if (!(condition)) __builtin_trap(); \
    } while (0)

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // Malformed values are logged: into a folder of this run, not the recorder's.
    char folder[] = "/tmp/config_fuzz.XXXXXX";
    if (mkdtemp(folder) != nullptr) HostPaths::setRoot(folder);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
    std::string const text(reinterpret_cast<char const*>(data), size);

    Property property("fuzz.ini");
    property.parse(text);
    for (char const* key : {"RecordFileUsePercent", "MaxChunnelAbility04", "RecordFileSegmentSize", ""}) {
        int value = -12345;
        if (!property.get(key, value)) FUZZ_CHECK(value == -12345);
        std::string raw;
        property.getString(key, raw);
    }

    XmlConfigureNode root;
    std::string error;
    if (XmlCodec::parse(text, root, &error)) {
        std::string const once = XmlCodec::format(root);
        XmlConfigureNode again;
        FUZZ_CHECK(XmlCodec::parse(once, again, &error));
        FUZZ_CHECK(XmlCodec::format(again) == once);
    }
    return 0;
}
