// Stretches of code in which a thread isn't suspended.
//
// On Windows the tables behind handles belong to the kernel, which never suspends a thread that is inside. Here they
// are guarded by locks of this layer: a thread that stood still with one of them would stop everybody, the one who is
// to resume it too. So every lock of the layer is taken through KernelLock: a thread that is asked to stand still
// meanwhile does so when it leaves the last of them.
//
// Nothing inside may wait for anything but another such lock. Memory isn't allocated or released there where a resume
// depends on it, since a thread may stand still with the locks of the allocator.
#pragma once

#include <signal.h>

#include <mutex>

class KernelRegion
{
public:
    KernelRegion();
    ~KernelRegion();
    KernelRegion(const KernelRegion&) = delete;
    KernelRegion& operator=(const KernelRegion&) = delete;

private:
    volatile sig_atomic_t* const m_pnDepth;  // the thread's own count; null where nobody can suspend it
};

// Holds a lock of this layer.
class KernelLock
{
public:
    explicit KernelLock(std::mutex& lock) : m_guard(lock) {}

private:
    KernelRegion m_region;  // around the lock: left after it
    std::lock_guard<std::mutex> m_guard;
};
