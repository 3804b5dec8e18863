// A queue of values with the look of a vector, whose pop doesn't move what stands behind.
//
// One thread at a time changes it; which one, its owner settles. empty() and size() may be asked for by any thread at
// any time.
#pragma once

#include <stddef.h>

#include <atomic>
#include <deque>
#include <utility>

template <typename T>
class VOEventQueue
{
public:
    typedef T value_type;
    typedef size_t size_type;
    typedef T& reference;
    typedef const T& const_reference;
    typedef typename std::deque<T>::iterator iterator;
    typedef typename std::deque<T>::const_iterator const_iterator;

    VOEventQueue() = default;
    VOEventQueue(const VOEventQueue& kOther) : m_kItems(kOther.m_kItems), m_uCount(m_kItems.size()) {}
    VOEventQueue& operator=(const VOEventQueue& kOther)
    {
        m_kItems = kOther.m_kItems;
        _Counted();
        return *this;
    }
    ~VOEventQueue() = default;

    bool empty() const { return size() == 0; }
    size_t size() const { return m_uCount.load(std::memory_order_acquire); }

    T& front() { return m_kItems.front(); }
    const T& front() const { return m_kItems.front(); }
    T& back() { return m_kItems.back(); }
    const T& back() const { return m_kItems.back(); }
    T& operator[](size_t uIndex) { return m_kItems[uIndex]; }
    const T& operator[](size_t uIndex) const { return m_kItems[uIndex]; }
    T& at(size_t uIndex) { return m_kItems.at(uIndex); }
    const T& at(size_t uIndex) const { return m_kItems.at(uIndex); }
    iterator begin() { return m_kItems.begin(); }
    iterator end() { return m_kItems.end(); }
    const_iterator begin() const { return m_kItems.begin(); }
    const_iterator end() const { return m_kItems.end(); }
    const_iterator cbegin() const { return m_kItems.begin(); }
    const_iterator cend() const { return m_kItems.end(); }

    void push_back(T kItem)
    {
        m_kItems.push_back(std::move(kItem));
        _Counted();
    }

    template <typename... Arguments>
    T& emplace_back(Arguments&&... kArguments)
    {
        push_back(T(std::forward<Arguments>(kArguments)...));
        return m_kItems.back();
    }

    void pop_back()
    {
        m_kItems.pop_back();
        _Counted();
    }

    iterator insert(const_iterator iterBefore, T kItem)
    {
        const iterator iterNew = m_kItems.insert(iterBefore, std::move(kItem));
        _Counted();
        return iterNew;
    }

    iterator erase(const_iterator iterItem)
    {
        const iterator iterNext = m_kItems.erase(iterItem);
        _Counted();
        return iterNext;
    }

    iterator erase(const_iterator iterFirst, const_iterator iterEnd)
    {
        const iterator iterNext = m_kItems.erase(iterFirst, iterEnd);
        _Counted();
        return iterNext;
    }

    void push_front(T kItem)
    {
        m_kItems.push_front(std::move(kItem));
        _Counted();
    }

    // Takes the first value out. There has to be one.
    T pop_front()
    {
        T kFirst = std::move(m_kItems.front());
        m_kItems.pop_front();
        _Counted();
        return kFirst;
    }

    void clear()
    {
        m_kItems.clear();
        _Counted();
    }

private:
    void _Counted() { m_uCount.store(m_kItems.size(), std::memory_order_release); }

    std::deque<T> m_kItems;
    std::atomic<size_t> m_uCount{0};
};
