#include "fileevent/event_ring.h"

#include <algorithm>

#include "containers/check_value.h"
#include "internal/vo_bytes.h"
#include "mapping/asset_road.h"
#include "platform/vo_section_publisher.h"
#include "platform/vo_shared_word.h"

namespace
{

constexpr uint64_t kWord = sizeof(uint64_t);

// The last two values of a time mean something else.
constexpr uint64_t kLatestTime = ~0ull - 2;

// Reads an event out of a copy. False for what is none.
bool ReadEvent(const unsigned char* pbEvent, size_t uSize, uint64_t ullPosition, VORingEventHead* pHead)
{
    if (uSize < sizeof(*pHead))
    {
        return false;
    }
    *pHead = VOLoad<VORingEventHead>(pbEvent);
    constexpr size_t kChecked = offsetof(VORingEventHead, ullPosition);
    uint64_t ullTexts = 0;
    for (const uint32_t uUnits : pHead->auUnits)
    {
        ullTexts += (uUnits + 1ull) * sizeof(VOWCHAR);
    }
    return pHead->uSize >= sizeof(*pHead) && pHead->uSize <= uSize && pHead->uSize % kWord == 0 &&
           pHead->ullPosition == ullPosition && pHead->ullTime <= kLatestTime && pHead->auUnits[0] != 0 &&
           ullTexts <= pHead->uSize - sizeof(*pHead) &&
           pHead->uCheck == VOCheckValue(pbEvent + kChecked, pHead->uSize - kChecked);
}

VOToldEvent Told(const VORingEventHead& head, const unsigned char* pbTexts)
{
    VOToldEvent event = {head.ullTime, {head.auParam[0], head.auParam[1], head.auParam[2]}, {}};
    for (size_t i = 0; i < std::size(event.astrText); ++i)
    {
        event.astrText[i].resize(head.auUnits[i]);
        memcpy(event.astrText[i].data(), pbTexts, head.auUnits[i] * sizeof(VOWCHAR));
        pbTexts += (head.auUnits[i] + size_t{1}) * sizeof(VOWCHAR);
    }
    return event;
}

}  // namespace

bool VOEventRing::Follow()
{
    // Opened anew each time: the publisher may be another one.
    m_pSignal.reset();
    if (!VOAssetRoad::IsWanted() || VOAssetRoad::IsImageHeld(m_eaf) ||
        !VOInstanceLock::IsHeldByAny(kpszVORoadStateName) || !m_section.Open(kpszVOEventRingName, FILE_MAP_READ) ||
        m_section.Size() < sizeof(VOEventRingHead) + kVOEventRingSize || !m_section.BeginsWith(kVOEventRingVersion))
    {
        m_section.Close();
        return false;
    }
    // Nobody steps the word through this view: it can't be written to.
    m_pSignal = std::make_unique<VOSharedSignal>(kpszVOEventRingName, const_cast<uint32_t&>(_Head().uSteps));
    return true;
}

// Goes on behind what can't be seen.
void VOEventRing::_Miss(uint64_t ullPosition)
{
    m_ullMissed = std::min(VOLoadWord(_Head().arrSource[m_eaf].ullNewest), kLatestTime);
    m_ullPosition = ullPosition;
}

// What lies between the position and the end, with nothing in it that was written over meanwhile.
bool VOEventRing::_Copy(std::vector<uint64_t>& vecWords)
{
    const uint64_t ullWritten = VOLoadWord(_Head().ullWritten);
    const uint64_t ullOldest = VOLoadWord(_Head().ullOldest);
    if (ullWritten - ullOldest > kVOEventRingSize || (ullWritten | ullOldest) % kWord != 0)
    {
        return false;
    }
    if (m_ullPosition - ullOldest > ullWritten - ullOldest)
    {
        _Miss(ullOldest);
    }
    constexpr size_t kWords = kVOEventRingSize / kWord;
    const uint64_t* const pullRing = reinterpret_cast<const uint64_t*>(
        static_cast<const unsigned char*>(m_section.Data()) + sizeof(VOEventRingHead));
    const size_t uFirst = static_cast<size_t>(m_ullPosition / kWord % kWords);
    vecWords.resize(static_cast<size_t>(ullWritten - m_ullPosition) / kWord);
    const size_t uBeforeEnd = std::min(vecWords.size(), kWords - uFirst);
    VOLoadWords(vecWords.data(), pullRing + uFirst, uBeforeEnd);
    VOLoadWords(vecWords.data() + uBeforeEnd, pullRing, vecWords.size() - uBeforeEnd);

    const uint64_t ullOldestNow = VOLoadWord(_Head().ullOldest);
    if (ullOldestNow - ullOldest <= m_ullPosition - ullOldest)
    {
        return true;
    }
    // When this is behind all that was copied, the next call begins with what is there then.
    const uint64_t ullLost = ullOldestNow - m_ullPosition;
    if (ullLost > vecWords.size() * kWord || ullLost % kWord != 0)
    {
        return false;
    }
    _Miss(ullOldestNow);
    vecWords.erase(vecWords.begin(), vecWords.begin() + static_cast<std::ptrdiff_t>(ullLost / kWord));
    return true;
}

void VOEventRing::Take(unsigned long long& ullLastTime, std::vector<VOToldEvent>& vecEvents)
{
    const uint64_t ullCovered = VOLoadWord(_Head().arrSource[m_eaf].ullCovered);
    std::vector<uint64_t> vecWords;
    if (!_Copy(vecWords))
    {
        return;
    }
    const unsigned char* const pbEvents = reinterpret_cast<const unsigned char*>(vecWords.data());
    const size_t uSize = vecWords.size() * kWord;
    for (size_t uAt = 0; uAt < uSize;)
    {
        VORingEventHead head;
        if (!ReadEvent(pbEvents + uAt, uSize - uAt, m_ullPosition, &head))
        {
            _Miss(m_ullPosition + (uSize - uAt));
            VOAssetRoad::CountDoubt(m_eaf);
            return;
        }
        if (head.uSource == static_cast<uint32_t>(m_eaf) && head.ullTime >= ullLastTime)
        {
            if (head.ullTimeBefore >= ullLastTime)
            {
                return;
            }
            vecEvents.push_back(Told(head, pbEvents + uAt + sizeof(head)));
            ullLastTime = head.ullTime + 1;
        }
        uAt += head.uSize;
        m_ullPosition += head.uSize;
    }
    if (ullLastTime > m_ullMissed && ullCovered <= kLatestTime)
    {
        ullLastTime = std::max<unsigned long long>(ullLastTime, ullCovered);
    }
}
