// Files by narrow path: attributes, folders, and streams in the runtime's text mode.
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <string>

#include "platform/fault_points.h"
#include "platform/posix/last_error.h"
#include "platform/vo_platform.h"

namespace
{
// The system's form of a path that may use either slash.
std::string WithSystemSlashes(const char* pszPath)
{
    std::string strPath = pszPath;
    std::replace(strPath.begin(), strPath.end(), '\\', '/');
    return strPath;
}

// The part behind the last slash.
bool NameBeginsWithDot(const std::string& strPath)
{
    const size_t uSlash = strPath.rfind('/');
    const size_t uName = uSlash == std::string::npos ? 0 : uSlash + 1;
    return uName < strPath.size() && strPath[uName] == '.';
}

// Reads a file as the runtime's text mode does: CR LF is one line end, LF, and the file ends at its end mark, Ctrl-Z.
class TextReader
{
public:
    explicit TextReader(int nFile) : m_nFile(nFile) {}
    ~TextReader() { close(m_nFile); }
    TextReader(const TextReader&) = delete;
    TextReader& operator=(const TextReader&) = delete;

    ssize_t Read(char* pTo, size_t uSize)
    {
        size_t uRead = 0;
        while (uRead < uSize && Fill())
        {
            char ch = m_achBuffer[m_uAt];
            if (ch == END_MARK)
            {
                m_bEnd = true;
                m_uAt = m_uEnd;
                break;
            }
            ++m_uAt;
            if (ch == '\r' && Fill() && m_achBuffer[m_uAt] == '\n')
            {
                ch = m_achBuffer[m_uAt++];
            }
            pTo[uRead++] = ch;
        }
        return uRead == 0 && m_bFailed ? -1 : static_cast<ssize_t>(uRead);
    }

private:
    static constexpr char END_MARK = 0x1A;

    // True when a byte is there.
    bool Fill()
    {
        while (m_uAt == m_uEnd && !m_bEnd)
        {
            const ssize_t nBytes = VO_FAULT_POINT("read") ? -1 : read(m_nFile, m_achBuffer, sizeof(m_achBuffer));
            if (nBytes < 0 && errno == EINTR)
            {
                continue;
            }
            m_uAt = 0;
            m_uEnd = nBytes > 0 ? static_cast<size_t>(nBytes) : 0;
            m_bEnd = nBytes <= 0;
            m_bFailed = nBytes < 0;
        }
        return m_uAt < m_uEnd;
    }

    int m_nFile;
    bool m_bEnd = false;
    bool m_bFailed = false;
    size_t m_uAt = 0;
    size_t m_uEnd = 0;
    char m_achBuffer[4096];
};

ssize_t ReadText(void* pReader, char* pTo, size_t uSize)
{
    return static_cast<TextReader*>(pReader)->Read(pTo, uSize);
}

int CloseText(void* pReader)
{
    delete static_cast<TextReader*>(pReader);
    return 0;
}

FILE* OpenForReadingText(const char* pszPath)
{
    const int nFile = open(pszPath, O_RDONLY | O_CLOEXEC);
    struct stat info;
    if (nFile < 0)
    {
        return nullptr;
    }
    if (fstat(nFile, &info) != 0 || S_ISDIR(info.st_mode))
    {
        close(nFile);
        errno = EACCES;
        return nullptr;
    }
    std::unique_ptr<TextReader> pReader(new TextReader(nFile));
    const cookie_io_functions_t functions = {ReadText, nullptr, nullptr, CloseText};
    FILE* const pStream = fopencookie(pReader.get(), "r", functions);
    if (pStream != nullptr)
    {
        (void)pReader.release();
    }
    return pStream;
}
}  // namespace

FILE* VOOpenFile(const char* pszPath, const char* pszMode)
{
    if (pszPath == nullptr || VO_FAULT_POINT("VOOpenFile"))
    {
        errno = pszPath == nullptr ? EINVAL : EMFILE;
        return nullptr;
    }
    const std::string strPath = WithSystemSlashes(pszPath);
    if (strcmp(pszMode, "r") == 0)
    {
        return OpenForReadingText(strPath.c_str());
    }
    // Written text keeps the system's own line end, so "t" has no meaning.
    const std::string strMode = std::string(1, pszMode[0]) + "e";
    return fopen(strPath.c_str(), strMode.c_str());
}

DWORD GetFileAttributesA(const char* pszPath)
{
    struct stat info;
    if (pszPath == nullptr || VO_FAULT_POINT("GetFileAttributesA"))
    {
        SetLastError(ERROR_INVALID_PARAMETER);
        return INVALID_FILE_ATTRIBUTES;
    }
    const std::string strPath = WithSystemSlashes(pszPath);
    if (stat(strPath.c_str(), &info) != 0)
    {
        SetLastError(ErrorFromErrno(errno));
        return INVALID_FILE_ATTRIBUTES;
    }
    DWORD uAttributes = (info.st_mode & S_IWUSR) == 0 ? FILE_ATTRIBUTE_READONLY : 0u;
    uAttributes |= NameBeginsWithDot(strPath) ? FILE_ATTRIBUTE_HIDDEN : 0u;
    uAttributes |= S_ISDIR(info.st_mode) ? FILE_ATTRIBUTE_DIRECTORY : 0u;
    return uAttributes != 0 ? uAttributes : FILE_ATTRIBUTE_NORMAL;
}

BOOL SetFileAttributesA(const char* pszPath, DWORD uAttributes)
{
    struct stat info;
    if (pszPath == nullptr || VO_FAULT_POINT("SetFileAttributesA"))
    {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const std::string strPath = WithSystemSlashes(pszPath);
    if (stat(strPath.c_str(), &info) != 0)
    {
        SetLastError(ErrorFromErrno(errno));
        return FALSE;
    }
    // The owner's permission alone: clearing and setting it gives back exactly the mode that was there.
    const mode_t uMode = info.st_mode & 07777;
    const mode_t uWanted = (uAttributes & FILE_ATTRIBUTE_READONLY) != 0 ? uMode & ~mode_t{S_IWUSR} : uMode | S_IWUSR;
    if (uWanted != uMode && chmod(strPath.c_str(), uWanted) != 0)
    {
        SetLastError(ErrorFromErrno(errno));
        return FALSE;
    }
    return TRUE;
}

int _mkdir(const char* pszPath)
{
    if (pszPath == nullptr || VO_FAULT_POINT("_mkdir"))
    {
        errno = EINVAL;
        return -1;
    }
    return mkdir(WithSystemSlashes(pszPath).c_str(), 0777);
}

size_t VOPathRootLength(const char* pszPath)
{
    return pszPath[0] == '/' && pszPath[1] != '/' && pszPath[1] != '\\' ? 1 : 0;
}
