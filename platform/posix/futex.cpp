#include "platform/posix/futex.h"

#include <errno.h>
#include <limits.h>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/sanitizers.h"
#include "platform/vo_platform.h"

static_assert(sizeof(std::atomic<uint32_t>) == sizeof(uint32_t), "the system waits for a plain word");

Deadline::Deadline(uint32_t uMilliseconds) : m_bNever(uMilliseconds == INFINITE)
{
    clock_gettime(CLOCK_MONOTONIC, &m_time);
    m_time.tv_sec += uMilliseconds / 1000;
    m_time.tv_nsec += static_cast<long>(uMilliseconds % 1000) * 1000000;
    if (m_time.tv_nsec >= 1000000000)
    {
        m_time.tv_nsec -= 1000000000;
        ++m_time.tv_sec;
    }
}

bool Deadline::IsOver() const
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return !m_bNever && (now.tv_sec != m_time.tv_sec ? now.tv_sec > m_time.tv_sec : now.tv_nsec >= m_time.tv_nsec);
}

void FutexWait(const std::atomic<uint32_t>& word, uint32_t uValue, const timespec* pDeadline)
{
    const int nError = errno;
    // A deadline that is a point of time: an interrupted wait doesn't begin anew. There is always one, because the
    // system goes on by itself, behind a signal, with a wait that has none.
    timespec deadline = pDeadline != nullptr ? *pDeadline : timespec{4000000000, 0};
    // The thread sanitizer puts a signal off to the next call that it knows, and it doesn't know this one: a thread has
    // to come by now and then.
    if (VO_THREAD_SANITIZER != 0)
    {
        deadline = *Deadline(10).Get();
    }
    syscall(SYS_futex, &word, FUTEX_WAIT_BITSET_PRIVATE, uValue, &deadline, nullptr, FUTEX_BITSET_MATCH_ANY);
    errno = nError;
}

void FutexWakeAll(const std::atomic<uint32_t>& word)
{
    const int nError = errno;
    syscall(SYS_futex, &word, FUTEX_WAKE_PRIVATE, INT_MAX, nullptr, nullptr, 0);
    errno = nError;
}
