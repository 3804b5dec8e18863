#include "platform/posix/files.h"

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <linux/openat2.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <string>
#include <utility>

#include "platform/fault_points.h"
#include "platform/posix/kernel.h"
#include "platform/vo_directories.h"
#include "platform/vo_platform.h"
#include "platform/vo_text.h"

bool ReadFileStatus(int nDirectory, const char* pszPath, FileStatus* pStatus)
{
    struct statx info;
    const unsigned uWanted = STATX_BASIC_STATS | STATX_BTIME;
    if (VO_FAULT_POINT("statx"))
    {
        errno = ENOMEM;
        return false;
    }
    if (statx(nDirectory, pszPath, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, uWanted, &info) != 0)
    {
        return false;
    }
    pStatus->bFolder = S_ISDIR(info.stx_mode);
    pStatus->bLink = S_ISLNK(info.stx_mode);
    pStatus->bReadOnly = (info.stx_mode & S_IWUSR) == 0;
    pStatus->ullSize = pStatus->bFolder ? 0 : info.stx_size;  // the bytes of a directory's own table count nowhere
    pStatus->nAccessTime = info.stx_atime.tv_sec;
    pStatus->nWriteTime = info.stx_mtime.tv_sec;
    pStatus->uWriteFraction = info.stx_mtime.tv_nsec;
    pStatus->uStatusStamp = static_cast<uint32_t>(info.stx_ctime.tv_sec) * 1000000007u + info.stx_ctime.tv_nsec;
    pStatus->nCreateTime = (info.stx_mask & STATX_BTIME) != 0 ? info.stx_btime.tv_sec : info.stx_mtime.tv_sec;
    return true;
}

uint32_t FileAttributes(const FileStatus& status, std::string_view strName)
{
    uint32_t uAttribute = _A_NORMAL;
    uAttribute |= status.bReadOnly ? _A_RDONLY : 0;
    uAttribute |= !strName.empty() && strName.front() == '.' ? _A_HIDDEN : 0;
    uAttribute |= status.bFolder ? _A_SUBDIR : 0;
    return uAttribute;
}

// Find-first for one path.

namespace
{
// Nothing stays open behind a find of one path; this value only says that it was found.
constexpr intptr_t kFound = 1;
}  // namespace

intptr_t _wfindfirst64i32(const VOWCHAR* pszPath, _wfinddata64i32_t* pData)
{
    if (pszPath == nullptr || pData == nullptr)
    {
        errno = EINVAL;
        return -1;
    }
    VOWString strPath(static_cast<size_t>(lstrlenW(pszPath)), 0);
    lstrcpyW(strPath.data(), pszPath);
    const std::string strNative = VOToNativePath(strPath);
    FileStatus status;
    if (VO_FAULT_POINT("_wfindfirst64i32") || strNative.empty() || strNative.back() == '/' ||
        !ReadFileStatus(AT_FDCWD, strNative.c_str(), &status))
    {
        errno = ENOENT;
        return -1;
    }
    const std::string_view strName = std::string_view(strNative).substr(strNative.rfind('/') + 1);
    pData->attrib = FileAttributes(status, strName);
    pData->time_create = status.nCreateTime;
    pData->time_access = status.nAccessTime;
    pData->time_write = status.nWriteTime;
    pData->size = static_cast<unsigned>(status.ullSize);
    StringCchCopyW(pData->name, sizeof(pData->name) / sizeof(pData->name[0]), VOFromNative(strName).c_str());
    return kFound;
}

int _findclose(intptr_t hFind)
{
    if (hFind == -1)
    {
        errno = EINVAL;
        return -1;
    }
    return 0;
}

// Files by narrow path: attributes, folders, and streams in the runtime's text mode.

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
            if (ch == kEndMark)
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
    static constexpr char kEndMark = 0x1A;

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

// There a "\" separates, on every system.
bool VOToRuntimePath(const std::string& strNative, std::string* pstrPath)
{
    *pstrPath = strNative;
    return strNative.find('\\') == std::string::npos;
}

namespace
{
// Opens a path that the system takes in one piece.
Descriptor OpenPiece(int nFolder, const std::string& strPath)
{
    const int nFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK;
    open_how how = {};
    how.flags = static_cast<uint64_t>(nFlags);
    how.resolve = RESOLVE_NO_SYMLINKS;
    const long nResult = syscall(SYS_openat2, nFolder, strPath.c_str(), &how, sizeof(how));
    if (nResult < 0 && (errno == ENOSYS || errno == EPERM))
    {
        // An older system, or one that doesn't let programs use it: a link in the middle is followed then.
        return Descriptor(openat(nFolder, strPath.c_str(), nFlags));
    }
    return Descriptor(static_cast<int>(nResult));
}
}  // namespace

Descriptor OpenFolderBelow(int nRoot, const std::string& strPath)
{
    if (VO_FAULT_POINT("directory.open"))
    {
        errno = EMFILE;
        return Descriptor();
    }
    if (strPath.empty())
    {
        return OpenPiece(nRoot, ".");
    }
    Descriptor folder;
    for (size_t uFrom = 0; uFrom < strPath.size();)
    {
        size_t uTo = strPath.size();
        if (uTo - uFrom >= PATH_MAX)
        {
            uTo = strPath.rfind('/', uFrom + PATH_MAX - 1);
        }
        folder = OpenPiece(folder.IsOpen() ? folder.Get() : nRoot, strPath.substr(uFrom, uTo - uFrom));
        if (!folder.IsOpen())
        {
            break;
        }
        uFrom = uTo + 1;
    }
    return folder;
}

bool ReadTrace(int nFolder, const char* pszName, FileTrace* pTrace)
{
    struct stat info;
    if (fstatat(nFolder, pszName, &info, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT) != 0)
    {
        return false;
    }
    pTrace->uInode = info.st_ino;
    pTrace->nWriteTime = int64_t{info.st_mtim.tv_sec} * 1000000000 + info.st_mtim.tv_nsec;
    pTrace->nChangeTime = int64_t{info.st_ctim.tv_sec} * 1000000000 + info.st_ctim.tv_nsec;
    pTrace->bFolder = S_ISDIR(info.st_mode);
    return true;
}

bool ForEachEntry(int nFolder, const std::function<void(const char*)>& fnEntry)
{
    const int nOwn = VO_FAULT_POINT("directory.read") ? -1 : fcntl(nFolder, F_DUPFD_CLOEXEC, 0);
    DIR* const pStream = nOwn >= 0 ? fdopendir(nOwn) : nullptr;
    if (pStream == nullptr)
    {
        const int nError = nOwn >= 0 ? errno : EMFILE;
        Descriptor closed(nOwn);
        closed.Reset();
        errno = nError;
        return false;
    }
    errno = 0;
    while (const dirent* pEntry = readdir(pStream))
    {
        if (strcmp(pEntry->d_name, ".") != 0 && strcmp(pEntry->d_name, "..") != 0)
        {
            fnEntry(pEntry->d_name);
        }
        errno = 0;
    }
    const int nError = errno;
    closedir(pStream);
    errno = nError;
    return nError == 0;
}

VODirectoryKind KindOfFileSystem(uint32_t uType)
{
    // From the system's list of file systems, which names some of them only.
    switch (uType)
    {
        case 0x00006969:  // NFS
        case 0x0000517B:  // SMB
        case 0xFF534D42:  // CIFS
        case 0xFE534D42:  // SMB2
        case 0x0000564C:  // NCP
        case 0x5346414F:  // AFS
        case 0x6B414653:  // AFS, as the system's own client has it
        case 0x73757245:  // Coda
        case 0x00C36400:  // Ceph
        case 0x0BD00BD0:  // Lustre
        case 0x01161970:  // GFS2
        case 0x7461636F:  // OCFS2
        case 0x19830326:  // BeeGFS
        case 0x47504653:  // GPFS
        case 0x013111A8:  // IBRIX
        case 0x65735546:  // FUSE, also a host's folder in a virtual machine
        case 0x01021997:  // 9P
        case 0x786F4256:  // folders of hosts of virtual machines
        case 0xBACBACBC:
        case 0x7C7C6673:
            return VODirectoryKind::Remote;
        default:
            return VODirectoryKind::Local;
    }
}

bool VODirectoryKindOf(const VOWString& strPath, VODirectoryKind* peKind, VOSystemError* pError)
{
    struct statfs info;
    const bool bFails = VO_FAULT_POINT("statfs");
    if (bFails || statfs(VOToNativePath(strPath).c_str(), &info) != 0)
    {
        return FailWith(pError, bFails ? ENOMEM : errno);
    }
    *peKind = KindOfFileSystem(static_cast<uint32_t>(info.f_type));
    return true;
}

bool FailWith(VOSystemError* pError, int nError)
{
    char szText[128];
    pError->nError = nError;
    pError->bGone = nError == ENOENT || nError == ENOTDIR;
    pError->strText = strerror_r(nError, szText, sizeof(szText));
    return false;
}

namespace
{
typedef std::unique_ptr<DIR, int (*)(DIR*)> DirectoryStream;

// The stream of a directory, or none with errno set.
DirectoryStream OpenDirectory(const std::string& strPath)
{
    if (VO_FAULT_POINT("directory.open"))
    {
        errno = EMFILE;
        return DirectoryStream(nullptr, closedir);
    }
    return DirectoryStream(opendir(strPath.c_str()), closedir);
}

// The next entry, or null with errno set or, at the end, 0.
const dirent* NextEntry(const DirectoryStream& stream)
{
    errno = VO_FAULT_POINT("directory.read") ? EIO : 0;
    return errno == 0 ? readdir(stream.get()) : nullptr;
}

void Describe(const FileStatus& status, std::string_view strName, VODirectoryEntry* pEntry)
{
    pEntry->strName = VOFromNative(strName);
    pEntry->bFolder = status.bFolder;
    pEntry->bLink = status.bLink;
    pEntry->uAttribute = FileAttributes(status, strName);
    pEntry->ullSize = status.ullSize;
    pEntry->nCreateTime = status.nCreateTime;
    pEntry->nAccessTime = status.nAccessTime;
    pEntry->nWriteTime = status.nWriteTime;
    pEntry->uWriteFraction = status.uWriteFraction;
    pEntry->uStatusStamp = status.uStatusStamp;
}

// False for an entry that is gone, and for the directory's two entries for itself and its parent.
bool DescribeEntry(int nDirectory, const dirent& entry, VODirectoryEntry* pEntry)
{
    const std::string_view strName = entry.d_name;
    FileStatus status;
    if (strName == "." || strName == "..")
    {
        return false;
    }
    if (!ReadFileStatus(nDirectory, entry.d_name, &status))
    {
        if (errno == ENOENT)
        {
            return false;
        }
        // Not to be looked at, but there: what the directory itself says has to do.
        status = FileStatus();
        status.bFolder = entry.d_type == DT_DIR;
        status.bLink = entry.d_type == DT_LNK;
        pEntry->bDescribed = false;
    }
    Describe(status, strName, pEntry);
    return true;
}
}  // namespace

bool VOListDirectory(const VOWString& strPath, std::vector<VODirectoryEntry>* pvecEntries, VOSystemError* pError)
{
    pvecEntries->clear();
    const DirectoryStream stream = OpenDirectory(VOToNativePath(strPath));
    if (!stream)
    {
        return FailWith(pError, errno);
    }
    std::vector<VODirectoryEntry> vecEntries;
    while (const dirent* pEntry = NextEntry(stream))
    {
        VODirectoryEntry entry;
        if (DescribeEntry(dirfd(stream.get()), *pEntry, &entry))
        {
            vecEntries.push_back(std::move(entry));
        }
    }
    if (errno != 0)
    {
        return FailWith(pError, errno);
    }
    std::sort(vecEntries.begin(), vecEntries.end(),
              [](const VODirectoryEntry& first, const VODirectoryEntry& second)
              { return first.strName < second.strName; });
    *pvecEntries = std::move(vecEntries);
    return true;
}

bool VODescribeFile(const VOWString& strPath, VODirectoryEntry* pEntry, VOSystemError* pError)
{
    std::string strNative = VOToNativePath(strPath);
    while (strNative.size() > 1 && strNative.back() == '/')
    {
        strNative.pop_back();  // a slash at the end would have a link followed
    }
    FileStatus status;
    if (!ReadFileStatus(AT_FDCWD, strNative.c_str(), &status))
    {
        return FailWith(pError, errno);
    }
    Describe(status, std::string_view(strNative).substr(strNative.rfind('/') + 1), pEntry);
    return true;
}
