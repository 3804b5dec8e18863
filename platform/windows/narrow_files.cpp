// Files by narrow path: what the runtime's own functions leave out.
#include "platform/fault_points.h"
#include "platform/vo_platform.h"

#include <fcntl.h>

namespace
{
// The runtime's own append mode looks for the end and writes there, in two steps; a handle that can do nothing but
// append does it in one, so that writers don't overwrite each other.
FILE* OpenToAppend(const char* pszPath)
{
    const HANDLE hFile =
        CreateFileA(pszPath, FILE_APPEND_DATA | SYNCHRONIZE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (hFile == INVALID_HANDLE_VALUE)
    {
        errno = EACCES;
        return nullptr;
    }
    const int nFile = _open_osfhandle(reinterpret_cast<intptr_t>(hFile), _O_APPEND | _O_TEXT);
    if (nFile < 0)
    {
        CloseHandle(hFile);
        return nullptr;
    }
    FILE* const pFile = _fdopen(nFile, "at");
    if (pFile == nullptr)
    {
        _close(nFile);
    }
    return pFile;
}
}  // namespace

FILE* VOOpenFile(const char* pszPath, const char* pszMode)
{
    if (pszPath == nullptr || VO_FAULT_POINT("VOOpenFile"))
    {
        errno = EINVAL;
        return nullptr;
    }
    return pszMode[0] == 'a' ? OpenToAppend(pszPath) : fopen(pszPath, pszMode);
}

// A path that is whole begins with a drive, which nothing skips.
size_t VOPathRootLength(const char*)
{
    return 0;
}
