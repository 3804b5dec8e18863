// The lock of one publisher: a locked file beside the sections.
//
// The file holds the holder's process id in decimal. It is removed by the holder that releases it, under the lock; so a
// locked file counts only as long as it is still the one of that name.
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/file.h>
#include <unistd.h>

#include <utility>

#include "platform/fault_points.h"
#include "platform/posix/last_error.h"
#include "platform/posix/section_object.h"
#include "platform/vo_section_publisher.h"

struct VOInstanceLock::Holding
{
    std::string strPath;
    Descriptor descriptor;
};

namespace
{
// The lock's file, made if there is none. Not open on failure, with errno set.
Descriptor OpenLockFile(const std::string& strPath)
{
    if (VO_FAULT_POINT("lock.open"))
    {
        errno = EMFILE;
        return Descriptor();
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
        errno = ENOSPC;
        return false;
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

VOInstanceLock::VOInstanceLock() = default;

VOInstanceLock::~VOInstanceLock()
{
    Release();
}

VOInstanceLock::Result VOInstanceLock::TryAcquire(const VOWCHAR* pszName)
{
    m_uHolderProcessId = 0;
    if (m_pHolding)
    {
        SetLastError(ERROR_ALREADY_EXISTS);
        return Result::Error;
    }
    auto pHolding = std::make_unique<Holding>();
    pHolding->strPath = SectionObjectPath(pszName, "~lock");
    if (pHolding->strPath.empty())
    {
        SetLastError(ErrorFromErrno(errno));
        return Result::Error;
    }
    for (int nAttempt = 0; nAttempt < NAME_ATTEMPTS; ++nAttempt)
    {
        pHolding->descriptor = OpenLockFile(pHolding->strPath);
        const int nDescriptor = pHolding->descriptor.Get();
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
            return Result::HeldByOther;
        }
        if (!IsFileOfThatName(nDescriptor, pHolding->strPath))
        {
            errno = EBUSY;  // its holder has released it since it was opened here
            continue;
        }
        if (!WriteProcessId(nDescriptor))
        {
            const int nError = errno;
            unlink(pHolding->strPath.c_str());
            errno = nError;
            break;
        }
        m_pHolding = std::move(pHolding);
        return Result::Acquired;
    }
    SetLastError(ErrorFromErrno(errno));
    return Result::Error;
}

uint32_t VOInstanceLock::HolderProcessId() const
{
    return m_uHolderProcessId;
}

bool VOInstanceLock::IsHeld() const
{
    return m_pHolding != nullptr;
}

void VOInstanceLock::Release()
{
    if (m_pHolding)
    {
        if (IsFileOfThatName(m_pHolding->descriptor.Get(), m_pHolding->strPath))
        {
            unlink(m_pHolding->strPath.c_str());
        }
        m_pHolding.reset();
    }
}
