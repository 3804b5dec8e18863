#include "publishing/source_road.h"

#include <algorithm>
#include <chrono>

#include "assetindex/log_format.h"
#include "mapping/asset_road.h"
#include "platform/vo_section_view.h"
#include "platform/vo_shared_word.h"

namespace
{

// A log holds what changes while the base is worth keeping: a sixteenth of the base, between these two.
constexpr uint64_t kSmallestLog = 1u << 20;
constexpr uint64_t kLargestLog = 64u << 20;

std::vector<unsigned char> EndRecord()
{
    std::vector<unsigned char> vecRecord(sizeof(VOLogRecordHead));
    VOSealLogRecord(vecRecord, VOLogKind::End);
    return vecRecord;
}

// Takes away what a killed publisher left under a generation's names.
void RemoveLeft(LUMTrayService::enumAssetFrom eaf, uint64_t ullGeneration)
{
    for (const char* const pszPart : {"~base", "~log"})
    {
        VOPublishedSection section;
        if (ullGeneration != 0 && section.OpenOrCreate(VORoadSectionName(eaf, pszPart, ullGeneration).c_str(), 1))
        {
            section.Withdraw();
        }
    }
}

}  // namespace

bool VORoadSections::Open()
{
    auto pOpened = std::make_unique<Opened>();
    if (pOpened->lock.TryAcquire(kpszVORoadStateName) != VOInstanceLock::Result::Acquired ||
        !pOpened->section.OpenOrCreate(kpszVORoadStateName, sizeof(VORoadState)))
    {
        return false;
    }
    VORoadState& state = pOpened->State();
    for (unsigned int i = 0; i < LUMTrayService::ASSETTYPE_COUNT; ++i)
    {
        VORoadSource& source = state.arrSource[i];
        const uint64_t aullLeft[] = {VOExchangeWord(source.ullGeneration, 0), VOExchangeWord(source.ullMaking, 0),
                                     VOExchangeWord(source.ullLeaving, 0)};
        for (const uint64_t ullLeft : aullLeft)
        {
            RemoveLeft(static_cast<LUMTrayService::enumAssetFrom>(i), ullLeft);
            m_aullLast[i] = std::max(m_aullLast[i], ullLeft);
        }
        VOStoreWord(source.uAttached, 0);
        VOStoreWord(source.uDoubted, 0);
        VOStoreWord(source.uImageCount, 0);
    }
    // The version makes it one for readers, so that it comes last.
    static_assert(sizeof(kVORoadVersion) == 2 * sizeof(uint64_t));
    uint64_t aullVersion[2];
    memcpy(aullVersion, kVORoadVersion, sizeof(aullVersion));
    VOStoreWords(reinterpret_cast<uint64_t*>(state.szVersion), aullVersion, 2);

    pOpened->pImages =
        std::make_unique<VOSharedSignal>(VORoadSignalName(LUMTrayService::AF_ERROR).c_str(), state.uImageSteps);
    for (unsigned int i = 0; i < LUMTrayService::ASSETTYPE_COUNT; ++i)
    {
        const VOWString strName = VORoadSignalName(static_cast<LUMTrayService::enumAssetFrom>(i));
        pOpened->apSource[i] = std::make_unique<VOSharedSignal>(strName.c_str(), state.arrSource[i].uSteps);
    }
    m_pOpened = std::move(pOpened);
    return true;
}

uint64_t VORoadSections::NextGeneration(LUMTrayService::enumAssetFrom eaf)
{
    using std::chrono::duration_cast;
    using std::chrono::milliseconds;
    using std::chrono::system_clock;

    const auto now = duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
    m_aullLast[eaf] = std::max(m_aullLast[eaf] + 1, static_cast<uint64_t>(now));
    return m_aullLast[eaf];
}

void VORoadSections::StepImages(LUMTrayService::enumAssetFrom eaf)
{
    m_pOpened->apSource[eaf]->Step();
    m_pOpened->pImages->Step();
}

// What is published of one base, and the publisher's own copy of it.
struct VOSourceRoad::Generation
{
    uint64_t ullNumber = 0;
    VOPublishedSection baseSection;
    VOPublishedSection logSection;
    VOSectionView ownView;
    VOAssetBase base;  // in the own view, with all batches applied
    uint64_t ullWritten = sizeof(VOLogHead);

    bool Make(LUMTrayService::enumAssetFrom eaf, VOAssetBaseWriter& writer, uint64_t ullGeneration, uint64_t ullState)
    {
        const size_t uSize = writer.BaseSize();
        const uint64_t ullLogSize = std::clamp<uint64_t>(uSize / 16, kSmallestLog, kLargestLog);
        const auto WriteBase = [&](void* pvBase, size_t)
        {
            writer.WriteBase(static_cast<unsigned char*>(pvBase), ullGeneration, ullState);
            return true;
        };
        const auto WriteLogHead = [&](void* pvLog, size_t)
        {
            VOLogHead head = {{}, ullGeneration, ullLogSize, {}};
            memcpy(head.szVersion, kVOLogVersion, sizeof(head.szVersion));
            VOStore(pvLog, head);
            return true;
        };
        const VOWString strBase = VORoadSectionName(eaf, "~base", ullGeneration);
        ullNumber = ullGeneration;
        return uSize != 0 &&
               logSection.Replace(VORoadSectionName(eaf, "~log", ullGeneration).c_str(), ullLogSize, WriteLogHead) &&
               baseSection.Replace(strBase.c_str(), uSize, WriteBase) && ownView.Open(strBase.c_str(), FILE_MAP_COPY) &&
               base.Take(static_cast<unsigned char*>(ownView.Data()), ownView.Size());
    }

    // False when the log has no room for the record, and so much behind it. Nobody reads it before ullWritten is told.
    bool Append(const std::vector<unsigned char>& vecRecord, size_t uRoomBehind)
    {
        if (logSection.Size() - ullWritten < vecRecord.size() + uRoomBehind)
        {
            return false;
        }
        memcpy(static_cast<unsigned char*>(logSection.Data()) + ullWritten, vecRecord.data(), vecRecord.size());
        ullWritten += vecRecord.size();
        return true;
    }
};

VOSourceRoad::VOSourceRoad(VORoadSections& sections, LUMTrayService::enumAssetFrom eaf)
    : m_sections(sections), m_eaf(eaf)
{
}

VOSourceRoad::~VOSourceRoad() = default;

std::unique_ptr<VORoadSnapshot> VOSourceRoad::TakeSnapshot() const
{
    if (m_pGeneration == nullptr)
    {
        return nullptr;
    }
    std::unique_ptr<VORoadSnapshot> pSnapshot(new VORoadSnapshot);
    pSnapshot->m_ullWritten = m_pGeneration->ullWritten;
    pSnapshot->m_pGeneration = std::make_unique<VORoadGeneration>();
    return pSnapshot->m_pGeneration->Open(m_eaf, m_pGeneration->ullNumber) ? std::move(pSnapshot) : nullptr;
}

bool VOSourceRoad::Publish(VOTSAssetNodeContainer& container)
{
    if (m_pWriter == nullptr || !m_pWriter->Follows(container))
    {
        m_pWriter.reset();
        m_pWriter = std::make_unique<VOAssetBaseWriter>(container);
    }
    std::vector<unsigned char> vecBatch;
    const bool bBatch = m_pGeneration != nullptr && m_pWriter->MakeBatch(m_pGeneration->base, vecBatch);
    if (bBatch && vecBatch.empty())
    {
        return true;
    }
    if ((bBatch && _PublishBatch(vecBatch)) || _PublishBase())
    {
        m_sections.StepImages(m_eaf);
        return true;
    }
    Remove();
    return false;
}

bool VOSourceRoad::_PublishBatch(const std::vector<unsigned char>& vecBatch)
{
    if (!m_pGeneration->Append(vecBatch, sizeof(VOLogRecordHead)))
    {
        return false;
    }
    VOStoreWord(_Source().ullWritten, m_pGeneration->ullWritten);
    ++m_ullBatches;
    return true;
}

bool VOSourceRoad::_PublishBase()
{
    const uint64_t ullGeneration = m_sections.NextGeneration(m_eaf);
    const uint64_t ullBefore = m_pGeneration != nullptr ? m_pGeneration->ullNumber : 0;
    const uint64_t ullState = m_pGeneration != nullptr ? m_pGeneration->base.Counts().ullState + 1 : 1;
    auto pGeneration = std::make_unique<Generation>();
    VORoadSource& source = _Source();
    VOStoreWord(source.ullMaking, ullGeneration);
    if (!pGeneration->Make(m_eaf, *m_pWriter, ullGeneration, ullState))
    {
        return false;
    }
    if (m_pGeneration != nullptr)
    {
        // For whoever reads the log to its end, from the record behind the last one that he was told of.
        m_pGeneration->Append(EndRecord(), 0);
    }
    VOStoreWord(source.ullLeaving, ullBefore);
    VOStoreWord(source.ullWritten, 0);
    VOStoreWord(source.ullGeneration, pGeneration->ullNumber);
    VOStoreWord(source.ullWritten, pGeneration->ullWritten);
    VOStoreWord(source.ullMaking, 0);
    m_pGeneration = std::move(pGeneration);
    VOStoreWord(source.ullLeaving, 0);
    ++m_ullGenerations;
    return true;
}

void VOSourceRoad::Remove()
{
    if (m_pGeneration != nullptr)
    {
        VOStoreWord(_Source().ullLeaving, m_pGeneration->ullNumber);
        VOStoreWord(_Source().ullGeneration, 0);
        m_pGeneration.reset();
        VOStoreWord(_Source().ullLeaving, 0);
        m_sections.StepImages(m_eaf);
    }
    m_pWriter.reset();  // so that the container notes nothing that nobody will publish
}
