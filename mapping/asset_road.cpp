#include "mapping/asset_road.h"

#include <algorithm>
#include <atomic>
#include <vector>

#include "assetindex/log_format.h"
#include "platform/vo_debug_help.h"
#include "platform/vo_section_publisher.h"
#include "platform/vo_shared_word.h"
#include "vots_file_mapping.h"

namespace
{

// Images that inspectors of this process show, by source.
std::atomic<unsigned int> s_auImagesHeld[LUMTrayService::ASSETTYPE_COUNT];

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

bool VOAssetRoad::IsImageHeld(LUMTrayService::enumAssetFrom eaf)
{
    return static_cast<unsigned int>(eaf) < LUMTrayService::ASSETTYPE_COUNT && s_auImagesHeld[eaf] != 0;
}

void VOAssetRoad::HoldImage(LUMTrayService::enumAssetFrom eaf, bool bHeld)
{
    if (static_cast<unsigned int>(eaf) < LUMTrayService::ASSETTYPE_COUNT)
    {
        s_auImagesHeld[eaf] += bHeld ? 1u : ~0u;
    }
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
        if (bStillThere && m_pGeneration != nullptr && m_pGeneration->Apply(ullWritten))
        {
            VOStoreWord(m_ullNumber, ullNumber);
            VOStoreWord(m_ullApplied, m_pGeneration->Applied());
            return true;
        }
        if (bStillThere && (m_pGeneration == nullptr || ullWritten >= sizeof(VOLogHead)))
        {
            m_ullDoubted = ullNumber;
            CountDoubt(m_eaf);
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

// A count that can't be kept is no reason to fail.
void VOAssetRoad::_Count(LUMTrayService::enumAssetFrom eaf, uint32_t VORoadSource::*pCount)
{
    const VOSectionView state(kpszVORoadStateName, FILE_MAP_WRITE);
    if (state.Size() >= sizeof(VORoadState))
    {
        VOAddToWord(static_cast<VORoadState*>(state.Data())->arrSource[eaf].*pCount, 1);
    }
}

// Has the base and log of a generation; none, when they aren't there or unsound.
void VOAssetRoad::_Attach(uint64_t ullNumber)
{
    if (m_pGeneration != nullptr && m_pGeneration->Number() == ullNumber)
    {
        return;
    }
    m_pGeneration.reset();
    auto pGeneration = std::make_unique<VORoadGeneration>();
    if (pGeneration->Open(m_eaf, ullNumber))
    {
        m_pGeneration = std::move(pGeneration);
        _Count(m_eaf, &VORoadSource::uAttached);
    }
}

bool VORoadGeneration::Open(LUMTrayService::enumAssetFrom eaf, uint64_t ullNumber)
{
    m_ullApplied = sizeof(VOLogHead);
    if (!m_baseView.Open(VORoadSectionName(eaf, "~base", ullNumber).c_str(), FILE_MAP_COPY) ||
        !m_logView.Open(VORoadSectionName(eaf, "~log", ullNumber).c_str(), FILE_MAP_READ) ||
        m_logView.Size() < sizeof(VOLogHead) ||
        !m_base.Take(static_cast<unsigned char*>(m_baseView.Data()), m_baseView.Size()))
    {
        return false;
    }
    const VOLogHead head = VOLoad<VOLogHead>(m_logView.Data());
    return memcmp(head.szVersion, kVOLogVersion, sizeof(head.szVersion)) == 0 && head.ullGeneration == ullNumber &&
           head.ullSize <= m_logView.Size() && m_base.Head().ullGeneration == ullNumber;
}

// Each record from a copy: the log may be written to while it is read.
bool VORoadGeneration::Apply(uint64_t ullWritten)
{
    const unsigned char* const pbLog = static_cast<const unsigned char*>(m_logView.Data());
    ullWritten = std::max<uint64_t>(ullWritten, sizeof(VOLogHead));
    std::vector<unsigned char> vecRecord;
    while (m_ullApplied < ullWritten)
    {
        if (ullWritten > m_logView.Size() || ullWritten - m_ullApplied < sizeof(VOLogRecordHead))
        {
            return false;
        }
        const unsigned char* const pbRecord = pbLog + m_ullApplied;
        const uint32_t uSize = VOLoad<VOLogRecordHead>(pbRecord).uSize;
        if (uSize < sizeof(VOLogRecordHead) || uSize > ullWritten - m_ullApplied)
        {
            return false;
        }
        vecRecord.assign(pbRecord, pbRecord + uSize);
        const uint32_t uKind = VOLoad<VOLogRecordHead>(vecRecord.data()).uKind;
        const bool bBatch = uKind == static_cast<uint32_t>(VOLogKind::Batch);
        if (!VOIsLogRecord(vecRecord.data(), uSize) || VOLoad<VOLogRecordHead>(vecRecord.data()).uSize != uSize ||
            (bBatch && !m_base.Apply(vecRecord.data(), uSize)))
        {
            return false;
        }
        m_ullApplied += uSize;
    }
    return m_ullApplied == ullWritten;
}
