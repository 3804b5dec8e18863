// Empty where the platform layer is built without fault points.
#include "support/fault_points.h"

#if defined(VOBASE_FAULT_POINTS)

#include <set>

namespace
{
struct FaultState
{
    std::mutex lock;
    std::set<std::string> setNames;
    std::string strArmed;
    bool bArmed = false;
    bool bAnyName = false;
    bool bPersistent = false;
    unsigned uNth = 0;
    unsigned uHits = 0;
    unsigned uFired = 0;
};

// Never destroyed: threads may still pass fault points while the process ends.
FaultState& State()
{
    static FaultState* const s_pState = new FaultState;
    return *s_pState;
}
}  // namespace

bool VOFaultPointHit(const char* pszName)
{
    FaultState& state = State();
    const VOFaultLock guard(state.lock);
    state.setNames.insert(pszName);
    if (!state.bArmed || (!state.bAnyName && state.strArmed != pszName))
    {
        return false;
    }
    ++state.uHits;
    const bool bFire = state.bPersistent ? state.uHits >= state.uNth : state.uHits == state.uNth;
    state.uFired += bFire ? 1 : 0;
    return bFire;
}

void VOFaultArm(const char* pszName, unsigned uNth, bool bPersistent)
{
    FaultState& state = State();
    const VOFaultLock guard(state.lock);
    state.bArmed = true;
    state.bAnyName = pszName == nullptr;
    state.strArmed = pszName != nullptr ? pszName : "";
    state.bPersistent = bPersistent;
    state.uNth = uNth;
    state.uHits = 0;
    state.uFired = 0;
}

void VOFaultDisarm()
{
    FaultState& state = State();
    const VOFaultLock guard(state.lock);
    state.bArmed = false;
}

unsigned VOFaultHits()
{
    FaultState& state = State();
    const VOFaultLock guard(state.lock);
    return state.uHits;
}

unsigned VOFaultFired()
{
    FaultState& state = State();
    const VOFaultLock guard(state.lock);
    return state.uFired;
}

std::vector<std::string> VOFaultNames()
{
    FaultState& state = State();
    const VOFaultLock guard(state.lock);
    return std::vector<std::string>(state.setNames.begin(), state.setNames.end());
}

#endif
