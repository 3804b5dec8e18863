// Which elements of an array were written to in place, for whoever publishes the differences.
#pragma once

#include <new>
#include <vector>

class VOWriteJournal
{
public:
    // Never fails: without memory everything counts as written to.
    void Note(unsigned int uElement) noexcept
    {
        try
        {
            m_vecWritten.push_back(uElement);
        }
        catch (const std::bad_alloc&)
        {
            m_bWhole = true;
        }
    }
    void NoteWhole() noexcept { m_bWhole = true; }

    // In the order of writing, with repetitions. It says nothing if IsWhole.
    const std::vector<unsigned int>& Written() const { return m_vecWritten; }
    bool IsWhole() const { return m_bWhole; }

    void Clear()
    {
        m_vecWritten.clear();
        m_bWhole = false;
    }

private:
    std::vector<unsigned int> m_vecWritten;
    bool m_bWhole = false;
};
