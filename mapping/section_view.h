// A section that is held open for the length of a scope.
#pragma once

#include "diagnostics/check.h"

class VOSectionView
{
public:
    VOSectionView() = default;
    VOSectionView(const VOSectionView&) = delete;
    VOSectionView& operator=(const VOSectionView&) = delete;
    ~VOSectionView() { Close(); }

    // Opens and maps the whole section; false, and nothing held, if one of the two fails.
    bool Open(const VOWCHAR* pszName, DWORD dwAccess)
    {
        hSection = ::OpenFileMappingW(dwAccess, 0, pszName);
        if (hSection != nullptr)
        {
            pvView = ::MapViewOfFile(hSection, dwAccess, 0, 0, 0);
        }
        if (pvView == nullptr)
        {
            Close();
            return false;
        }
        return true;
    }

    void Close()
    {
        if (pvView != nullptr)
        {
            ::UnmapViewOfFile(pvView);
            pvView = nullptr;
        }
        if (hSection != nullptr)
        {
            ::CloseHandle(hSection);
            hSection = nullptr;
        }
    }

    // Bytes that may be read.
    size_t Size() const { return pvView != nullptr ? VOViewSize(pvView) : 0; }

    // Gives view and handle to the caller, who closes them.
    void Detach(void*& rpvView, HANDLE& rhSection)
    {
        rpvView = pvView;
        rhSection = hSection;
        pvView = nullptr;
        hSection = nullptr;
    }

    HANDLE hSection = nullptr;
    void* pvView = nullptr;
};
