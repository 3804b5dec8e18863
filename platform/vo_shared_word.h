// Words that other threads or processes read and change at any time: plain integers, pointers and enumerations, whose
// type and place are fixed, in objects as well as in sections. A word lies at a multiple of its size.
//
// One order for all of them: a load acquires, a store releases, and what reads and writes in one step does both.
// Whoever loads a value sees what its writer did before storing it. Between two words there is no order but that.
//
// A word is loaded once, and what was loaded is what is used.
#pragma once

#include <stddef.h>

#include <atomic>
#include <type_traits>

template <typename T>
T VOLoadWord(const T& word)
{
    static_assert(std::atomic_ref<T>::is_always_lock_free, "a lock isn't shared with other processes");
    return std::atomic_ref<T>(const_cast<T&>(word)).load(std::memory_order_acquire);
}

template <typename T>
void VOStoreWord(T& word, std::type_identity_t<T> kValue)
{
    std::atomic_ref<T>(word).store(kValue, std::memory_order_release);
}

// Adds in one step, and gives the new value. VOAddToWord(word, -1) takes away.
template <typename T>
T VOAddToWord(T& word, int nStep)
{
    static_assert(std::is_unsigned_v<T>, "a count may go round the end of its range");
    const T step = static_cast<T>(nStep);
    return static_cast<T>(std::atomic_ref<T>(word).fetch_add(step, std::memory_order_acq_rel) + step);
}

// Stores in one step with the load of the value before, which it gives.
template <typename T>
T VOExchangeWord(T& word, std::type_identity_t<T> kValue)
{
    return std::atomic_ref<T>(word).exchange(kValue, std::memory_order_acq_rel);
}

// Stores if the word is as expected; otherwise false, with expected what it is.
template <typename T>
bool VOReplaceWord(T& word, std::type_identity_t<T>& expected, std::type_identity_t<T> kValue)
{
    return std::atomic_ref<T>(word).compare_exchange_strong(expected, kValue, std::memory_order_acq_rel,
                                                            std::memory_order_acquire);
}

// Copies of several words: each is of one moment, and two of them may be of two.
template <typename T>
void VOLoadWords(T* pTo, const T* pWords, size_t uCount)
{
    for (size_t i = 0; i < uCount; ++i)
    {
        pTo[i] = VOLoadWord(pWords[i]);
    }
}

template <typename T>
void VOStoreWords(T* pWords, const T* pFrom, size_t uCount)
{
    for (size_t i = 0; i < uCount; ++i)
    {
        VOStoreWord(pWords[i], pFrom[i]);
    }
}
