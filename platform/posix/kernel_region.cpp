#include "platform/posix/kernel_region.h"

#include <atomic>

#include "platform/posix/thread_object.h"

KernelRegion::KernelRegion() : m_pnDepth(ThreadObject::RegionDepth())
{
    if (m_pnDepth != nullptr)
    {
        *m_pnDepth = *m_pnDepth + 1;
        std::atomic_signal_fence(std::memory_order_seq_cst);
    }
}

KernelRegion::~KernelRegion()
{
    if (m_pnDepth != nullptr)
    {
        std::atomic_signal_fence(std::memory_order_seq_cst);
        *m_pnDepth = *m_pnDepth - 1;
        std::atomic_signal_fence(std::memory_order_seq_cst);
        if (*m_pnDepth == 0)
        {
            // A request that came inside was passed over by the signal handler.
            ThreadObject::StandStillIfAsked();
        }
    }
}
