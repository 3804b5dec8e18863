#include "platform/vo_shared_signal.h"

#include <algorithm>

#include "platform/vo_platform.h"
#include "platform/vo_shared_word.h"

// Step n sets the event of turn n, and resets the next one's first. So the event of a step stays set until all turns
// have been: whoever has seen the word before the step, and waits for its event a moment late, finds it set.

VOSharedSignal::VOSharedSignal(const VOWCHAR* pszName, uint32_t& word) : m_word(word)
{
    for (uint32_t uTurn = 0; uTurn < kTurns; ++uTurn)
    {
        const VOWString strName = VOWString(pszName) + L"~turn" + static_cast<wchar_t>(L'0' + uTurn);
        m_ahTurn[uTurn] = CreateEventW(nullptr, TRUE, FALSE, strName.c_str());
    }
}

VOSharedSignal::~VOSharedSignal()
{
    for (void* const hTurn : m_ahTurn)
    {
        if (hTurn != nullptr)
        {
            CloseHandle(hTurn);
        }
    }
}

uint32_t VOSharedSignal::Now() const
{
    return VOLoadWord(m_word);
}

void VOSharedSignal::Step()
{
    const uint32_t uNext = VOLoadWord(m_word) + 1;
    ResetEvent(m_ahTurn[(uNext + 1) % kTurns]);
    VOStoreWord(m_word, uNext);
    SetEvent(m_ahTurn[uNext % kTurns]);
}

bool VOSharedSignal::WaitWhile(uint32_t uSeen, uint32_t uMilliseconds) const
{
    constexpr uint32_t kAskingPause = 10;
    const ULONGLONG ullBegin = GetTickCount64();
    while (VOLoadWord(m_word) == uSeen)
    {
        const ULONGLONG ullGone = GetTickCount64() - ullBegin;
        if (ullGone >= uMilliseconds)
        {
            break;
        }
        const uint32_t uLeft = static_cast<uint32_t>(uMilliseconds - ullGone);
        const HANDLE hTurn = m_ahTurn[(uSeen + 1) % kTurns];
        if (hTurn == nullptr || WaitForSingleObject(hTurn, std::min(uLeft, kMissedPause)) == WAIT_FAILED)
        {
            Sleep(std::min(uLeft, kAskingPause));
        }
    }
    return VOLoadWord(m_word) != uSeen;
}
