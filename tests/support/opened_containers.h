// The pools with their protected state readable, for tests of capacities and ownership.
#pragma once

#include <string.h>

#include "support/bytes.h"
#include "support/reference_images.h"
#include "vo_buffer_container.h"

namespace votest
{
inline uint64_t Number(const void* hHandle)
{
    return static_cast<uint64_t>(reinterpret_cast<uintptr_t>(hHandle));
}

inline void* Handle(uint64_t ullNumber)
{
    return reinterpret_cast<void*>(static_cast<uintptr_t>(ullNumber));
}

class OpenBuffer : public VOBufferContainer
{
public:
    using VOBufferContainer::_ResizeBufferCapacity;

    const unsigned char* Buffer() const { return m_pbBuffer; }
    unsigned int Used() const { return m_uBufferSize; }
    unsigned int Capacity() const { return m_uBufferCapacity; }
    unsigned int HandleCapacity() const { return m_vecHandle.Capacity(); }
    uint64_t HandleAt(unsigned int uIndex) const { return Number(m_vecHandle[uIndex]); }

    // Adds bytes with the one byte that has to be readable behind them.
    void* AddBytes(const Bytes& bytes, unsigned char uBehind = 0)
    {
        Bytes vecBytes = bytes;
        vecBytes.push_back(uBehind);
        return Add(vecBytes.data(), static_cast<unsigned int>(bytes.size()));
    }

    // The used bytes and the handles, as the formats have them.
    Bytes UsedBytes() const { return CopyBytes(m_pbBuffer, m_uBufferSize); }
};

// The whole image, its size taken from its own head.
inline Bytes ImageOf(const VOBufferContainer& container)
{
    unsigned char* pbAlloc = reinterpret_cast<unsigned char*>(container.GetAlloc());
    return TakeBytes(pbAlloc, pbAlloc == nullptr ? 0 : ReadU32(CopyBytes(pbAlloc, 20), 16) + 24);
}

inline Bytes ImageOf(const VOStringContainer& container)
{
    unsigned char* pbAlloc = reinterpret_cast<unsigned char*>(container.GetAlloc());
    return TakeBytes(pbAlloc, pbAlloc == nullptr ? 0 : ReadU32(CopyBytes(pbAlloc, 12), 8) + 16);
}
}  // namespace votest
