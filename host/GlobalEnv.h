#ifndef HOST_GLOBALENV_H
#define HOST_GLOBALENV_H

#include <atomic>

// Process-wide switches of the host. The print flag says whether progress
// lines go to standard output; it is false unless RECSTORE_PRINT=1 is in the
// environment at first use, or setPrintFlag turns it on. Any thread.
class GlobalEnv {
public:
    // Lives until process end.
    static GlobalEnv* getInstance();

    bool getPrintFlag() const { return m_bPrintFlag.load(std::memory_order_relaxed); }
    void setPrintFlag(bool flag) { m_bPrintFlag.store(flag, std::memory_order_relaxed); }
    // printf to standard output when the print flag is on.
    static void print(char const* format, ...) __attribute__((format(printf, 1, 2)));

private:
    GlobalEnv();

    std::atomic<bool> m_bPrintFlag;
};

#endif
