#include "platform/vo_directory_kind.h"

#include "platform/vo_platform.h"
#include "platform/windows/system_error.h"

bool VODirectoryKindOf(const VOWString& strPath, VODirectoryKind* peKind, VOSystemError* pError)
{
    wchar_t szVolume[MAX_PATH] = {};
    const DWORD uAttributes = GetFileAttributesW(strPath.c_str());
    if (uAttributes == INVALID_FILE_ATTRIBUTES || !GetVolumePathNameW(strPath.c_str(), szVolume, MAX_PATH))
    {
        return FailWith(pError, GetLastError());
    }
    *peKind = GetDriveTypeW(szVolume) == DRIVE_REMOTE ? VODirectoryKind::Remote : VODirectoryKind::Local;
    return true;
}
