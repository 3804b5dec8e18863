#include "mapping/asset_road.h"

#include <algorithm>
#include <vector>

#include "assetindex/log_format.h"
#include "platform/vo_debug_help.h"
#include "platform/vo_section_publisher.h"
#include "platform/vo_shared_word.h"
#include "vots_file_mapping.h"

namespace
{

// How often a publisher may come between while a reader looks for its base.
constexpr int kAttempts = 10;

// The publisher stores the next count here before it stores it there.
bool GoesWith(const VORoadSource& source, uint32_t uImageCount)
{
    const uint32_t uAhead = VOLoadWord(source.uImageCount) - uImageCount;
    return uAhead <= 1;
}

}  // namespace

VOWString VORoadSectionName(LUMTrayService::enumAssetFrom eaf, const char* pszPart, uint64_t ullGeneration)
{
    const VOWCHAR* const pszData = VOAssetNodeMappingViewString(eaf);
    if (pszData == nullptr)
    {
        return VOWString();
    }
    VOWString strName = pszData;
    for (; *pszPart != 0; ++pszPart)
    {
        strName += static_cast<VOWCHAR>(*pszPart);
    }
    for (int nShift = 60; nShift >= 0; nShift -= 4)
    {
        strName += static_cast<VOWCHAR>("0123456789ABCDEF"[(ullGeneration >> nShift) & 15]);
    }
    return strName;
}

VOWString VORoadSignalName(LUMTrayService::enumAssetFrom eaf)
{
    VOWString strName = kpszVORoadStateName;
    if (eaf != LUMTrayService::AF_ERROR)
    {
        strName += static_cast<VOWCHAR>('0' + eaf);
    }
    return strName;
}

bool VOAssetRoad::IsWanted()
{
    char szValue[2] = {};
    return GetEnvironmentVariableA("VOBASE_CLASSIC", szValue, sizeof(szValue)) != 1 || szValue[0] != '1';
}

// The source's words in the state section, which is opened when it isn't; null without one.
const VORoadSource* VOAssetRoad::_Source()
{
    if (m_pSource == nullptr && static_cast<unsigned int>(m_eaf) < LUMTrayService::ASSETTYPE_COUNT &&
        m_state.Open(kpszVORoadStateName, FILE_MAP_READ) && m_state.Size() >= sizeof(VORoadState) &&
        m_state.BeginsWith(kVORoadVersion))
    {
        // Nobody steps the words through this view: it can't be written to.
        VORoadState& state = *static_cast<VORoadState*>(m_state.Data());
        m_pSignal = std::make_unique<VOSharedSignal>(VORoadSignalName(m_eaf).c_str(), state.arrSource[m_eaf].uSteps);
        m_pAnySignal =
            std::make_unique<VOSharedSignal>(VORoadSignalName(LUMTrayService::AF_ERROR).c_str(), state.uImageSteps);
        VOStoreWord(m_pSource, &state.arrSource[m_eaf]);
    }
    return m_pSource;
}

bool VOAssetRoad::Follow(uint32_t uImageCount)
{
    const VORoadSource* const pSource = VOInstanceLock::IsHeldByAny(kpszVORoadStateName) ? _Source() : nullptr;
    for (int nAttempt = 0; nAttempt < kAttempts && pSource != nullptr; ++nAttempt)
    {
        const uint64_t ullNumber = VOLoadWord(pSource->ullGeneration);
        if (ullNumber == 0 || ullNumber == m_ullDoubted || !GoesWith(*pSource, uImageCount))
        {
            break;
        }
        _Attach(ullNumber);
        const uint64_t ullWritten = VOLoadWord(pSource->ullWritten);
        const bool bStillThere = VOLoadWord(pSource->ullGeneration) == ullNumber;
        if (bStillThere && m_pGeneration != nullptr && _Apply(*m_pGeneration, ullWritten))
        {
            VOStoreWord(m_ullNumber, ullNumber);
            VOStoreWord(m_ullApplied, m_pGeneration->ullApplied);
            return true;
        }
        if (bStillThere && (m_pGeneration == nullptr || ullWritten >= sizeof(VOLogHead)))
        {
            m_ullDoubted = ullNumber;
            _Count(&VORoadSource::uDoubted);
            break;
        }
        Sleep(nAttempt != 0 ? 1 : 0);  // a new base is about to take over
    }
    Leave();
    return false;
}

void VOAssetRoad::Leave()
{
    VOStoreWord(m_ullNumber, 0);
    m_pGeneration.reset();
}

void VOAssetRoad::Close()
{
    Leave();
    VOStoreWord(m_pSource, nullptr);
    m_pSignal.reset();
    m_pAnySignal.reset();
    m_state.Close();
    m_ullDoubted = 0;
}

VORoadStanding VOAssetRoad::Standing(uint32_t uImageCount) const
{
    const VORoadSource* const pSource = VOLoadWord(m_pSource);
    const uint64_t ullNumber = pSource != nullptr ? VOLoadWord(pSource->ullGeneration) : 0;
    if (ullNumber == 0 || !GoesWith(*pSource, uImageCount))
    {
        return VORoadStanding::Withdrawn;
    }
    return ullNumber == VOLoadWord(m_ullNumber) && VOLoadWord(pSource->ullWritten) == VOLoadWord(m_ullApplied)
               ? VORoadStanding::Current
               : VORoadStanding::Outdated;
}

// For whoever looks after the publisher; a count that can't be kept is no reason to fail.
void VOAssetRoad::_Count(uint32_t VORoadSource::*pCount) const
{
    const VOSectionView state(kpszVORoadStateName, FILE_MAP_WRITE);
    if (state.Size() >= sizeof(VORoadState))
    {
        VOAddToWord(static_cast<VORoadState*>(state.Data())->arrSource[m_eaf].*pCount, 1);
    }
}

// Has the base and log of a generation; none, when they aren't there or unsound.
void VOAssetRoad::_Attach(uint64_t ullNumber)
{
    if (m_pGeneration != nullptr && m_pGeneration->ullNumber == ullNumber)
    {
        return;
    }
    m_pGeneration.reset();
    auto pGeneration = std::make_unique<Generation>();
    pGeneration->ullNumber = ullNumber;
    pGeneration->ullApplied = sizeof(VOLogHead);
    VOSectionView& baseView = pGeneration->baseView;
    VOSectionView& logView = pGeneration->logView;
    if (!baseView.Open(VORoadSectionName(m_eaf, "~base", ullNumber).c_str(), FILE_MAP_COPY) ||
        !logView.Open(VORoadSectionName(m_eaf, "~log", ullNumber).c_str(), FILE_MAP_READ) ||
        logView.Size() < sizeof(VOLogHead) ||
        !pGeneration->base.Take(static_cast<unsigned char*>(baseView.Data()), baseView.Size()))
    {
        return;
    }
    const VOLogHead head = VOLoad<VOLogHead>(logView.Data());
    if (memcmp(head.szVersion, kVOLogVersion, sizeof(head.szVersion)) != 0 || head.ullGeneration != ullNumber ||
        head.ullSize > logView.Size() || pGeneration->base.Head().ullGeneration != ullNumber)
    {
        return;
    }
    m_pGeneration = std::move(pGeneration);
    _Count(&VORoadSource::uAttached);
}

// Each record from a copy: the log may be written to while it is read.
bool VOAssetRoad::_Apply(Generation& generation, uint64_t ullWritten)
{
    const unsigned char* const pbLog = static_cast<const unsigned char*>(generation.logView.Data());
    ullWritten = std::max<uint64_t>(ullWritten, sizeof(VOLogHead));
    std::vector<unsigned char> vecRecord;
    while (generation.ullApplied < ullWritten)
    {
        if (ullWritten > generation.logView.Size() || ullWritten - generation.ullApplied < sizeof(VOLogRecordHead))
        {
            return false;
        }
        const unsigned char* const pbRecord = pbLog + generation.ullApplied;
        const uint32_t uSize = VOLoad<VOLogRecordHead>(pbRecord).uSize;
        if (uSize < sizeof(VOLogRecordHead) || uSize > ullWritten - generation.ullApplied)
        {
            return false;
        }
        vecRecord.assign(pbRecord, pbRecord + uSize);
        const uint32_t uKind = VOLoad<VOLogRecordHead>(vecRecord.data()).uKind;
        const bool bBatch = uKind == static_cast<uint32_t>(VOLogKind::Batch);
        if (!VOIsLogRecord(vecRecord.data(), uSize) || VOLoad<VOLogRecordHead>(vecRecord.data()).uSize != uSize ||
            (bBatch && !generation.base.Apply(vecRecord.data(), uSize)))
        {
            return false;
        }
        generation.ullApplied += uSize;
    }
    return generation.ullApplied == ullWritten;
}
