#include "publish/publisher.h"

#include <fmt/format.h>
#include <string.h>

#include "base/sources.h"
#include "platform/vo_platform.h"
#include "platform/vo_process.h"
#include "publish/shared_words.h"
#include "vo_utility.h"

using namespace LUMTrayService;

namespace lum
{

namespace
{

constexpr VOWCHAR kLockName[] = VOTEXT("vo_publisher_assetNode");

}  // namespace

bool CompressImage(const AssetImage& pImage, std::vector<unsigned char>* pvecBlock)
{
    unsigned char* pbBlock = nullptr;
    unsigned uSize = 0;
    const unsigned uImageSize = pImage->uDataBufSize + static_cast<unsigned>(sizeof(*pImage));
    if (uImageSize < pImage->uDataBufSize ||
        VOCompressBuffer_lzo1x(&pbBlock, &uSize, reinterpret_cast<unsigned char*>(pImage.get()), uImageSize) == 0)
    {
        return false;
    }
    const std::unique_ptr<unsigned char, VOFreeBlock> pOwner(pbBlock);
    pvecBlock->assign(pbBlock, pbBlock + uSize);
    return true;
}

Publisher::~Publisher()
{
    Withdraw();
}

bool Publisher::Acquire(std::string* pstrError)
{
    switch (m_lock.TryAcquire(kLockName))
    {
        case VOInstanceLock::Result::Acquired:
            VORemoveStaleSectionObjects();
            return true;
        case VOInstanceLock::Result::HeldByOther:
            *pstrError = "another publisher is serving already";
            if (m_lock.HolderProcessId() != 0)
            {
                *pstrError += fmt::format(" (process {})", m_lock.HolderProcessId());
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
    for (const SourceImage& image : vecImages)
    {
        abServed[image.eaf] = true;
    }
    for (const enumAssetFrom eaf : AllSources())
    {
        if (!abServed[eaf])
        {
            _WithdrawSource(eaf);
        }
    }
    for (const SourceImage& image : vecImages)
    {
        if (!PublishSource(image, pstrError))
        {
            Withdraw();
            return false;
        }
    }
    return true;
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
bool Publisher::_TakeState(std::string* pstrError)
{
    if (!m_state.OpenOrCreate(FILEMAPPING_ASSETNODE_UPDATESTATE_NAME, sizeof(AssetNodeUpdateState)))
    {
        *pstrError = fmt::format("the update state section can't be made (system error {})", GetLastError());
        return false;
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
    return true;
}

bool Publisher::PublishSource(const SourceImage& image, std::string* pstrError)
{
    _WaitForReaders(image.eaf);
    if (!m_akData[image.eaf].Replace(ASSETNODE_MAPPING_VIEW_STRING(image.eaf), image.vecBlock.data(),
                                     image.vecBlock.size()))
    {
        *pstrError = fmt::format("the data section of {} can't be made (system error {})", SourceName(image.eaf),
                                 GetLastError());
        return false;
    }
    AssetNodeStateInfo& record = _Record(image.eaf);
    const unsigned uStepped = VOLoadWord(record.uUpdateCount) + 1;
    const unsigned uNext = uStepped != 0 ? uStepped : 1;
    m_road.NoteImage(image.eaf, uNext);
    VOStoreWord(record.uUpdateCount, uNext);
    VOStoreWord(record.bEnable, 1);
    return true;
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
