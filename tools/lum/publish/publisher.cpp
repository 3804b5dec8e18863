#include "publish/publisher.h"

#include <fmt/format.h>
#include <string.h>

#include "base/sources.h"
#include "platform/vo_platform.h"
#include "platform/vo_process.h"
#include "publish/shared_words.h"

using namespace LUMTrayService;

namespace lum
{

namespace
{

constexpr VOWCHAR kLockName[] = VOTEXT("vo_publisher_assetNode");

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
        if (!PublishSource(kImage, pstrError))
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
            VOStoreWord(kRecord.bEnable, 0);
            VOStoreWord(kRecord.uUpdateCount, 0);
        }
        StoreVersion(pkState->szVersion, FILEMAPPING_ASSETNODE_UPDATESTATE_VERSION);
    }
    AssetNodeStateInfo& kNone = _Record(AF_ERROR);
    VOStoreWord(kNone.bEnable, 0);
    VOStoreWord(kNone.uUpdateCount, 0);
    return true;
}

bool Publisher::PublishSource(const SourceImage& kImage, std::string* pstrError)
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
    const unsigned uNext = VOLoadWord(kRecord.uUpdateCount) + 1;
    VOStoreWord(kRecord.uUpdateCount, uNext != 0 ? uNext : 1);
    VOStoreWord(kRecord.bEnable, 1);
    return true;
}

// Also for a source that this publisher never served: its section may be what a killed one left.
void Publisher::_WithdrawSource(enumAssetFrom eaf)
{
    AssetNodeStateInfo& kRecord = _Record(eaf);
    if (VOLoadWord(kRecord.bEnable) != 0)
    {
        _WaitForReaders(eaf);
        VOStoreWord(kRecord.bEnable, 0);
    }
    WithdrawSection(ASSETNODE_MAPPING_VIEW_STRING(eaf), &m_akData[eaf]);
}

void Publisher::_WaitForReaders(enumAssetFrom eaf)
{
    AssetNodeStateInfo& kRecord = _Record(eaf);
    WaitForReaders(kRecord.uReaderCount, &m_auLeftReaders[eaf]);
}

AssetNodeStateInfo& Publisher::_Record(enumAssetFrom eaf)
{
    return static_cast<AssetNodeUpdateState*>(m_kState.Data())->arrStateInfo[eaf];
}

}  // namespace lum
