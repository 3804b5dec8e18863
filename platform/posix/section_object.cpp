#include "platform/posix/section_object.h"

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <limits>
#include <memory>
#include <vector>

#include "platform/fault_points.h"
#include "platform/posix/kernel.h"
#include "platform/vo_text.h"
#include "platform/wide_scan.h"

namespace
{
// Where the C library keeps shared memory objects. They are named as files here, because an object that takes over
// another's name does so by a rename, for which there is no call of the shared memory interface.
constexpr const char* kObjectDirectory = "/dev/shm/";
constexpr size_t kLongestName = 255;

std::string EncodePart(std::string_view strBytes)
{
    static const char s_szDigits[] = "0123456789ABCDEF";
    std::string strPart;
    for (const char cByte : strBytes)
    {
        const unsigned char uByte = static_cast<unsigned char>(cByte);
        const bool bPlain = (cByte >= 'a' && cByte <= 'z') || (cByte >= 'A' && cByte <= 'Z') ||
                            (cByte >= '0' && cByte <= '9') || cByte == '_' || cByte == '-';
        if (bPlain)
        {
            strPart.push_back(cByte);
        }
        else
        {
            strPart += {'%', s_szDigits[uByte >> 4], s_szDigits[uByte & 15]};
        }
    }
    return strPart;
}

// Read once: the environment can't be read safely while another thread changes it. Kept without memory of its own,
// which an unloaded library would leave behind; what doesn't fit makes each name too long for the system, cut or not.
const char* NameSpacePart()
{
    struct Part
    {
        char sz[NAME_MAX + 1] = "";
    };
    static const Part s_part = []
    {
        Part part;
        const char* const pszNameSpace = getenv("VOBASE_NAMESPACE");
        const bool bSet = pszNameSpace != nullptr && *pszNameSpace != '\0';
        part.sz[(bSet ? EncodePart(pszNameSpace) + "." : "").copy(part.sz, NAME_MAX)] = '\0';
        return part;
    }();
    return s_part.sz;
}

// What the names of all objects of this user and name space begin with.
std::string ObjectPrefix()
{
    return "vobase." + std::to_string(geteuid()) + "." + NameSpacePart();
}

bool IsNumber(std::string_view strText)
{
    return !strText.empty() && strText.find_first_not_of("0123456789") == std::string_view::npos;
}

// True for "<pid>-<number>".
bool IsTemporarySuffix(std::string_view strSuffix)
{
    const size_t uDash = strSuffix.find('-');
    return uDash != std::string_view::npos && IsNumber(strSuffix.substr(0, uDash)) &&
           IsNumber(strSuffix.substr(uDash + 1));
}

bool LockNow(int nDescriptor)
{
    return flock(nDescriptor, LOCK_EX | LOCK_NB) == 0;
}

// Every temporary object of this user and name space, stale or not.
std::vector<std::string> ListTemporaryObjects(const std::string& strFinalPath)
{
    const std::string strPrefix = ObjectPrefix();
    std::vector<std::string> vecPaths;
    const std::unique_ptr<DIR, int (*)(DIR*)> pDirectory(opendir(kObjectDirectory), closedir);
    if (!pDirectory)
    {
        return vecPaths;
    }
    while (const dirent* pEntry = readdir(pDirectory.get()))
    {
        const std::string_view strName = pEntry->d_name;
        const size_t uMark = strName.find('~');
        if (!strName.starts_with(strPrefix) || uMark == std::string_view::npos || uMark < strPrefix.size())
        {
            continue;
        }
        // A further "." would make it an object of another name space.
        const std::string_view strSection = strName.substr(strPrefix.size(), uMark - strPrefix.size());
        const std::string strSectionPath = kObjectDirectory + std::string(strName.substr(0, uMark));
        if (strSection.find('.') == std::string_view::npos && IsTemporarySuffix(strName.substr(uMark + 1)) &&
            (strFinalPath.empty() || strFinalPath == strSectionPath))
        {
            vecPaths.push_back(kObjectDirectory + std::string(strName));
        }
    }
    return vecPaths;
}
}  // namespace

void Descriptor::Reset()
{
    if (IsOpen())
    {
        const int nError = errno;  // a guard that goes out of scope keeps the error that it is left with
        close(Release());
        errno = nError;
    }
}

Mapping::~Mapping()
{
    if (m_pData != nullptr)
    {
        munmap(m_pData, m_uSize);
    }
}

bool Mapping::Map(int nDescriptor, size_t uSize, Kind eKind)
{
    if (VO_FAULT_POINT("section.map"))
    {
        return FailErrno(ENOMEM);
    }
    const int nProtection = eKind == Kind::Read ? PROT_READ : PROT_READ | PROT_WRITE;
    const int nFlags = eKind == Kind::Copied ? MAP_PRIVATE | MAP_NORESERVE : MAP_SHARED;
    void* const pData = mmap(nullptr, uSize, nProtection, nFlags, nDescriptor, 0);
    if (pData == MAP_FAILED)
    {
        return false;
    }
    m_pData = pData;
    m_uSize = uSize;
    return true;
}

std::string SectionObjectPath(const VOWCHAR* pszName, const char* pszSuffix)
{
    VOWString strName;
    for (VOWCHAR cUnit = pszName != nullptr ? VOLoadUnit(pszName) : VOWCHAR{0}; cUnit != 0;
         cUnit = VOLoadUnit(++pszName))
    {
        strName.push_back(cUnit == '\\' ? VOWCHAR{0xDC5C} : cUnit);  // a name has no separators
    }
    const std::string strObject = ObjectPrefix() + EncodePart(VOToNativePath(strName)) + pszSuffix;
    if (strName.empty() || strObject.size() > kLongestName)
    {
        return FailErrno(strName.empty() ? EINVAL : ENAMETOOLONG, std::string());
    }
    return kObjectDirectory + strObject;
}

bool CheckSectionObject(const struct stat& info)
{
    if (!S_ISREG(info.st_mode) || info.st_uid != geteuid() || (info.st_mode & (S_IWGRP | S_IWOTH)) != 0)
    {
        return FailErrno(EACCES);
    }
    // A second link would be a file of this user that somebody else has put under this name. None at all is an object
    // that was replaced a moment ago.
    return info.st_nlink <= 1 || FailErrno(EMLINK);
}

bool FindSectionObject(const std::string& strPath, struct stat* pInfo)
{
    if (VO_FAULT_POINT("section.find"))
    {
        return FailErrno(ENOMEM);
    }
    return lstat(strPath.c_str(), pInfo) == 0 && CheckSectionObject(*pInfo);
}

Descriptor OpenSectionObject(const std::string& strPath, bool bWrite, struct stat* pInfo)
{
    if (VO_FAULT_POINT("section.open"))
    {
        return FailErrno(EMFILE, Descriptor());
    }
    // Without waiting: a pipe that was planted under the name must not hold this process up.
    const int nFlags = (bWrite ? O_RDWR : O_RDONLY) | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    Descriptor descriptor(open(strPath.c_str(), nFlags));
    if (descriptor.IsOpen() && (fstat(descriptor.Get(), pInfo) != 0 || !CheckSectionObject(*pInfo)))
    {
        descriptor.Reset();
    }
    return descriptor;
}

void TemporaryObject::Remove()
{
    if (!m_strPath.empty())
    {
        const int nError = errno;
        unlink(m_strPath.c_str());
        m_strPath.clear();
        errno = nError;
    }
}

bool TemporaryObject::Create(const std::string& strFinalPath, size_t uSize)
{
    static std::atomic<unsigned> s_uNumber{0};
    m_strFinalPath = strFinalPath;
    for (int nAttempt = 0; nAttempt < kNameAttempts; ++nAttempt)
    {
        if (CreateLocked(strFinalPath + "~" + std::to_string(getpid()) + "-" + std::to_string(++s_uNumber)))
        {
            return Reserve(uSize);
        }
        Remove();
        if (errno != EEXIST && errno != EWOULDBLOCK)
        {
            return false;
        }
    }
    return false;
}

// One attempt. EEXIST or EWOULDBLOCK: the name belongs to a leftover, or the object was taken for one before it was
// locked.
bool TemporaryObject::CreateLocked(const std::string& strPath)
{
    if (strPath.size() - strlen(kObjectDirectory) > kLongestName)
    {
        return FailErrno(ENAMETOOLONG);
    }
    if (VO_FAULT_POINT("section.create"))
    {
        return FailErrno(EMFILE);
    }
    std::string strMade = strPath;  // before there is something that only this name could remove
    Descriptor descriptor(open(strPath.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!descriptor.IsOpen())
    {
        return false;
    }
    m_strPath = std::move(strMade);
    struct stat info;
    if (VO_FAULT_POINT("section.lock"))
    {
        return FailErrno(ENOLCK);
    }
    // The mode is set again because the process may run with a mask that takes the owner's bits away.
    if (!LockNow(descriptor.Get()) || fchmod(descriptor.Get(), S_IRUSR | S_IWUSR) != 0 ||
        fstat(descriptor.Get(), &info) != 0)
    {
        return false;
    }
    if (info.st_nlink == 0)
    {
        return FailErrno(EWOULDBLOCK);
    }
    m_descriptor = std::move(descriptor);
    return true;
}

bool TemporaryObject::Reserve(size_t uSize)
{
    rlimit limit;
    if (VO_FAULT_POINT("section.reserve"))
    {
        return FailErrno(ENOSPC);
    }
    // Asked for beforehand: the system would end the process by a signal.
    const bool bLimited = getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY;
    if (uSize > static_cast<size_t>(std::numeric_limits<off_t>::max()) || (bLimited && uSize > limit.rlim_cur))
    {
        return FailErrno(EFBIG);
    }
    int nError = EINTR;
    while (nError == EINTR)
    {
        nError = posix_fallocate(m_descriptor.Get(), 0, static_cast<off_t>(uSize));
    }
    return nError == 0 || FailErrno(nError);
}

bool TemporaryObject::Publish(bool bReplace)
{
    if (VO_FAULT_POINT("section.publish"))
    {
        return FailErrno(ENOSPC);
    }
    const char* const pszFrom = m_strPath.c_str();
    const char* const pszTo = m_strFinalPath.c_str();
    int nResult = bReplace ? rename(pszFrom, pszTo) : renameat2(AT_FDCWD, pszFrom, AT_FDCWD, pszTo, RENAME_NOREPLACE);
    if (nResult != 0 && !bReplace && (errno == EINVAL || errno == ENOSYS))
    {
        // A file system without that call. The second link lasts for a moment, in which a reader is refused.
        nResult = link(pszFrom, pszTo);
        if (nResult == 0)
        {
            unlink(pszFrom);
        }
    }
    if (nResult != 0)
    {
        return false;
    }
    m_strPath.clear();
    return true;
}

size_t RemoveStaleObjects(const std::string& strFinalPath)
{
    size_t uRemoved = 0;
    for (const std::string& strPath : ListTemporaryObjects(strFinalPath))
    {
        // The lock is held until the name is gone, so that the name can't pass to an object that is just begun. One
        // that is still being built is locked.
        struct stat info;
        const Descriptor descriptor = OpenSectionObject(strPath, true, &info);
        const bool bLeftover = descriptor.IsOpen() && LockNow(descriptor.Get());
        uRemoved += bLeftover && unlink(strPath.c_str()) == 0 ? 1 : 0;
    }
    return uRemoved;
}
