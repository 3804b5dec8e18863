#include "diagnostics/check.h"
#include "platform/vo_shared_word.h"
#include "vo_small_objects.h"

// ---------------------------------------------------------------------------------------------------------------------
// VOStackLock
// ---------------------------------------------------------------------------------------------------------------------

VOStackLock::VOStackLock(int nState) : m_nLockState(nState) {}
VOStackLock::VOStackLock(const VOStackLock& rkOther) = default;
VOStackLock& VOStackLock::operator=(const VOStackLock& rkOther) = default;
VOStackLock::~VOStackLock() = default;

int VOStackLock::DoLock(int nState)
{
    m_stackLockedState.push_back(m_nLockState);
    m_nLockState = nState;
    return 1;
}

int VOStackLock::ReleaseLock()
{
    if (!VO_STEP(!m_stackLockedState.empty()))
    {
        return 0;
    }
    m_nLockState = m_stackLockedState.back();
    m_stackLockedState.pop_back();
    return 1;
}

int VOStackLock::IsLocked() const
{
    return m_nLockState;
}

// ---------------------------------------------------------------------------------------------------------------------
// ZRecoverState
// ---------------------------------------------------------------------------------------------------------------------

ZRecoverState::ZRecoverState(int* pnTarget, int nRecoverValue) : m_nRecoverValue(nRecoverValue), m_pnTarget(pnTarget) {}
ZRecoverState::ZRecoverState(const ZRecoverState& rkOther) = default;
ZRecoverState& ZRecoverState::operator=(const ZRecoverState& rkOther) = default;

ZRecoverState::~ZRecoverState()
{
    if (m_pnTarget != nullptr)
    {
        // Other threads may read the integer meanwhile.
        VOStoreWord(*m_pnTarget, m_nRecoverValue);
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// ZRef
// ---------------------------------------------------------------------------------------------------------------------

ZRef::ZRef() : m_uRefCount(1) {}
ZRef::ZRef(const ZRef& rkOther) : m_uRefCount(rkOther.RefCount()) {}

ZRef& ZRef::operator=(const ZRef& rkOther)
{
    VOStoreWord(m_uRefCount, rkOther.RefCount());
    return *this;
}

ZRef::~ZRef() = default;

unsigned int ZRef::AddRef()
{
    return VOAddToWord(m_uRefCount, 1);
}

void ZRef::Release()
{
    if (VOAddToWord(m_uRefCount, -1) == 0)
    {
        delete this;
    }
}

unsigned int ZRef::RefCount() const
{
    return VOLoadWord(m_uRefCount);
}

// ---------------------------------------------------------------------------------------------------------------------
// VOBaseEvent
// ---------------------------------------------------------------------------------------------------------------------

IVOBaseEvent::IVOBaseEvent() = default;
IVOBaseEvent::IVOBaseEvent(const IVOBaseEvent& rkOther) = default;
IVOBaseEvent& IVOBaseEvent::operator=(const IVOBaseEvent& rkOther) = default;
IVOBaseEvent::~IVOBaseEvent() = default;

VOBaseEvent::VOBaseEvent() : m_nAccepted(1) {}
VOBaseEvent::VOBaseEvent(const VOBaseEvent& rkOther) : IVOBaseEvent(), m_nAccepted(rkOther.m_nAccepted) {}

VOBaseEvent& VOBaseEvent::operator=(const VOBaseEvent& rkOther)
{
    m_nAccepted = rkOther.m_nAccepted;
    return *this;
}

VOBaseEvent::~VOBaseEvent() = default;

int VOBaseEvent::Accept()
{
    m_nAccepted = 1;
    return 1;
}

int VOBaseEvent::IsAccepted() const
{
    return m_nAccepted;
}

int VOBaseEvent::Reject()
{
    m_nAccepted = 0;
    return 1;
}

int VOBaseEvent::IsRejected() const
{
    return m_nAccepted == 0 ? 1 : 0;
}
