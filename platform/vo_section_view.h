// A section as a reader holds it: open, mapped whole, and let go of at the end of the scope.
//
// Failures leave a value in GetLastError, which letting go doesn't change.
#pragma once

#include <string.h>

#include <algorithm>
#include <utility>

#include "platform/vo_platform.h"

class VOSectionView
{
public:
    VOSectionView() = default;
    VOSectionView(const VOWCHAR* pszName, DWORD uAccess) { Open(pszName, uAccess); }
    VOSectionView(const VOSectionView&) = delete;
    VOSectionView& operator=(const VOSectionView&) = delete;
    ~VOSectionView() { Close(); }

    // Opens and maps the section of a name; what was held before is let go of. False, and nothing held, if one of the
    // two fails.
    bool Open(const VOWCHAR* pszName, DWORD uAccess)
    {
        if (OpenHandle(pszName, uAccess) == nullptr || Map() == nullptr)
        {
            Close();
        }
        return m_pvView != nullptr;
    }

    // The two steps, for whoever tells them apart: the handle, or null; the view, or null with the handle still held.
    HANDLE OpenHandle(const VOWCHAR* pszName, DWORD uAccess)
    {
        return TakeHandle(::OpenFileMappingW(uAccess, 0, pszName), uAccess);
    }

    void* Map()
    {
        m_pvView = m_hSection != nullptr ? ::MapViewOfFile(m_hSection, m_uAccess, 0, 0, 0) : nullptr;
        m_uSize = m_pvView != nullptr ? VOViewSize(m_pvView) : 0;
        return m_pvView;
    }

    // The first step with a handle that the caller has made. Null stays null.
    HANDLE TakeHandle(HANDLE hSection, DWORD uAccess)
    {
        Close();
        m_uAccess = uAccess;
        m_hSection = hSection;
        return m_hSection;
    }

    void Close()
    {
        if (m_pvView != nullptr)
        {
            ::UnmapViewOfFile(DetachView());
        }
        if (m_hSection != nullptr)
        {
            ::CloseHandle(DetachHandle());
        }
    }

    // The view, null without one, and the bytes of it that may be touched, as they were when it was mapped.
    void* Data() const { return m_pvView; }
    size_t Size() const { return m_uSize; }

    // Whether the section begins with this text, terminator included. Behind its end it counts as zero, as the rest of
    // a page is.
    template <size_t uLength>
    bool BeginsWith(const char (&szText)[uLength]) const
    {
        char szBegin[uLength] = {};
        if (m_uSize != 0)
        {
            memcpy(szBegin, m_pvView, std::min(m_uSize, uLength));
        }
        return memcmp(szBegin, szText, uLength) == 0;
    }

    // Gives the view, or the handle, to the caller, who unmaps, or closes it.
    void* DetachView()
    {
        m_uSize = 0;
        return std::exchange(m_pvView, nullptr);
    }
    HANDLE DetachHandle() { return std::exchange(m_hSection, nullptr); }

private:
    HANDLE m_hSection = nullptr;
    DWORD m_uAccess = 0;
    void* m_pvView = nullptr;
    size_t m_uSize = 0;
};
