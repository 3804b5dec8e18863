// Waiting for a publication: by the second road's words where there are any, otherwise by looking twice a second.
#include <algorithm>

#include "mapping/asset_road.h"
#include "platform/vo_platform.h"
#include "platform/vo_shared_word.h"
#include "vots_file_mapping.h"

using namespace LUMTrayService::Inspector;

namespace
{

// How long one look lasts. A publisher that offers no base, or is killed, steps no word.
constexpr unsigned int kLookAgain = 500;

// Asks until it is so, and waits for a step of the signal in between: one that comes between asking and waiting ends
// the wait at once.
template <typename Condition>
bool WaitUntil(unsigned int uMilliseconds, const VOSharedSignal* pSignal, Condition condition)
{
    const ULONGLONG ullEnd = GetTickCount64() + uMilliseconds;
    for (;;)
    {
        const uint32_t uSeen = pSignal != nullptr ? pSignal->Now() : 0;
        const ULONGLONG ullNow = GetTickCount64();
        if (condition())
        {
            return true;
        }
        if (ullNow >= ullEnd)
        {
            return false;
        }
        const unsigned int uLook = static_cast<unsigned int>(std::min<ULONGLONG>(ullEnd - ullNow, kLookAgain));
        if (pSignal != nullptr)
        {
            pSignal->WaitWhile(uSeen, uLook);
        }
        else
        {
            Sleep(uLook);
        }
    }
}

}  // namespace

int VOTSFileMappingInspector::WaitForChange(unsigned int uMilliseconds) const
{
    return WaitUntil(uMilliseconds, m_pRoad->Signal(), [this] { return _HasNews(); });
}

int VOTSFileMappingAssemble::WaitForChange(unsigned int uMilliseconds) const
{
    const VOSharedSignal* pSignal = nullptr;
    for (const VOTSFileMappingInspector* const pkInspector : m_pArrInspector)
    {
        pSignal = pSignal == nullptr && pkInspector != nullptr ? pkInspector->m_pRoad->AnySignal() : pSignal;
    }
    return WaitUntil(uMilliseconds, pSignal,
                     [this]
                     {
                         return std::any_of(std::begin(m_pArrInspector), std::end(m_pArrInspector),
                                            [](const VOTSFileMappingInspector* pkInspector)
                                            { return pkInspector != nullptr && pkInspector->_HasNews(); });
                     });
}

// Whether OpenMappingData would load something.
bool VOTSFileMappingInspector::_HasNews() const
{
    if (VOLoadWord(m_pMappingState) == nullptr || _StateInfo() == nullptr)
    {
        return false;
    }
    const AssetNodeStateInfo& stateInfo = *_StateInfo();
    return VOLoadWord(stateInfo.bEnable) != 0 && VOLoadWord(stateInfo.uUpdateCount) != 0 && !_IsCurrent(stateInfo);
}
