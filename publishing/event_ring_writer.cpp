#include "publishing/event_ring_writer.h"

#include <algorithm>
#include <chrono>

#include "containers/check_value.h"
#include "internal/vo_bytes.h"
#include "platform/vo_shared_word.h"
#include "vo_utility.h"

using LUMTrayService::enumAssetFrom;
using LUMTrayService::structFileEventNode;

namespace
{

constexpr uint64_t kWord = sizeof(uint64_t);

// What a killed publisher wrote may lie so far ahead of the clock; more is no position.
constexpr uint64_t kFarAhead = 1ull << 40;

// Positions of a section are behind those of one before, so that no reader takes one for the other: microseconds since
// 1970, of which no ring is written as fast.
uint64_t FirstPosition(uint64_t ullWrittenBefore)
{
    using std::chrono::duration_cast;
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const uint64_t ullNow = static_cast<uint64_t>(duration_cast<std::chrono::microseconds>(now).count());
    const bool bAhead = ullWrittenBefore > ullNow && ullWrittenBefore - ullNow < kFarAhead;
    return ((bAhead ? ullWrittenBefore : ullNow) + kWord) & ~(kWord - 1);
}

}  // namespace

bool VOEventRingWriter::Open()
{
    if (!m_section.OpenOrCreate(kpszVOEventRingName, sizeof(VOEventRingHead) + kVOEventRingSize))
    {
        return false;
    }
    m_pHead = static_cast<VOEventRingHead*>(m_section.Data());
    VOEventRingHead& head = *m_pHead;
    m_ullWritten = FirstPosition(VOLoadWord(head.ullWritten));
    m_ullOldest = m_ullWritten;
    m_queSizes.clear();
    std::fill(std::begin(m_aullNewest), std::end(m_aullNewest), 0);
    std::fill(std::begin(m_abPassed), std::end(m_abPassed), false);
    for (auto& source : head.arrSource)
    {
        VOStoreWord(source.ullCovered, 0);
        VOStoreWord(source.ullNewest, 0);
    }
    // Whoever loads them in between finds more written than the ring holds, and takes nothing.
    VOStoreWord(head.ullOldest, m_ullOldest);
    VOStoreWord(head.ullWritten, m_ullWritten);
    VOStoreWord(head.ullSize, kVOEventRingSize);
    // The version makes it one for readers, so that it comes last.
    static_assert(sizeof(kVOEventRingVersion) == 2 * kWord);
    uint64_t aullVersion[2];
    memcpy(aullVersion, kVOEventRingVersion, sizeof(aullVersion));
    VOStoreWords(reinterpret_cast<uint64_t*>(head.szVersion), aullVersion, 2);
    m_pSignal = std::make_unique<VOSharedSignal>(kpszVOEventRingName, head.uSteps);
    return true;
}

void VOEventRingWriter::Withdraw()
{
    m_pSignal.reset();
    m_pHead = nullptr;
    m_section.Withdraw();
}

void VOEventRingWriter::Publish(enumAssetFrom eaf, VOTSFileEventContainer& container, unsigned long long ullTime)
{
    std::vector<structFileEventNode> vecEvents;
    container.GetEvent(vecEvents, m_aullNewest[eaf] + 1, ~0ull);
    for (const structFileEventNode& node : vecEvents)
    {
        m_abPassed[eaf] = !_Append(eaf, node, container);
        m_aullNewest[eaf] = node.ullTime;
    }
    if (!m_abPassed[eaf])
    {
        VOStoreWord(m_pHead->arrSource[eaf].ullCovered, ullTime);
    }
    if (!vecEvents.empty())
    {
        m_pSignal->Step();
    }
}

// False for an event that takes more than a quarter of the ring: readers find it missing when the next one comes, or by
// the time of its publication on the other road.
bool VOEventRingWriter::_Append(enumAssetFrom eaf, const structFileEventNode& node,
                                const VOTSFileEventContainer& container)
{
    const VOWString astrText[] = {
        VOTextOf(container.GetString(node.hstrPath)),
        node.hstrNewName != INVALID_HANDLE_VALUE ? VOTextOf(container.GetString(node.hstrNewName)) : VOWString(),
        node.hstrPhysicPath != INVALID_HANDLE_VALUE ? VOTextOf(container.GetString(node.hstrPhysicPath)) : VOWString()};
    uint64_t ullSize = sizeof(VORingEventHead);
    for (const VOWString& strText : astrText)
    {
        ullSize += (strText.size() + 1) * sizeof(VOWCHAR);
    }
    ullSize = (ullSize + kWord - 1) & ~(kWord - 1);
    if (ullSize > kVOEventRingSize / 4)
    {
        return false;
    }
    std::vector<uint64_t> vecWords(static_cast<size_t>(ullSize / kWord));
    unsigned char* const pbEvent = reinterpret_cast<unsigned char*>(vecWords.data());
    VORingEventHead head = {.uSize = static_cast<uint32_t>(ullSize),
                            .uCheck = 0,
                            .ullPosition = m_ullWritten,
                            .ullTime = node.ullTime,
                            .ullTimeBefore = m_aullNewest[eaf],
                            .uSource = static_cast<uint32_t>(eaf),
                            .auParam = {node.dwEventParam0, node.dwEventParam1, node.dwEventParam2},
                            .auUnits = {},
                            .uReserved = 0};
    unsigned char* pbText = pbEvent + sizeof(head);
    for (size_t i = 0; i < std::size(astrText); ++i)
    {
        head.auUnits[i] = static_cast<uint32_t>(astrText[i].size());
        memcpy(pbText, astrText[i].c_str(), (astrText[i].size() + 1) * sizeof(VOWCHAR));
        pbText += (astrText[i].size() + 1) * sizeof(VOWCHAR);
    }
    VOStore(pbEvent, head);
    constexpr size_t kChecked = offsetof(VORingEventHead, ullPosition);
    head.uCheck = VOCheckValue(pbEvent + kChecked, vecWords.size() * kWord - kChecked);
    VOStore(pbEvent, head);

    m_queSizes.push_back(head.uSize);
    _MakeRoom(ullSize);
    VOStoreWord(m_pHead->arrSource[eaf].ullNewest, node.ullTime);
    constexpr size_t kWords = kVOEventRingSize / kWord;
    uint64_t* const pullRing =
        reinterpret_cast<uint64_t*>(reinterpret_cast<unsigned char*>(m_pHead) + sizeof(VOEventRingHead));
    const size_t uFirst = static_cast<size_t>(m_ullWritten / kWord % kWords);
    const size_t uBeforeEnd = std::min(vecWords.size(), kWords - uFirst);
    VOStoreWords(pullRing + uFirst, vecWords.data(), uBeforeEnd);
    VOStoreWords(pullRing, vecWords.data() + uBeforeEnd, vecWords.size() - uBeforeEnd);
    m_ullWritten += ullSize;
    VOStoreWord(m_pHead->ullWritten, m_ullWritten);
    return true;
}

// By sizes of its own: what lies in the section is not trusted.
void VOEventRingWriter::_MakeRoom(uint64_t ullSize)
{
    while (m_ullWritten + ullSize - m_ullOldest > kVOEventRingSize)
    {
        m_ullOldest += m_queSizes.front();
        m_queSizes.pop_front();
    }
    VOStoreWord(m_pHead->ullOldest, m_ullOldest);
}
