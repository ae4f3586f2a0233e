#ifndef INDEX_RECORDCRC32_H
#define INDEX_RECORDCRC32_H

#include <cstdint>

#include "foundation/Singlton.h"

// CRC of the record index (docs/record-index.md): polynomial 0x04C11DB7, most
// significant bit first, start value 0xFFFFFFFF, no reflection and no final
// XOR (CRC-32/MPEG-2). The table is built once, in the constructor of the
// singleton; after that any thread may call.
class RecordCrc32 : public Singlton<RecordCrc32> {
public:
    static constexpr std::uint32_t kPolynomial = 0x04C11DB7u;
    static constexpr std::uint32_t kInitialValue = 0xFFFFFFFFu;

    // CRC of nLength bytes; 0xFFFFFFFF for none (or a null buffer).
    std::uint32_t getCrc32(unsigned char const* data, int nLength) const;
    std::uint32_t getCrc32(char const* data, int nLength) const {
        return getCrc32(reinterpret_cast<unsigned char const*>(data), nLength);
    }

private:
    friend class Singlton<RecordCrc32>;
    RecordCrc32();

    std::uint32_t m_szTable[256];  // immutable after construction
};

#endif
