#include "platform/vo_shared_signal.h"

#include <errno.h>
#include <limits.h>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/posix/waits.h"
#include "platform/sanitizers.h"
#include "platform/vo_shared_word.h"

VOSharedSignal::VOSharedSignal(const VOWCHAR*, uint32_t& word) : m_word(word) {}

VOSharedSignal::~VOSharedSignal() = default;

uint32_t VOSharedSignal::Now() const
{
    return VOLoadWord(m_word);
}

void VOSharedSignal::Step()
{
    const int nError = errno;
    VOAddToWord(m_word, 1);
    syscall(SYS_futex, &m_word, FUTEX_WAKE, INT_MAX, nullptr, nullptr, 0);
    errno = nError;
}

bool VOSharedSignal::WaitWhile(uint32_t uSeen, uint32_t uMilliseconds) const
{
    const int nError = errno;
    const Deadline deadline(uMilliseconds);
    while (VOLoadWord(m_word) == uSeen && !deadline.IsOver())
    {
        // As for every wait of this layer: a thread under the thread sanitizer has to come by now and then.
        const Deadline soon(10);
        const timespec* const pUntil = VO_THREAD_SANITIZER != 0 ? soon.Get() : deadline.Get();
        syscall(SYS_futex, &m_word, FUTEX_WAIT_BITSET, uSeen, pUntil, nullptr, FUTEX_BITSET_MATCH_ANY);
    }
    errno = nError;
    return VOLoadWord(m_word) != uSeen;
}
