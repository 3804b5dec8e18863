// An update state section as a test's publisher makes it: its bytes, and its words in place.
#pragma once

#include <gtest/gtest.h>

#include <atomic>

#include "platform/vo_section_publisher.h"
#include "support/bytes.h"

namespace votest
{
class StateSection
{
public:
    explicit StateSection(const VOWCHAR* pszName) : m_pszName(pszName) {}

    void Put(const Bytes& state) { ASSERT_TRUE(m_section.Replace(m_pszName, state.data(), state.size())); }
    void Drop() { EXPECT_TRUE(m_section.Withdraw()); }

    // A word by its offset in the section.
    template <typename T>
    T Word(size_t uOffset) const
    {
        return std::atomic_ref<T>(*_At<T>(uOffset)).load();
    }
    template <typename T>
    void SetWord(size_t uOffset, T value) const
    {
        std::atomic_ref<T>(*_At<T>(uOffset)).store(value);
    }

    unsigned char* Data() const { return static_cast<unsigned char*>(m_section.Data()); }

private:
    template <typename T>
    T* _At(size_t uOffset) const
    {
        return reinterpret_cast<T*>(Data() + uOffset);
    }

    const VOWCHAR* m_pszName;
    VOPublishedSection m_section;
};
}  // namespace votest
