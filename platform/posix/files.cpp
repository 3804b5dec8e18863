#include "platform/posix/files.h"

#include <limits.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "platform/fault_points.h"
#include "platform/posix/kernel.h"
#include "platform/vo_text.h"

std::string NativePathOf(const VOWCHAR* pszPath)
{
    VOWString strPath(static_cast<size_t>(lstrlenW(pszPath)), 0);
    lstrcpyW(strPath.data(), pszPath);
    return VOToNativePath(strPath);
}

namespace
{
// The part behind the last slash.
std::string_view NameOf(std::string_view strPath)
{
    return strPath.substr(strPath.rfind('/') + 1);
}

// The _A_ bits, which are those of Windows' file attributes.
uint32_t AttributesOf(bool bReadOnly, bool bFolder, std::string_view strName)
{
    return (bReadOnly ? _A_RDONLY : _A_NORMAL) | (strName.starts_with('.') ? _A_HIDDEN : 0u) |
           (bFolder ? _A_SUBDIR : 0u);
}

// Describes a path, relative to the directory nDirectory, under a name. A link is looked at itself. False with errno
// set.
bool Describe(int nDirectory, const char* pszPath, std::string_view strName, VODirectoryEntry* pEntry)
{
    struct statx info;
    const unsigned uWanted = STATX_BASIC_STATS | STATX_BTIME;
    if (VO_FAULT_POINT("statx"))
    {
        return FailErrno(ENOMEM);
    }
    if (statx(nDirectory, pszPath, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, uWanted, &info) != 0)
    {
        return false;
    }
    pEntry->strName = VOFromNative(strName);
    pEntry->bFolder = S_ISDIR(info.stx_mode);
    pEntry->bLink = S_ISLNK(info.stx_mode);
    pEntry->uAttribute = AttributesOf((info.stx_mode & S_IWUSR) == 0, pEntry->bFolder, strName);
    pEntry->ullSize = pEntry->bFolder ? 0 : info.stx_size;  // the bytes of a directory's own table count nowhere
    pEntry->nAccessTime = info.stx_atime.tv_sec;
    pEntry->nWriteTime = info.stx_mtime.tv_sec;
    pEntry->uWriteFraction = info.stx_mtime.tv_nsec;
    pEntry->uStatusStamp = static_cast<uint32_t>(info.stx_ctime.tv_sec) * 1000000007u + info.stx_ctime.tv_nsec;
    pEntry->nCreateTime = (info.stx_mask & STATX_BTIME) != 0 ? info.stx_btime.tv_sec : info.stx_mtime.tv_sec;
    return true;
}
}  // namespace

// Find-first for one path.

intptr_t _wfindfirst64i32(const VOWCHAR* pszPath, _wfinddata64i32_t* pData)
{
    if (pszPath == nullptr || pData == nullptr)
    {
        return FailErrno(EINVAL, -1);
    }
    const std::string strNative = NativePathOf(pszPath);
    VODirectoryEntry entry;
    if (VO_FAULT_POINT("_wfindfirst64i32") || strNative.empty() || strNative.back() == '/' ||
        !Describe(AT_FDCWD, strNative.c_str(), NameOf(strNative), &entry))
    {
        return FailErrno(ENOENT, -1);
    }
    pData->attrib = entry.uAttribute;
    pData->time_create = entry.nCreateTime;
    pData->time_access = entry.nAccessTime;
    pData->time_write = entry.nWriteTime;
    pData->size = static_cast<unsigned>(entry.ullSize);
    StringCchCopyW(pData->name, sizeof(pData->name) / sizeof(pData->name[0]), entry.strName.c_str());
    return 1;  // nothing stays open behind a find of one path: it only says that it was found
}

int _findclose(intptr_t hFind)
{
    return hFind != -1 ? 0 : FailErrno(EINVAL, -1);
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

// What stands at a path that isn't refused, and its form for the system. False with the last error set.
bool LookAt(const char* pszPath, bool bRefused, std::string* pstrPath, struct stat* pInfo)
{
    if (bRefused)
    {
        return FailCall(ERROR_INVALID_PARAMETER);
    }
    *pstrPath = WithSystemSlashes(pszPath);
    return stat(pstrPath->c_str(), pInfo) == 0 || FailCall(ErrorFromErrno(errno));
}

// Reads a file as the runtime's text mode does: CR LF is one line end, LF, and the file ends at its end mark, Ctrl-Z.
class TextReader
{
public:
    explicit TextReader(Descriptor file) : m_file(std::move(file)) {}

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
            const ssize_t nBytes = VO_FAULT_POINT("read") ? -1 : read(m_file.Get(), m_achBuffer, sizeof(m_achBuffer));
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

    const Descriptor m_file;
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
    Descriptor file(open(pszPath, O_RDONLY | O_CLOEXEC));
    struct stat info;
    if (!file.IsOpen())
    {
        return nullptr;
    }
    if (fstat(file.Get(), &info) != 0 || S_ISDIR(info.st_mode))
    {
        return FailErrno(EACCES, nullptr);
    }
    auto pReader = std::make_unique<TextReader>(std::move(file));
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
        return FailErrno(pszPath == nullptr ? EINVAL : EMFILE, nullptr);
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
    std::string strPath;
    if (!LookAt(pszPath, pszPath == nullptr || VO_FAULT_POINT("GetFileAttributesA"), &strPath, &info))
    {
        return INVALID_FILE_ATTRIBUTES;
    }
    const DWORD uAttributes = AttributesOf((info.st_mode & S_IWUSR) == 0, S_ISDIR(info.st_mode), NameOf(strPath));
    return uAttributes != 0 ? uAttributes : FILE_ATTRIBUTE_NORMAL;
}

BOOL SetFileAttributesA(const char* pszPath, DWORD uAttributes)
{
    struct stat info;
    std::string strPath;
    if (!LookAt(pszPath, pszPath == nullptr || VO_FAULT_POINT("SetFileAttributesA"), &strPath, &info))
    {
        return FALSE;
    }
    // The owner's permission alone: clearing and setting it gives back exactly the mode that was there.
    const mode_t uMode = info.st_mode & 07777;
    const mode_t uWanted = (uAttributes & FILE_ATTRIBUTE_READONLY) != 0 ? uMode & ~mode_t{S_IWUSR} : uMode | S_IWUSR;
    return uWanted == uMode || chmod(strPath.c_str(), uWanted) == 0 || FailCall(ErrorFromErrno(errno));
}

int _mkdir(const char* pszPath)
{
    const bool bRefused = pszPath == nullptr || VO_FAULT_POINT("_mkdir");
    return bRefused ? FailErrno(EINVAL, -1) : mkdir(WithSystemSlashes(pszPath).c_str(), 0777);
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

// The next entry, or null with errno set or, at the end, 0.
const dirent* NextEntry(const DirectoryStream& stream)
{
    errno = VO_FAULT_POINT("directory.read") ? EIO : 0;
    return errno == 0 ? readdir(stream.get()) : nullptr;
}
}  // namespace

Descriptor OpenFolderBelow(int nRoot, const std::string& strPath)
{
    if (VO_FAULT_POINT("directory.open"))
    {
        return FailErrno(EMFILE, Descriptor());
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

DirectoryStream StreamOf(Descriptor folder)
{
    DirectoryStream stream(fdopendir(folder.Get()), closedir);
    if (stream)
    {
        folder.Release();  // the stream's own now
    }
    return stream;
}

bool ForEachEntry(DirectoryStream stream, const std::function<void(int nFolder, const dirent& entry)>& fnEntry)
{
    if (!stream)
    {
        return false;
    }
    for (const dirent* pEntry = NextEntry(stream); pEntry != nullptr; pEntry = NextEntry(stream))
    {
        if (strcmp(pEntry->d_name, ".") != 0 && strcmp(pEntry->d_name, "..") != 0)
        {
            fnEntry(dirfd(stream.get()), *pEntry);
        }
    }
    const int nError = errno;
    stream.reset();
    return nError == 0 || FailErrno(nError);
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
// The stream of a directory, or none with errno set.
DirectoryStream OpenDirectory(const std::string& strPath)
{
    DirectoryStream none(nullptr, closedir);
    return VO_FAULT_POINT("directory.open") ? FailErrno(EMFILE, std::move(none))
                                            : DirectoryStream(opendir(strPath.c_str()), closedir);
}

// False for an entry that is gone.
bool DescribeEntry(int nDirectory, const dirent& entry, VODirectoryEntry* pEntry)
{
    const bool bDescribed = Describe(nDirectory, entry.d_name, entry.d_name, pEntry);
    if (bDescribed || errno == ENOENT)
    {
        return bDescribed;
    }
    // Not to be looked at, but there: what the directory itself says has to do.
    pEntry->bDescribed = false;
    pEntry->strName = VOFromNative(entry.d_name);
    pEntry->bFolder = entry.d_type == DT_DIR;
    pEntry->bLink = entry.d_type == DT_LNK;
    pEntry->uAttribute = AttributesOf(false, pEntry->bFolder, entry.d_name);
    return true;
}
}  // namespace

bool VOListDirectory(const VOWString& strPath, std::vector<VODirectoryEntry>* pvecEntries, VOSystemError* pError)
{
    pvecEntries->clear();
    std::vector<VODirectoryEntry> vecEntries;
    const auto fnEntry = [&vecEntries](int nFolder, const dirent& found)
    {
        VODirectoryEntry entry;
        if (DescribeEntry(nFolder, found, &entry))
        {
            vecEntries.push_back(std::move(entry));
        }
    };
    if (!ForEachEntry(OpenDirectory(VOToNativePath(strPath)), fnEntry))
    {
        return FailWith(pError, errno);
    }
    std::ranges::sort(vecEntries, {}, &VODirectoryEntry::strName);
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
    return Describe(AT_FDCWD, strNative.c_str(), NameOf(strNative), pEntry) || FailWith(pError, errno);
}
