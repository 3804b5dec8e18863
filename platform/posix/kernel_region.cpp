#include "platform/posix/kernel_region.h"

#include <signal.h>

#include <atomic>

#include "platform/posix/thread_object.h"

namespace
{
// How many regions the thread is in. The model makes it readable in a signal handler.
thread_local volatile sig_atomic_t s_nDepth __attribute__((tls_model("initial-exec"))) = 0;
}  // namespace

KernelRegion::KernelRegion()
{
    s_nDepth = s_nDepth + 1;
    std::atomic_signal_fence(std::memory_order_seq_cst);
}

KernelRegion::~KernelRegion()
{
    std::atomic_signal_fence(std::memory_order_seq_cst);
    s_nDepth = s_nDepth - 1;
    std::atomic_signal_fence(std::memory_order_seq_cst);
    if (s_nDepth == 0)
    {
        // A request that came inside was passed over by the signal handler.
        ThreadObject::StandStillIfAsked();
    }
}

bool KernelRegion::IsInside()
{
    return s_nDepth != 0;
}
