#include "config/file_read_only.h"

#include "diagnostics/check.h"

int VOSetFileReadOnly(const char* pszFilePath, int bReadOnly)
{
    DWORD uAttributes = GetFileAttributesA(pszFilePath);
    if ((uAttributes & FILE_ATTRIBUTE_READONLY) != 0 && bReadOnly == 0)
    {
        uAttributes &= ~static_cast<DWORD>(FILE_ATTRIBUTE_READONLY);
        SetFileAttributesA(pszFilePath, uAttributes);
    }
    if ((uAttributes & FILE_ATTRIBUTE_READONLY) == 0 && bReadOnly != 0)
    {
        SetFileAttributesA(pszFilePath, 0);
    }
    return 1;
}
