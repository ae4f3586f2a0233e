#include "host/GlobalEnv.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

GlobalEnv::GlobalEnv() : m_bPrintFlag(false) {
    char const* env = std::getenv("RECSTORE_PRINT");
    if (env != nullptr && std::strcmp(env, "1") == 0) m_bPrintFlag.store(true);
}

GlobalEnv* GlobalEnv::getInstance() {
    static GlobalEnv* instance = new GlobalEnv();
    return instance;
}

void GlobalEnv::print(char const* format, ...) {
    if (!getInstance()->getPrintFlag()) return;
    va_list args;
    va_start(args, format);
    std::vprintf(format, args);
    va_end(args);
}
