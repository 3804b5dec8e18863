#include "diagnostics/check.h"
#include "vo_buffer_container.h"

namespace
{

typedef VOStringContainer::StringAlloc StringAlloc;

constexpr unsigned int kStringDataOffset = offsetof(StringAlloc, abData);

// A pool that ends in three zero bytes has an end for every text in it, whatever the text's alignment.
constexpr unsigned int kTailZeros = 3;

// A text goes into the buffer as by its Add, but for the byte behind it: a trace shows the same.
void TraceBufferAdd()
{
    VO_TRACE_LINE_("VOBufferContainer::Add", "pbArr");
    VO_TRACE_LINE_("VOBufferContainer::Add", "uSize");
}

}  // namespace

VOStringContainer::VOStringContainer() = default;
VOStringContainer::~VOStringContainer() = default;
VOStringContainer::VOStringContainer(const VOStringContainer& rkOther) = default;
VOStringContainer& VOStringContainer::operator=(const VOStringContainer& rkOther) = default;

void* VOStringContainer::Add(const VOWCHAR* pszString)
{
    void* hResult = INVALID_HANDLE_VALUE;
    const unsigned char* pbSource = reinterpret_cast<const unsigned char*>(pszString);
    const unsigned long long ullSize = lstrlenW(pszString) * 2ull + 2;
    if (pszString == nullptr)
    {
        // The buffer refuses it, and says so.
        return m_kBufferContainer.Add(nullptr, static_cast<unsigned int>(ullSize));
    }
    if (!VO_STEP_OR_FALSE(ullSize <= kVOMaxImageSize))
    {
        return INVALID_HANDLE_VALUE;
    }
    TraceBufferAdd();
    unsigned char* const pbEntry = m_kBufferContainer._AddEntry(pbSource, static_cast<unsigned int>(ullSize), hResult);
    if (pbEntry != nullptr)
    {
        // The byte that an entry has beyond its size is a zero here, instead of whatever follows the caller's text.
        memmove(pbEntry, pbSource, static_cast<size_t>(ullSize));
        pbEntry[ullSize] = 0;
    }
    return hResult;
}

const VOWCHAR* VOStringContainer::Get(void* hHandle) const
{
    return _Text(m_kBufferContainer.Get(hHandle));
}

const VOWCHAR* VOStringContainer::Get(unsigned int uIndex) const
{
    return _Text(m_kBufferContainer.Get(uIndex));
}

const VOWCHAR* VOStringContainer::_Text(const unsigned char* pbEntry) const
{
    if (pbEntry == nullptr)
    {
        return nullptr;
    }
    const unsigned char* pbEnd = m_kBufferContainer.m_pbBuffer + m_kBufferContainer.m_uBufferSize;
    const bool bTailTerminates = m_kBufferContainer.m_uBufferSize >= kTailZeros && pbEnd[-1] == 0 && pbEnd[-2] == 0 &&
                                 pbEnd[-3] == 0 && pbEnd - pbEntry >= static_cast<ptrdiff_t>(sizeof(VOWCHAR));
    if (!bTailTerminates)
    {
        // A pool of unknown making: look for the text's own end.
        const unsigned char* pbAt = pbEntry;
        while (pbEnd - pbAt >= static_cast<ptrdiff_t>(sizeof(VOWCHAR)) && VOLoad<uint16_t>(pbAt) != 0)
        {
            pbAt += sizeof(VOWCHAR);
        }
        if (pbEnd - pbAt < static_cast<ptrdiff_t>(sizeof(VOWCHAR)))
        {
            return nullptr;
        }
    }
    return reinterpret_cast<const VOWCHAR*>(pbEntry);
}

unsigned int VOStringContainer::Count() const
{
    return m_kBufferContainer.Count();
}

int VOStringContainer::ShrinkToFit()
{
    return m_kBufferContainer.ShrinkToFit();
}

int VOStringContainer::Clean()
{
    return m_kBufferContainer.CleanUp();
}

int VOStringContainer::Release()
{
    return m_kBufferContainer.Release();
}

void VOStringContainer::DropView()
{
    m_kBufferContainer.DropView();
}

unsigned int VOStringContainer::UsedSize() const
{
    return m_kBufferContainer.m_uBufferSize;
}

unsigned long long VOStringContainer::AllocSize() const
{
    return sizeof(StringAlloc) + m_kBufferContainer.AllocSize();
}

void VOStringContainer::WriteAlloc(unsigned char* pbTo) const
{
    const StringAlloc kHead = {VO_IMAGE_VERSION_1_0, static_cast<unsigned int>(m_kBufferContainer.AllocSize()), {}};
    memcpy(pbTo, &kHead, kStringDataOffset);
    m_kBufferContainer.WriteAlloc(pbTo + kStringDataOffset);
}

VOStringContainer::StringAlloc* VOStringContainer::GetAlloc() const
{
    return VOMakeImage<StringAlloc>(*this);
}

int VOStringContainer::SetAlloc(StringAlloc* pAlloc, int bCopy)
{
    return SetAlloc(pAlloc, bCopy, kVOUnbounded);
}

int VOStringContainer::SetAlloc(StringAlloc* pAlloc, int bCopy, unsigned long long ullLimit)
{
    if (pAlloc == nullptr || ullLimit < sizeof(StringAlloc) || !VOIsVersion(pAlloc->szVersion, VO_IMAGE_VERSION_1_0))
    {
        return 0;
    }
    unsigned char* pbBuffer = reinterpret_cast<unsigned char*>(pAlloc) + kStringDataOffset;
    Clean();
    return m_kBufferContainer.SetAlloc(reinterpret_cast<VOBufferContainer::BufferAlloc*>(pbBuffer), bCopy,
                                       VOLimitBehind(ullLimit, sizeof(StringAlloc)));
}
