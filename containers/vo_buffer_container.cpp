// Layout of the buffer: every entry takes its size and one byte more, without padding.
//
//   handle 0        handle 6
//   | e0 e0 e0 e0 e0 xx | e1 ... xx | ...             (entry 0 has 5 bytes)
//
// An insert may move the buffer; handles survive that, pointers from Get don't.
#include "vo_buffer_container.h"

#include <algorithm>
#include <functional>

#include "containers/handles.h"
#include "diagnostics/check.h"

namespace
{

typedef VOBufferContainer::BufferAlloc BufferAlloc;

constexpr unsigned int kBufferDataOffset = offsetof(BufferAlloc, abData);

}  // namespace

VOBufferContainer::VOBufferContainer() : m_pbBuffer(nullptr), m_uBufferSize(0), m_uBufferCapacity(0) {}

VOBufferContainer::~VOBufferContainer()
{
    Release();
}

VOImageBuffer<1> VOBufferContainer::_Buffer()
{
    return {m_pbBuffer, m_uBufferSize, m_uBufferCapacity};
}

// A copy owns its own buffer; the copy of a view is a view of the same image.
VOBufferContainer::VOBufferContainer(const VOBufferContainer& rkOther)
    : m_vecHandle(rkOther.m_vecHandle), m_pbBuffer(nullptr), m_uBufferSize(0), m_uBufferCapacity(0)
{
    _Buffer().CopyFrom(rkOther.m_pbBuffer, rkOther.m_uBufferSize, rkOther.m_uBufferCapacity);
}

VOBufferContainer& VOBufferContainer::operator=(const VOBufferContainer& rkOther)
{
    if (this != &rkOther)
    {
        VOBufferContainer copy(rkOther);
        _Buffer().Swap(copy._Buffer());
        m_vecHandle = copy.m_vecHandle;
    }
    return *this;
}

void* VOBufferContainer::Add(const unsigned char* pbArr, unsigned int uSize)
{
    void* hResult = INVALID_HANDLE_VALUE;
    unsigned char* const pbEntry = VO_STEP(pbArr) && VO_STEP(uSize) ? _AddEntry(pbArr, uSize, hResult) : nullptr;
    if (pbEntry != nullptr)
    {
        // One byte more than the caller named belongs to the entry.
        memmove(pbEntry, pbArr, uSize + 1ull);
    }
    return hResult;
}

unsigned char* VOBufferContainer::_AddEntry(const unsigned char*& rpbSource, unsigned int uSize, void*& rhHandle)
{
    const std::less<const unsigned char*> before;
    const bool bInside =
        m_pbBuffer != nullptr && !before(rpbSource, m_pbBuffer) && before(rpbSource, m_pbBuffer + m_uBufferSize);
    const size_t uInside = bInside ? static_cast<size_t>(rpbSource - m_pbBuffer) : 0;
    const unsigned long long ullStride = uSize + 1ull;
    const unsigned long long ullNewSize = m_uBufferSize + ullStride;
    rhHandle = INVALID_HANDLE_VALUE;
    if (!VO_STEP_OR_FALSE(ullNewSize <= kVOMaxImageSize))
    {
        return nullptr;
    }
    if (ullNewSize > m_uBufferCapacity)
    {
        // A view counts as empty in the rule of growth; what it holds is kept all the same.
        const unsigned long long ullWanted = (m_uBufferCapacity + ullStride) * 2;
        _ResizeBufferCapacity(static_cast<unsigned int>(std::clamp(ullWanted, ullNewSize, kVOMaxImageSize)));
    }

    rpbSource = bInside ? m_pbBuffer + uInside : rpbSource;
    unsigned char* const pbResult = m_pbBuffer + m_uBufferSize;
    rhHandle = HandleOf(m_uBufferSize);
    if (m_vecHandle.PushBack(rhHandle))
    {
        m_uBufferSize = static_cast<unsigned int>(ullNewSize);
    }
    return pbResult;
}

const unsigned char* VOBufferContainer::Get(void* hHandle) const
{
    if (hHandle == INVALID_HANDLE_VALUE || NumberOf(hHandle) >= m_uBufferSize || m_pbBuffer == nullptr)
    {
        return nullptr;
    }
    return m_pbBuffer + NumberOf(hHandle);
}

const unsigned char* VOBufferContainer::Get(unsigned int uIndex) const
{
    return uIndex < m_vecHandle.Count() ? Get(m_vecHandle[uIndex]) : nullptr;
}

unsigned int VOBufferContainer::Count() const
{
    return m_vecHandle.Count();
}

int VOBufferContainer::ShrinkToFit()
{
    return _ResizeBufferCapacity(m_uBufferSize) && m_vecHandle.ShrinkToFit();
}

int VOBufferContainer::CleanUp()
{
    _Buffer().Clean();
    m_vecHandle.Clean();
    return 1;
}

int VOBufferContainer::Release()
{
    _Buffer().Release();
    m_vecHandle.Release();
    return 1;
}

void VOBufferContainer::DropView()
{
    _Buffer().DropView();
    m_vecHandle.DropView();
}

int VOBufferContainer::_ResizeBufferCapacity(unsigned int uNewCapacity)
{
    if (uNewCapacity == 0)
    {
        return CleanUp();
    }
    _Buffer().SetCapacity(uNewCapacity);
    return 1;
}

unsigned long long VOBufferContainer::AllocSize() const
{
    return sizeof(BufferAlloc) + m_uBufferSize + m_vecHandle.AllocSize();
}

void VOBufferContainer::WriteAlloc(unsigned char* pbTo) const
{
    const unsigned int uHandleVectorSize = static_cast<unsigned int>(m_vecHandle.AllocSize());
    const BufferAlloc kHead = {
        VO_IMAGE_VERSION_1_0, m_uBufferSize, uHandleVectorSize, m_uBufferSize + uHandleVectorSize, {}};
    memcpy(pbTo, &kHead, kBufferDataOffset);
    if (m_uBufferSize != 0)
    {
        memcpy(pbTo + kBufferDataOffset, m_pbBuffer, m_uBufferSize);
    }
    m_vecHandle.WriteAlloc(pbTo + kBufferDataOffset + m_uBufferSize);
}

VOBufferContainer::BufferAlloc* VOBufferContainer::GetAlloc() const
{
    return VOMakeImage<BufferAlloc>(*this);
}

int VOBufferContainer::SetAlloc(BufferAlloc* pAlloc, int bCopy)
{
    return SetAlloc(pAlloc, bCopy, kVOUnbounded);
}

int VOBufferContainer::SetAlloc(BufferAlloc* pAlloc, int bCopy, unsigned long long ullLimit)
{
    if (pAlloc == nullptr || ullLimit < sizeof(BufferAlloc))
    {
        return 0;
    }
    const unsigned int uBufferSize = pAlloc->uBufferSize;
    const unsigned int uHandleVectorSize = pAlloc->uHandleVectorSize;
    const unsigned long long ullData = static_cast<unsigned long long>(uBufferSize) + uHandleVectorSize;
    if (!VOIsVersion(pAlloc->szVersion, VO_IMAGE_VERSION_1_0) || pAlloc->uDataBufSize != ullData ||
        ullData > ullLimit - sizeof(BufferAlloc))
    {
        return 0;
    }

    unsigned char* pbData = reinterpret_cast<unsigned char*>(pAlloc) + kBufferDataOffset;
    CleanUp();
    if (bCopy != 0)
    {
        _Buffer().Copy(pbData, uBufferSize);
    }
    else
    {
        Release();
        _Buffer().Take(pbData, uBufferSize);
    }

    // The handles' image is checked on its own; when it is damaged the container is left with the buffer alone.
    return m_vecHandle.SetAlloc(reinterpret_cast<const VORecordVectorAlloc*>(pbData + uBufferSize), bCopy,
                                uHandleVectorSize);
}
