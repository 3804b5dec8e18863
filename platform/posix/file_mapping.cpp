// Sections as handles and views.
//
// One Section stands for one object that this process has open for one kind of access: every handle and every view of
// it shares its mapping. The descriptor is closed at the first mapping, so an open section costs address space and
// nothing else. The mapping goes when no handle and no view is left.
#include <unistd.h>

#include <tuple>
#include <utility>

#include "platform/fault_points.h"
#include "platform/posix/kernel.h"
#include "platform/posix/section_object.h"
#include "platform/vo_owners.h"

namespace
{
// Which object, of which size, for which access. As long as a Section lives, the object it stands for does, so its
// number isn't given to another one.
typedef std::tuple<dev_t, ino_t, off_t, Mapping::Kind> SectionKey;

class Section : public KernelObject
{
public:
    Section(const SectionKey& key, Descriptor descriptor) : m_key(key), m_descriptor(std::move(descriptor)) {}
    ~Section() override;

    // Under the lock of the sections.
    bool EnsureMapped();

    Mapping::Kind Kind() const { return std::get<Mapping::Kind>(m_key); }
    char* Begin() const { return static_cast<char*>(m_mapping.Data()); }
    size_t Size() const { return m_mapping.Size(); }

    HANDLE m_hSection = nullptr;  // the handle it was given last, open or not; under the lock of the sections

private:
    SectionKey m_key;
    Descriptor m_descriptor;  // until it is mapped
    Mapping m_mapping;
};

struct View
{
    std::shared_ptr<Section> pSection;
    uint64_t uMaps = 0;
};

struct SectionTable
{
    std::mutex lock;
    std::map<SectionKey, std::weak_ptr<Section>> mapSections;
    std::map<const char*, View> mapViews;  // by address
};

// Never destroyed: threads may still use sections while the process ends.
SectionTable& Sections()
{
    static VONeverDestroyed<SectionTable> s_table;
    return s_table.Get();
}

Section::~Section()
{
    SectionTable& table = Sections();
    const KernelLock guard(table.lock);
    const auto place = table.mapSections.find(m_key);
    // In the meantime another thread may have opened the object anew under the same key.
    if (place != table.mapSections.end() && place->second.expired())
    {
        table.mapSections.erase(place);
    }
}

bool Section::EnsureMapped()
{
    if (m_mapping.Data() != nullptr)
    {
        return true;
    }
    const size_t uSize = static_cast<size_t>(std::get<off_t>(m_key));
    if (uSize == 0)
    {
        return FailCall(ERROR_FILE_INVALID);
    }
    if (!m_mapping.Map(m_descriptor.Get(), uSize, Kind()))
    {
        return FailCall(ErrorFromErrno(errno));
    }
    m_descriptor.Reset();
    return true;
}

SectionKey KeyOf(const struct stat& info, Mapping::Kind eKind)
{
    return SectionKey(info.st_dev, info.st_ino, info.st_size, eKind);
}

std::shared_ptr<Section> FindSection(SectionTable& table, const SectionKey& key)
{
    const auto place = table.mapSections.find(key);
    return place != table.mapSections.end() ? place->second.lock() : nullptr;
}

// A copied one is its opener's alone.
void EnterSection(SectionTable& table, const SectionKey& key, const std::shared_ptr<Section>& pSection)
{
    if (pSection->Kind() != Mapping::Kind::Copied)
    {
        table.mapSections[key] = pSection;
    }
}

bool IsAccess(DWORD uAccess)
{
    return uAccess == FILE_MAP_READ || uAccess == FILE_MAP_WRITE || uAccess == FILE_MAP_COPY;
}

Mapping::Kind KindOf(DWORD uAccess)
{
    return uAccess == FILE_MAP_WRITE  ? Mapping::Kind::Write
           : uAccess == FILE_MAP_COPY ? Mapping::Kind::Copied
                                      : Mapping::Kind::Read;
}

// The section behind a path: the one already open, or a new one. Null with errno set.
std::shared_ptr<Section> OpenSection(const std::string& strPath, Mapping::Kind eKind)
{
    SectionTable& table = Sections();
    std::shared_ptr<Section> pSection;
    struct stat info;
    if (!FindSectionObject(strPath, &info))
    {
        return nullptr;
    }
    {
        const KernelLock guard(table.lock);
        pSection = FindSection(table, KeyOf(info, eKind));
    }
    if (pSection)
    {
        return pSection;
    }
    Descriptor descriptor = OpenSectionObject(strPath, eKind == Mapping::Kind::Write, &info);
    if (!descriptor.IsOpen())
    {
        return nullptr;
    }
    const KernelLock guard(table.lock);
    pSection = FindSection(table, KeyOf(info, eKind));
    if (!pSection)
    {
        pSection = std::make_shared<Section>(KeyOf(info, eKind), std::move(descriptor));
        EnterSection(table, KeyOf(info, eKind), pSection);
    }
    return pSection;
}

// A handle for a section: the one it has, opened once more, or a new one.
HANDLE HandleOf(const std::shared_ptr<Section>& pSection)
{
    const KernelLock guard(Sections().lock);
    if (pSection->m_hSection == nullptr || !HandleTable::Instance().Reopen(pSection->m_hSection))
    {
        pSection->m_hSection = HandleTable::Instance().Add(pSection);
    }
    return pSection->m_hSection;
}

HANDLE OpenByPath(const std::string& strPath, DWORD uAccess)
{
    const std::shared_ptr<Section> pSection = OpenSection(strPath, KindOf(uAccess));
    return pSection ? HandleOf(pSection) : FailCall(ErrorFromErrno(errno), HANDLE{});
}

// The view that holds an address, or the end of the table. Under the lock of the sections.
std::map<const char*, View>::iterator FindView(SectionTable& table, const void* pAddress)
{
    auto place = table.mapViews.upper_bound(static_cast<const char*>(pAddress));
    if (place == table.mapViews.begin())
    {
        return table.mapViews.end();
    }
    --place;
    const size_t uOffset = static_cast<size_t>(static_cast<const char*>(pAddress) - place->first);
    return uOffset < place->second.pSection->Size() ? place : table.mapViews.end();
}
}  // namespace

HANDLE OpenFileMappingW(DWORD uAccess, BOOL bInherit, const VOWCHAR* pszName)
{
    const bool bValid = IsAccess(uAccess) && bInherit == FALSE;
    if (!bValid || VO_FAULT_POINT("OpenFileMappingW"))
    {
        return FailCall(bValid ? ERROR_NOT_ENOUGH_MEMORY : ERROR_INVALID_PARAMETER, nullptr);
    }
    const std::string strPath = SectionObjectPath(pszName, "");
    return strPath.empty() ? FailCall(ErrorFromErrno(errno), HANDLE{}) : OpenByPath(strPath, uAccess);
}

HANDLE CreateFileMappingW(HANDLE hFile, void* pSecurity, DWORD uProtect, DWORD uSizeHigh, DWORD uSizeLow,
                          const VOWCHAR* pszName)
{
    const uint64_t ullSize = (uint64_t{uSizeHigh} << 32) | uSizeLow;
    const bool bValid =
        hFile == INVALID_HANDLE_VALUE && pSecurity == nullptr && uProtect == PAGE_READWRITE && ullSize != 0;
    if (!bValid || VO_FAULT_POINT("CreateFileMappingW"))
    {
        return FailCall(bValid ? ERROR_NOT_ENOUGH_MEMORY : ERROR_INVALID_PARAMETER, nullptr);
    }
    const std::string strPath = SectionObjectPath(pszName, "");
    if (strPath.empty())
    {
        return FailCall(ErrorFromErrno(errno), nullptr);
    }
    // Somebody else may make the object, or remove it, between two of these steps: then they begin again.
    bool bMade = false;
    for (int nAttempt = 0; nAttempt < kNameAttempts; ++nAttempt)
    {
        const HANDLE hSection = OpenByPath(strPath, FILE_MAP_WRITE);
        if (hSection != nullptr)
        {
            SetLastError(bMade ? ERROR_SUCCESS : ERROR_ALREADY_EXISTS);
            return hSection;
        }
        if (GetLastError() != ERROR_FILE_NOT_FOUND)
        {
            return nullptr;
        }
        TemporaryObject object;
        bMade = object.Create(strPath, ullSize) && object.Publish(false);
        if (!bMade && errno != EEXIST)
        {
            return FailCall(ErrorFromErrno(errno), nullptr);
        }
    }
    return FailCall(ERROR_GEN_FAILURE, nullptr);
}

void* MapViewOfFile(HANDLE hSection, DWORD uAccess, DWORD uOffsetHigh, DWORD uOffsetLow, SIZE_T uLength)
{
    const bool bValid = IsAccess(uAccess) && uOffsetHigh == 0 && uOffsetLow == 0 && uLength == 0;
    if (!bValid || VO_FAULT_POINT("MapViewOfFile"))
    {
        return FailCall(bValid ? ERROR_NOT_ENOUGH_MEMORY : ERROR_INVALID_PARAMETER, nullptr);
    }
    const std::shared_ptr<Section> pSection = HandleTable::Instance().Find<Section>(hSection);
    if (!pSection)
    {
        return nullptr;
    }
    if (uAccess != FILE_MAP_READ && KindOf(uAccess) != pSection->Kind())
    {
        return FailCall(ERROR_ACCESS_DENIED, nullptr);
    }
    SectionTable& table = Sections();
    const KernelLock guard(table.lock);
    if (!pSection->EnsureMapped())
    {
        return nullptr;
    }
    View& view = table.mapViews[pSection->Begin()];
    view.pSection = pSection;
    ++view.uMaps;
    return pSection->Begin();
}

BOOL UnmapViewOfFile(const void* pView)
{
    std::shared_ptr<Section> pReleased;  // destroyed after the lock is given back
    SectionTable& table = Sections();
    const KernelLock guard(table.lock);
    const auto place = table.mapViews.find(static_cast<const char*>(pView));
    if (place == table.mapViews.end())
    {
        return FailCall(ERROR_INVALID_ADDRESS);
    }
    if (--place->second.uMaps == 0)
    {
        pReleased = std::move(place->second.pSection);
        table.mapViews.erase(place);
    }
    return TRUE;
}

SIZE_T VirtualQuery(const void* pAddress, MEMORY_BASIC_INFORMATION* pInfo, SIZE_T uLength)
{
    const bool bValid = pInfo != nullptr && uLength == sizeof(*pInfo);
    if (!bValid || VO_FAULT_POINT("VirtualQuery"))
    {
        return FailCall(bValid ? ERROR_NOT_ENOUGH_MEMORY : ERROR_INVALID_PARAMETER);
    }
    SectionTable& table = Sections();
    const KernelLock guard(table.lock);
    const auto place = FindView(table, pAddress);
    if (place == table.mapViews.end())
    {
        return FailCall(ERROR_INVALID_ADDRESS);
    }
    const Section& section = *place->second.pSection;
    const size_t uPage = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t uOffset = static_cast<size_t>(static_cast<const char*>(pAddress) - section.Begin()) / uPage * uPage;
    *pInfo = {.BaseAddress = section.Begin() + uOffset,
              .AllocationBase = section.Begin(),
              .RegionSize = section.Size() - uOffset,
              .State = MEM_COMMIT,
              .Protect = section.Kind() == Mapping::Kind::Read ? PAGE_READONLY : PAGE_READWRITE,
              .Type = MEM_MAPPED};
    return sizeof(*pInfo);
}
