// A queue of values that is a vector to whoever handles it: in one piece, the head at index 0, with a vector's
// operations. Its pop doesn't move what stands behind: the places of values that are gone are kept in front of the
// head, and used up again when the vector would have to grow.
//
// One thread at a time changes it or looks into it; which one, its owner settles. empty() and size() may be asked for
// by any thread at any time.
#pragma once

#include <stddef.h>

#include <algorithm>
#include <atomic>
#include <initializer_list>
#include <iterator>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <vector>

template <typename T>
class VOEventQueue
{
    typedef std::vector<T> Items;
    static_assert(std::is_nothrow_move_constructible_v<T> && std::is_nothrow_move_assignable_v<T>,
                  "what fails leaves the queue as it was");

public:
    typedef T value_type;
    typedef size_t size_type;
    typedef ptrdiff_t difference_type;
    typedef T& reference;
    typedef const T& const_reference;
    typedef T* pointer;
    typedef const T* const_pointer;
    typedef typename Items::iterator iterator;
    typedef typename Items::const_iterator const_iterator;
    typedef typename Items::reverse_iterator reverse_iterator;
    typedef typename Items::const_reverse_iterator const_reverse_iterator;

    VOEventQueue() = default;
    VOEventQueue(std::initializer_list<T> items) : m_vecItems(items) { _Counted(); }
    VOEventQueue(const VOEventQueue& kOther) : m_vecItems(kOther.begin(), kOther.end()) { _Counted(); }
    VOEventQueue& operator=(const VOEventQueue& kOther) { return _Become(Items(kOther.begin(), kOther.end())); }
    VOEventQueue& operator=(std::initializer_list<T> items) { return _Become(items); }
    ~VOEventQueue() = default;

    bool empty() const { return size() == 0; }
    size_t size() const { return m_uCount.load(std::memory_order_acquire); }
    size_t capacity() const { return m_vecItems.capacity() - m_uGone; }
    size_t max_size() const { return m_vecItems.max_size(); }

    T& operator[](size_t uIndex) { return m_vecItems[m_uGone + uIndex]; }
    const T& operator[](size_t uIndex) const { return m_vecItems[m_uGone + uIndex]; }
    T& at(size_t uIndex) { return const_cast<T&>(std::as_const(*this).at(uIndex)); }
    const T& at(size_t uIndex) const
    {
        return uIndex < size() ? (*this)[uIndex] : throw std::out_of_range("VOEventQueue::at");
    }
    T& front() { return (*this)[0]; }
    const T& front() const { return (*this)[0]; }
    T& back() { return m_vecItems.back(); }
    const T& back() const { return m_vecItems.back(); }
    T* data() { return m_vecItems.data() + m_uGone; }
    const T* data() const { return m_vecItems.data() + m_uGone; }

    iterator begin() { return m_vecItems.begin() + static_cast<ptrdiff_t>(m_uGone); }
    const_iterator begin() const { return cbegin(); }
    const_iterator cbegin() const { return m_vecItems.cbegin() + static_cast<ptrdiff_t>(m_uGone); }
    iterator end() { return m_vecItems.end(); }
    const_iterator end() const { return cend(); }
    const_iterator cend() const { return m_vecItems.cend(); }
    reverse_iterator rbegin() { return reverse_iterator(end()); }
    const_reverse_iterator rbegin() const { return const_reverse_iterator(cend()); }
    reverse_iterator rend() { return reverse_iterator(begin()); }
    const_reverse_iterator rend() const { return const_reverse_iterator(cbegin()); }

    void reserve(size_t uCount)
    {
        if (uCount > capacity())
        {
            _Renew(uCount);
        }
        m_bReserved = true;
    }
    void shrink_to_fit() { _Renew(size()); }

    void push_back(T item)
    {
        _MakeRoom(1);
        m_vecItems.push_back(std::move(item));
        _Counted();
    }

    template <typename... Arguments>
    T& emplace_back(Arguments&&... arguments)
    {
        push_back(T(std::forward<Arguments>(arguments)...));
        return back();
    }

    void pop_back()
    {
        m_vecItems.pop_back();
        _Counted();
    }

    // Takes the first value out. There has to be one.
    T pop_front()
    {
        T first = std::exchange(front(), T());
        ++m_uGone;
        _Counted();
        if (empty() && m_uGone > kKeptPlaces && !m_bReserved)
        {
            // The memory of a burst isn't held for good.
            Items().swap(m_vecItems);
            m_uGone = 0;
        }
        return first;
    }

    iterator insert(const_iterator iterBefore, T item)
    {
        const ptrdiff_t nIndex = iterBefore - cbegin();
        push_back(std::move(item));
        std::rotate(begin() + nIndex, end() - 1, end());
        return begin() + nIndex;
    }

    template <typename... Arguments>
    iterator emplace(const_iterator iterBefore, Arguments&&... arguments)
    {
        return insert(iterBefore, T(std::forward<Arguments>(arguments)...));
    }

    iterator insert(const_iterator iterBefore, size_t uCount, const T& item)
    {
        return _Insert(iterBefore, Items(uCount, item));
    }

    template <typename Iterator, typename = typename std::iterator_traits<Iterator>::iterator_category>
    iterator insert(const_iterator iterBefore, Iterator iterFirst, Iterator iterEnd)
    {
        return _Insert(iterBefore, Items(iterFirst, iterEnd));
    }

    iterator insert(const_iterator iterBefore, std::initializer_list<T> items)
    {
        return _Insert(iterBefore, Items(items));
    }

    iterator erase(const_iterator iterItem) { return erase(iterItem, iterItem + 1); }

    iterator erase(const_iterator iterFirst, const_iterator iterEnd)
    {
        const iterator iterNext = m_vecItems.erase(iterFirst, iterEnd);
        _Counted();
        return iterNext;
    }

    void resize(size_t uCount) { resize(uCount, T()); }

    void resize(size_t uCount, const T& item)
    {
        if (uCount > size())
        {
            _Insert(cend(), Items(uCount - size(), item));
        }
        else
        {
            erase(cbegin() + static_cast<ptrdiff_t>(uCount), cend());
        }
    }

    template <typename Iterator, typename = typename std::iterator_traits<Iterator>::iterator_category>
    void assign(Iterator iterFirst, Iterator iterEnd)
    {
        _Become(Items(iterFirst, iterEnd));
    }
    void assign(size_t uCount, const T& item) { _Become(Items(uCount, item)); }
    void assign(std::initializer_list<T> items) { _Become(items); }

    // With a plain vector.
    void swap(std::vector<T>& vecOther)
    {
        _DropGone();
        m_vecItems.swap(vecOther);
        _Counted();
    }

    void clear()
    {
        m_vecItems.clear();
        m_uGone = 0;
        _Counted();
    }

private:
    static constexpr size_t kKeptPlaces = 4096;

    void _Counted() { m_uCount.store(m_vecItems.size() - m_uGone, std::memory_order_release); }

    VOEventQueue& _Become(Items vecItems)
    {
        swap(vecItems);
        return *this;
    }

    void _DropGone()
    {
        m_vecItems.erase(m_vecItems.begin(), begin());
        m_uGone = 0;
    }

    // Moves the values to the front of memory of their own.
    void _Renew(size_t uCapacity)
    {
        Items vecItems;
        vecItems.reserve(uCapacity);
        vecItems.insert(vecItems.end(), std::make_move_iterator(begin()), std::make_move_iterator(end()));
        m_vecItems.swap(vecItems);
        m_uGone = 0;
    }

    // Each value moves once for a place that was given up, or once for each doubling: pushing stays constant on
    // average.
    void _MakeRoom(size_t uMore)
    {
        if (uMore <= capacity() - size())
        {
            return;
        }
        if (m_uGone >= size() && uMore <= m_vecItems.capacity() - size())
        {
            _DropGone();
            return;
        }
        _Renew(std::max(2 * size(), size() + uMore));
    }

    iterator _Insert(const_iterator iterBefore, Items vecNew)
    {
        const ptrdiff_t nIndex = iterBefore - cbegin();
        _MakeRoom(vecNew.size());
        m_vecItems.insert(cbegin() + nIndex, std::make_move_iterator(vecNew.begin()),
                          std::make_move_iterator(vecNew.end()));
        _Counted();
        return begin() + nIndex;
    }

    Items m_vecItems;
    size_t m_uGone = 0;  // places in front of the head
    bool m_bReserved = false;
    std::atomic<size_t> m_uCount{0};
};

template <typename T>
bool operator==(const VOEventQueue<T>& left, const VOEventQueue<T>& right)
{
    return std::equal(left.begin(), left.end(), right.begin(), right.end());
}
