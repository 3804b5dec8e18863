// A list with the look of a vector that only grows, and that any thread may read while one thread at a time appends:
// what has been read stays where it is. Reading takes no lock, so that a reader that is stopped half-way holds nobody
// up.
#pragma once

#include <stddef.h>

#include <array>
#include <atomic>
#include <bit>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <utility>

template <typename T>
class VOAppendList
{
public:
    // Goes from the first item to the last one that was there when end() was asked for.
    class const_iterator
    {
    public:
        typedef std::forward_iterator_tag iterator_category;
        typedef T value_type;
        typedef ptrdiff_t difference_type;
        typedef const T* pointer;
        typedef const T& reference;

        const_iterator() = default;
        const_iterator(const VOAppendList* pkList, size_t uIndex) : m_pkList(pkList), m_uIndex(uIndex) {}

        const T& operator*() const { return (*m_pkList)[m_uIndex]; }
        const T* operator->() const { return &(*m_pkList)[m_uIndex]; }
        const_iterator& operator++()
        {
            ++m_uIndex;
            return *this;
        }
        const_iterator operator++(int)
        {
            const const_iterator kBefore = *this;
            ++m_uIndex;
            return kBefore;
        }
        bool operator==(const const_iterator& kOther) const { return m_uIndex == kOther.m_uIndex; }

    private:
        const VOAppendList* m_pkList = nullptr;
        size_t m_uIndex = 0;
    };
    typedef const_iterator iterator;
    typedef T value_type;
    typedef size_t size_type;
    typedef const T& reference;
    typedef const T& const_reference;

    VOAppendList() = default;
    VOAppendList(const VOAppendList& kOther) { _Append(kOther); }
    VOAppendList& operator=(const VOAppendList& kOther)
    {
        if (this != &kOther)
        {
            m_uCount.store(0, std::memory_order_release);
            _Append(kOther);
        }
        return *this;
    }
    ~VOAppendList() = default;

    bool empty() const { return size() == 0; }
    size_t size() const { return m_uCount.load(std::memory_order_acquire); }

    // uIndex is below a size that was read before.
    const T& operator[](size_t uIndex) const { return m_akBlocks[_BlockOf(uIndex)][_PlaceOf(uIndex)]; }

    // Throws std::out_of_range behind the last item.
    const T& at(size_t uIndex) const
    {
        if (uIndex >= size())
        {
            throw std::out_of_range("VOAppendList::at");
        }
        return (*this)[uIndex];
    }

    const T& front() const { return (*this)[0]; }
    const T& back() const { return (*this)[size() - 1]; }
    const_iterator begin() const { return const_iterator(this, 0); }
    const_iterator end() const { return const_iterator(this, size()); }

    void push_back(T kItem)
    {
        const size_t uCount = size();
        std::unique_ptr<T[]>& pBlock = m_akBlocks[_BlockOf(uCount)];
        if (pBlock == nullptr)
        {
            pBlock = std::make_unique<T[]>(kFirstBlock << _BlockOf(uCount));
        }
        pBlock[_PlaceOf(uCount)] = std::move(kItem);
        m_uCount.store(uCount + 1, std::memory_order_release);
    }

private:
    // Block n holds kFirstBlock * 2^n items, so that no item ever moves.
    static constexpr size_t kFirstBlock = 8;
    static constexpr size_t kBlocks = 48;

    static size_t _BlockOf(size_t uIndex) { return std::bit_width(uIndex / kFirstBlock + 1) - 1; }
    static size_t _PlaceOf(size_t uIndex) { return uIndex - kFirstBlock * ((size_t{1} << _BlockOf(uIndex)) - 1); }

    void _Append(const VOAppendList& kOther)
    {
        const size_t uCount = kOther.size();
        for (size_t i = 0; i < uCount; ++i)
        {
            push_back(kOther[i]);
        }
    }

    std::array<std::unique_ptr<T[]>, kBlocks> m_akBlocks{};
    std::atomic<size_t> m_uCount{0};
};
