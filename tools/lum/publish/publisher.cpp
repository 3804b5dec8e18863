#include "publish/publisher.h"

#include <string.h>

#include <algorithm>

#include "base/failure.h"
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

void Publisher::Acquire()
{
    const VOInstanceLock::Result eResult = m_lock.TryAcquire(kLockName);
    if (eResult == VOInstanceLock::Result::HeldByOther)
    {
        const uint32_t uHolder = m_lock.HolderProcessId();
        throw Failure("another publisher is serving already{}; only one can serve a user at a time",
                      uHolder != 0 ? fmt::format(" (process {})", uHolder) : "");
    }
    if (eResult != VOInstanceLock::Result::Acquired)
    {
        throw Failure("can't become the publisher (system error {})", GetLastError());
    }
    VORemoveStaleSectionObjects();
}

void Publisher::Publish(const std::vector<SourceImage>& vecImages)
{
    _TakeState();
    for (const enumAssetFrom eaf : AllSources())
    {
        if (std::none_of(vecImages.begin(), vecImages.end(),
                         [eaf](const SourceImage& image) { return image.eaf == eaf; }))
        {
            _WithdrawSource(eaf);
        }
    }
    for (const SourceImage& image : vecImages)
    {
        PublishSource(image);
    }
}

void Publisher::Withdraw()
{
    if (m_state.Data() != nullptr)
    {
        for (const enumAssetFrom eaf : AllSources())
        {
            _WithdrawSource(eaf);
        }
        m_state.Withdraw();
    }
}

// Makes the update state section, or takes over the one of a former publisher with its counts, which readers that still
// live compare with. The version is what makes the section one, so that it is written last.
void Publisher::_TakeState()
{
    if (!m_state.OpenOrCreate(FILEMAPPING_ASSETNODE_UPDATESTATE_NAME, sizeof(AssetNodeUpdateState)))
    {
        throw Failure("the update state section can't be made (system error {})", GetLastError());
    }
    AssetNodeUpdateState* pState = static_cast<AssetNodeUpdateState*>(m_state.Data());
    static_assert(sizeof(FILEMAPPING_ASSETNODE_UPDATESTATE_VERSION) == sizeof(pState->szVersion));
    if (memcmp(pState->szVersion, FILEMAPPING_ASSETNODE_UPDATESTATE_VERSION, sizeof(pState->szVersion)) != 0)
    {
        for (AssetNodeStateInfo& record : pState->arrStateInfo)
        {
            VOStoreWord(record.bEnable, 0);
            VOStoreWord(record.uUpdateCount, 0);
        }
        StoreVersion(pState->szVersion, FILEMAPPING_ASSETNODE_UPDATESTATE_VERSION);
    }
    AssetNodeStateInfo& none = _Record(AF_ERROR);
    VOStoreWord(none.bEnable, 0);
    VOStoreWord(none.uUpdateCount, 0);
}

void Publisher::PublishSource(const SourceImage& image)
{
    _WaitForReaders(image.eaf);
    if (!m_akData[image.eaf].Replace(ASSETNODE_MAPPING_VIEW_STRING(image.eaf), image.vecBlock.data(),
                                     image.vecBlock.size()))
    {
        throw Failure("the data section of {} can't be made (system error {})", SourceName(image.eaf), GetLastError());
    }
    AssetNodeStateInfo& record = _Record(image.eaf);
    const unsigned uNext = VOLoadWord(record.uUpdateCount) + 1;
    VOStoreWord(record.uUpdateCount, uNext != 0 ? uNext : 1);
    VOStoreWord(record.bEnable, 1);
}

// Also for a source that this publisher never served: its section may be what a killed one left.
void Publisher::_WithdrawSource(enumAssetFrom eaf)
{
    AssetNodeStateInfo& record = _Record(eaf);
    if (VOLoadWord(record.bEnable) != 0)
    {
        _WaitForReaders(eaf);
        VOStoreWord(record.bEnable, 0);
    }
    WithdrawSection(ASSETNODE_MAPPING_VIEW_STRING(eaf), &m_akData[eaf]);
}

void Publisher::_WaitForReaders(enumAssetFrom eaf)
{
    AssetNodeStateInfo& record = _Record(eaf);
    WaitForReaders(record.uReaderCount, &m_auLeftReaders[eaf]);
}

AssetNodeStateInfo& Publisher::_Record(enumAssetFrom eaf)
{
    return static_cast<AssetNodeUpdateState*>(m_state.Data())->arrStateInfo[eaf];
}

}  // namespace lum
