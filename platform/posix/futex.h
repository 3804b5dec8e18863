// Waiting for a word of memory to change. Nothing here takes a lock: all of it may be used in a signal handler.
#pragma once

#include <stdint.h>
#include <time.h>

#include <atomic>

// A point of time of the monotonic clock, or none.
class Deadline
{
public:
    // So many milliseconds from now; INFINITE is never.
    explicit Deadline(uint32_t uMilliseconds);

    // Null for never.
    const timespec* Get() const { return m_bNever ? nullptr : &m_time; }
    bool IsOver() const;

private:
    timespec m_time = {};
    bool m_bNever = false;
};

// Returns when the word was woken, when it doesn't hold uValue, when the deadline is over or when a signal came: the
// caller looks again. errno stays as it was.
void FutexWait(const std::atomic<uint32_t>& word, uint32_t uValue, const timespec* pDeadline);

// Wakes all who wait for the word.
void FutexWakeAll(const std::atomic<uint32_t>& word);
