#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/file.h>
#include <unistd.h>

#include <utility>

#include "platform/fault_points.h"
#include "platform/posix/kernel.h"
#include "platform/posix/section_object.h"
#include "platform/vo_section_publisher.h"

// Publishing sections: objects made, taken over, replaced and withdrawn by name.

namespace
{
struct PublishedObject : VOHeldSection
{
    explicit PublishedObject(std::string strOfName) : strPath(std::move(strOfName)) {}

    bool Withdraw() override
    {
        struct stat info;
        const bool bFound = lstat(strPath.c_str(), &info) == 0;
        bool bWithdrawn = bFound || errno == ENOENT;
        if (bFound && info.st_dev == uDevice && info.st_ino == uObject)
        {
            errno = EACCES;
            bWithdrawn = !VO_FAULT_POINT("section.withdraw") && (unlink(strPath.c_str()) == 0 || errno == ENOENT);
        }
        return bWithdrawn || FailCall(ErrorFromErrno(errno));
    }

    const std::string strPath;
    Mapping mapping;
    dev_t uDevice = 0;  // which object is held, to tell it from one that has taken over its name
    ino_t uObject = 0;
};

// True when the name is free or stands for something of this user's. Being allowed to replace another user's object, as
// the superuser is, is no reason to do it.
bool MayReplace(const std::string& strPath)
{
    struct stat info;
    if (lstat(strPath.c_str(), &info) != 0)
    {
        return errno == ENOENT;
    }
    errno = EACCES;
    return info.st_uid == geteuid();
}

bool Take(PublishedObject& holding, int nDescriptor, const struct stat& info)
{
    holding.uDevice = info.st_dev;
    holding.uObject = info.st_ino;
    holding.uSize = static_cast<size_t>(info.st_size);
    const bool bMapped = holding.mapping.Map(nDescriptor, holding.uSize, Mapping::Kind::Write);
    holding.pData = holding.mapping.Data();
    return bMapped;
}

// Holds the object of that path when it is sound and large enough. *pbReplace tells, after a failure, that one which
// isn't stands in the way; false with *pbReplace unset and ENOENT that there is none.
bool TakeOver(PublishedObject& holding, size_t uSize, bool* pbReplace)
{
    struct stat info;
    const Descriptor descriptor = OpenSectionObject(holding.strPath, true, &info);
    if (!descriptor.IsOpen())
    {
        *pbReplace = errno == EACCES || errno == ELOOP || errno == EMLINK || errno == ENXIO;
        return false;
    }
    if (static_cast<size_t>(info.st_size) < uSize)
    {
        *pbReplace = true;
        return FailErrno(EEXIST);
    }
    holding.bExisted = true;
    return Take(holding, descriptor.Get(), info);
}

// Builds an object, has it filled, and gives it the name. EEXIST without bReplace when the name is taken.
bool Build(PublishedObject& holding, size_t uSize, const VOPublishedSection::Writer* pfnWriter, bool bReplace)
{
    TemporaryObject object;
    struct stat info;
    if (bReplace && !MayReplace(holding.strPath))
    {
        return false;
    }
    if (!object.Create(holding.strPath, uSize) || fstat(object.Get(), &info) != 0 || !Take(holding, object.Get(), info))
    {
        return false;
    }
    if (pfnWriter != nullptr && !(*pfnWriter)(holding.pData, uSize))
    {
        return FailErrno(ECANCELED);
    }
    return object.Publish(bReplace);
}
}  // namespace

bool VOPublishedSection::OpenOrCreate(const VOWCHAR* pszName, size_t uSize)
{
    const std::string strPath = SectionObjectPath(pszName, "");
    errno = strPath.empty() ? errno : EINVAL;
    if (strPath.empty() || uSize == 0)
    {
        return FailCall(ErrorFromErrno(errno));
    }
    RemoveStaleObjects(strPath);
    // The name may come and go between the two steps: then they are made again.
    bool bHeld = false;
    bool bAgain = true;
    std::unique_ptr<PublishedObject> pHolding;
    for (int nAttempt = 0; bAgain && nAttempt < kNameAttempts; ++nAttempt)
    {
        bool bReplace = false;
        pHolding = std::make_unique<PublishedObject>(strPath);
        bHeld = TakeOver(*pHolding, uSize, &bReplace);
        bAgain = false;
        if (!bHeld && (bReplace || errno == ENOENT))
        {
            bHeld = Build(*pHolding, uSize, nullptr, bReplace);
            bAgain = !bHeld && !bReplace && errno == EEXIST;
        }
    }
    if (!bHeld)
    {
        return FailCall(bAgain ? ERROR_GEN_FAILURE : ErrorFromErrno(errno));
    }
    m_pHeld = std::move(pHolding);
    return true;
}

bool VOPublishedSection::Replace(const VOWCHAR* pszName, size_t uSize, const Writer& fnWriter)
{
    auto pHolding = std::make_unique<PublishedObject>(SectionObjectPath(pszName, ""));
    errno = pHolding->strPath.empty() ? errno : EINVAL;
    if (pHolding->strPath.empty() || uSize == 0 || !fnWriter)
    {
        return FailCall(ErrorFromErrno(errno));
    }
    RemoveStaleObjects(pHolding->strPath);
    if (!Build(*pHolding, uSize, &fnWriter, true))
    {
        return FailCall(ErrorFromErrno(errno));
    }
    m_pHeld = std::move(pHolding);
    return true;
}

size_t VORemoveStaleSectionObjects()
{
    return RemoveStaleObjects(std::string());
}

// The lock of one publisher: a locked file beside the sections.
//
// The file holds the holder's process id in decimal. It is removed by the holder that releases it, under the lock; so a
// locked file counts only as long as it is still the one of that name.

namespace
{
// The lock's file, made if there is none. Not open on failure, with errno set.
Descriptor OpenLockFile(const std::string& strPath)
{
    if (VO_FAULT_POINT("lock.open"))
    {
        return FailErrno(EMFILE, Descriptor());
    }
    const int nFlags = O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    struct stat info;
    Descriptor descriptor(open(strPath.c_str(), nFlags, S_IRUSR | S_IWUSR));
    // The mode is set again because the process may run with a mask that takes the owner's bits away.
    if (descriptor.IsOpen() && (fstat(descriptor.Get(), &info) != 0 || !CheckSectionObject(info) ||
                                fchmod(descriptor.Get(), S_IRUSR | S_IWUSR) != 0))
    {
        descriptor.Reset();
    }
    return descriptor;
}

bool IsFileOfThatName(int nDescriptor, const std::string& strPath)
{
    struct stat opened;
    struct stat named;
    return fstat(nDescriptor, &opened) == 0 && lstat(strPath.c_str(), &named) == 0 && opened.st_dev == named.st_dev &&
           opened.st_ino == named.st_ino;
}

bool WriteProcessId(int nDescriptor)
{
    const std::string strText = std::to_string(getpid());
    if (VO_FAULT_POINT("lock.write"))
    {
        return FailErrno(ENOSPC);
    }
    return ftruncate(nDescriptor, 0) == 0 &&
           pwrite(nDescriptor, strText.data(), strText.size(), 0) == static_cast<ssize_t>(strText.size());
}

// 0 when the file names no process that lives: the holder may not have come to write its own yet.
uint32_t ReadProcessId(int nDescriptor)
{
    char szText[16] = {};
    if (pread(nDescriptor, szText, sizeof(szText) - 1, 0) <= 0)
    {
        return 0;
    }
    const long nProcess = strtol(szText, nullptr, 10);
    const bool bLives = nProcess > 0 && (kill(static_cast<pid_t>(nProcess), 0) == 0 || errno == EPERM);
    return bLives ? static_cast<uint32_t>(nProcess) : 0;
}
}  // namespace

struct VOInstanceLock::Holding
{
    ~Holding()
    {
        if (IsFileOfThatName(descriptor.Get(), strPath))
        {
            unlink(strPath.c_str());
        }
    }

    const std::string strPath;
    const Descriptor descriptor;
};

VOInstanceLock::Result VOInstanceLock::TryAcquire(const VOWCHAR* pszName)
{
    m_uHolderProcessId = 0;
    if (m_pHolding)
    {
        return FailCall(ERROR_ALREADY_EXISTS, Result::Error);
    }
    const std::string strPath = SectionObjectPath(pszName, "~lock");
    for (int nAttempt = 0; nAttempt < kNameAttempts && !strPath.empty(); ++nAttempt)
    {
        Descriptor descriptor = OpenLockFile(strPath);
        const int nDescriptor = descriptor.Get();
        if (nDescriptor < 0)
        {
            break;
        }
        if (flock(nDescriptor, LOCK_EX | LOCK_NB) != 0)
        {
            if (errno != EWOULDBLOCK)
            {
                break;
            }
            m_uHolderProcessId = ReadProcessId(nDescriptor);
            if (m_uHolderProcessId == 0 && nAttempt + 1 < kNameAttempts)
            {
                usleep(1000);  // it may be somebody who asks whether it is held
                continue;
            }
            return Result::HeldByOther;
        }
        if (!IsFileOfThatName(nDescriptor, strPath))
        {
            errno = EBUSY;  // its holder has released it since it was opened here
            continue;
        }
        if (!WriteProcessId(nDescriptor))
        {
            const int nError = errno;
            unlink(strPath.c_str());
            errno = nError;
            break;
        }
        m_pHolding.reset(new Holding{strPath, std::move(descriptor)});
        return Result::Acquired;
    }
    return FailCall(ErrorFromErrno(errno), Result::Error);
}

bool VOInstanceLock::IsHeldByAny(const VOWCHAR* pszName)
{
    const std::string strPath = SectionObjectPath(pszName, "~lock");
    const Descriptor descriptor(open(strPath.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat info;
    return descriptor.IsOpen() && fstat(descriptor.Get(), &info) == 0 && CheckSectionObject(info) &&
           flock(descriptor.Get(), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}
