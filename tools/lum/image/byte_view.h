// Bytes of an image that isn't trusted, and what is found wrong with them.
#pragma once

#include <fmt/format.h>
#include <stdint.h>
#include <string.h>

#include <string>
#include <string_view>
#include <vector>

namespace lum
{

// A range of bytes that knows where it lies in the whole. What lies behind its end reads as zero; whoever reads asks
// Has first where that makes a difference.
class ByteView
{
public:
    ByteView() = default;
    ByteView(const unsigned char* pbData, uint64_t ullSize, uint64_t ullOffset = 0)
        : m_pbData(pbData), m_ullSize(ullSize), m_ullOffset(ullOffset)
    {
    }

    uint64_t Size() const { return m_ullSize; }
    const unsigned char* Data() const { return m_pbData; }

    // The offset of a place in here, counted from the start of the whole.
    uint64_t Offset(uint64_t ullAt = 0) const { return m_ullOffset + ullAt; }

    bool Has(uint64_t ullAt, uint64_t ullSize) const { return ullAt <= m_ullSize && ullSize <= m_ullSize - ullAt; }

    // A part, cut where this one ends.
    ByteView Part(uint64_t ullAt, uint64_t ullSize) const
    {
        const uint64_t ullStart = ullAt < m_ullSize ? ullAt : m_ullSize;
        const uint64_t ullRest = m_ullSize - ullStart;
        return ByteView(m_pbData + ullStart, ullSize < ullRest ? ullSize : ullRest, m_ullOffset + ullStart);
    }

    template <typename T>
    T Load(uint64_t ullAt) const
    {
        T value{};
        if (Has(ullAt, sizeof(T)))
        {
            memcpy(&value, m_pbData + ullAt, sizeof(T));
        }
        return value;
    }

    uint32_t Word(uint64_t ullAt) const { return Load<uint32_t>(ullAt); }
    uint64_t Long(uint64_t ullAt) const { return Load<uint64_t>(ullAt); }

private:
    const unsigned char* m_pbData = nullptr;
    uint64_t m_ullSize = 0;
    uint64_t m_ullOffset = 0;
};

// What is wrong, and where. Only the first ones are kept in words; all are counted.
class Findings
{
public:
    struct Finding
    {
        uint64_t ullOffset;
        std::string strText;
    };

    template <typename... Values>
    void Add(uint64_t ullOffset, fmt::format_string<const Values&...> strText, const Values&... values)
    {
        ++m_ullCount;
        if (m_vecFirst.size() < kKept)
        {
            m_vecFirst.push_back({ullOffset, fmt::format(strText, values...)});
        }
    }

    uint64_t Count() const { return m_ullCount; }
    const std::vector<Finding>& First() const { return m_vecFirst; }

private:
    static constexpr size_t kKept = 50;
    uint64_t m_ullCount = 0;
    std::vector<Finding> m_vecFirst;
};

}  // namespace lum
