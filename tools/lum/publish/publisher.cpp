#include "publish/publisher.h"

#include <fmt/format.h>
#include <string.h>

#include <atomic>

#include "base/sources.h"
#include "platform/vo_platform.h"
#include "platform/vo_process.h"

using namespace LUMTrayService;

namespace lum
{

namespace
{

constexpr VOWCHAR kLockName[] = VOTEXT("vo_publisher_assetNode");

// How long a change waits for readers that are inside a data section, in milliseconds. A load takes a fraction of it
// even for a large index; whoever takes longer is dead, or doesn't mind: an old section stays whole for its readers
// where the system can replace one, and is checked by its readers where it can't.
constexpr unsigned kReaderWait = 2000;
constexpr unsigned kReaderPoll = 10;

// The words of a record are shared with all readers.
unsigned LoadWord(unsigned& uWord)
{
    return std::atomic_ref<unsigned>(uWord).load(std::memory_order_acquire);
}

void StoreWord(unsigned& uWord, unsigned uValue)
{
    std::atomic_ref<unsigned>(uWord).store(uValue, std::memory_order_release);
}

// The version, in words that a reader can't see before what was stored earlier.
void StoreVersion(char (&szVersion)[sizeof(FILEMAPPING_ASSETNODE_UPDATESTATE_VERSION)])
{
    unsigned auWords[sizeof(szVersion) / sizeof(unsigned)];
    memcpy(auWords, FILEMAPPING_ASSETNODE_UPDATESTATE_VERSION, sizeof(szVersion));
    for (size_t i = 0; i < sizeof(auWords) / sizeof(auWords[0]); ++i)
    {
        StoreWord(reinterpret_cast<unsigned*>(szVersion)[i], auWords[i]);
    }
}

bool SectionExists(const VOWCHAR* pszName)
{
    HANDLE hSection = OpenFileMappingW(FILE_MAP_READ, 0, pszName);
    if (hSection == nullptr)
    {
        return GetLastError() != ERROR_FILE_NOT_FOUND;
    }
    CloseHandle(hSection);
    return true;
}

}  // namespace

Publisher::~Publisher()
{
    Withdraw();
}

bool Publisher::Acquire(std::string* pstrError)
{
    switch (m_kLock.TryAcquire(kLockName))
    {
        case VOInstanceLock::Result::Acquired:
            VORemoveStaleSectionObjects();
            return true;
        case VOInstanceLock::Result::HeldByOther:
            *pstrError = "another publisher is serving already";
            if (m_kLock.HolderProcessId() != 0)
            {
                *pstrError += fmt::format(" (process {})", m_kLock.HolderProcessId());
            }
            *pstrError += "; only one can serve a user at a time";
            return false;
        default:
            *pstrError = fmt::format("can't become the publisher (system error {})", GetLastError());
            return false;
    }
}

bool Publisher::Publish(const std::vector<SourceImage>& vecImages, std::string* pstrError)
{
    if (!_TakeState(pstrError))
    {
        return false;
    }
    std::array<bool, ASSETTYPE_COUNT> abServed{};
    for (const SourceImage& kImage : vecImages)
    {
        abServed[kImage.eaf] = true;
    }
    for (const enumAssetFrom eaf : AllSources())
    {
        if (!abServed[eaf])
        {
            _WithdrawSource(eaf);
        }
    }
    for (const SourceImage& kImage : vecImages)
    {
        if (!_PublishSource(kImage, pstrError))
        {
            Withdraw();
            return false;
        }
    }
    return true;
}

void Publisher::Withdraw()
{
    if (m_kState.Data() != nullptr)
    {
        for (const enumAssetFrom eaf : AllSources())
        {
            _WithdrawSource(eaf);
        }
        m_kState.Withdraw();
    }
}

// Makes the update state section, or takes over the one of a former publisher with its counts, which readers that still
// live compare with. The version is what makes the section one, so that it is written last.
bool Publisher::_TakeState(std::string* pstrError)
{
    if (!m_kState.OpenOrCreate(FILEMAPPING_ASSETNODE_UPDATESTATE_NAME, sizeof(AssetNodeUpdateState)))
    {
        *pstrError = fmt::format("the update state section can't be made (system error {})", GetLastError());
        return false;
    }
    AssetNodeUpdateState* pkState = static_cast<AssetNodeUpdateState*>(m_kState.Data());
    static_assert(sizeof(FILEMAPPING_ASSETNODE_UPDATESTATE_VERSION) == sizeof(pkState->szVersion));
    if (memcmp(pkState->szVersion, FILEMAPPING_ASSETNODE_UPDATESTATE_VERSION, sizeof(pkState->szVersion)) != 0)
    {
        for (AssetNodeStateInfo& kRecord : pkState->arrStateInfo)
        {
            StoreWord(kRecord.bEnable, 0);
            StoreWord(kRecord.uUpdateCount, 0);
        }
        StoreVersion(pkState->szVersion);
    }
    AssetNodeStateInfo& kNone = _Record(AF_ERROR);
    StoreWord(kNone.bEnable, 0);
    StoreWord(kNone.uUpdateCount, 0);
    return true;
}

bool Publisher::_PublishSource(const SourceImage& kImage, std::string* pstrError)
{
    _WaitForReaders(kImage.eaf);
    if (!m_akData[kImage.eaf].Replace(ASSETNODE_MAPPING_VIEW_STRING(kImage.eaf), kImage.vecBlock.data(),
                                      kImage.vecBlock.size()))
    {
        *pstrError = fmt::format("the data section of {} can't be made (system error {})", SourceName(kImage.eaf),
                                 GetLastError());
        return false;
    }
    AssetNodeStateInfo& kRecord = _Record(kImage.eaf);
    const unsigned uNext = LoadWord(kRecord.uUpdateCount) + 1;
    StoreWord(kRecord.uUpdateCount, uNext != 0 ? uNext : 1);
    StoreWord(kRecord.bEnable, 1);
    return true;
}

// Also for a source that this publisher never served: its section may be what a killed one left.
void Publisher::_WithdrawSource(enumAssetFrom eaf)
{
    AssetNodeStateInfo& kRecord = _Record(eaf);
    if (LoadWord(kRecord.bEnable) != 0)
    {
        _WaitForReaders(eaf);
        StoreWord(kRecord.bEnable, 0);
    }
    VOPublishedSection& kData = m_akData[eaf];
    const VOWCHAR* pszName = ASSETNODE_MAPPING_VIEW_STRING(eaf);
    if (kData.Data() == nullptr && SectionExists(pszName))
    {
        kData.OpenOrCreate(pszName, 1);
    }
    kData.Withdraw();
}

void Publisher::_WaitForReaders(enumAssetFrom eaf)
{
    AssetNodeStateInfo& kRecord = _Record(eaf);
    unsigned uReaders = LoadWord(kRecord.uReaderCount);
    for (unsigned uWaited = 0; uReaders != 0 && uReaders != m_auLeftReaders[eaf] && uWaited < kReaderWait;
         uWaited += kReaderPoll)
    {
        VOSleepMilliseconds(kReaderPoll);
        uReaders = LoadWord(kRecord.uReaderCount);
    }
    m_auLeftReaders[eaf] = uReaders;
}

AssetNodeStateInfo& Publisher::_Record(enumAssetFrom eaf)
{
    return static_cast<AssetNodeUpdateState*>(m_kState.Data())->arrStateInfo[eaf];
}

}  // namespace lum
