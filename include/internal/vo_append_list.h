// A list that only grows, and that any thread may read while one thread at a time appends: what has been read stays
// where it is. Reading takes no lock, so that a reader that is stopped half-way holds nobody up.
#pragma once

#include <stddef.h>

#include <array>
#include <atomic>
#include <bit>
#include <memory>
#include <utility>

template <typename T>
class VOAppendList
{
public:
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
