// The calling thread's last-error value, and the system's error numbers in its terms.
#include "platform/posix/last_error.h"

#include <errno.h>
#include <pthread.h>

#include <atomic>

namespace
{
// The value stands in a key's place for the thread. A thread-local variable would make the library harder to load at
// run time, and keep memory for each thread.
struct LastErrorKey
{
    std::atomic<bool> bReady{false};
    pthread_key_t key = 0;

    LastErrorKey() { bReady.store(pthread_key_create(&key, nullptr) == 0); }
    ~LastErrorKey()
    {
        if (bReady.exchange(false))
        {
            pthread_key_delete(key);
        }
    }
};

LastErrorKey& Key()
{
    static LastErrorKey s_key;
    return s_key;
}
}  // namespace

DWORD GetLastError()
{
    const LastErrorKey& rkKey = Key();
    return rkKey.bReady.load() ? static_cast<DWORD>(reinterpret_cast<uintptr_t>(pthread_getspecific(rkKey.key)))
                               : ERROR_SUCCESS;
}

void SetLastError(DWORD uError)
{
    const LastErrorKey& rkKey = Key();
    if (rkKey.bReady.load())
    {
        pthread_setspecific(rkKey.key, reinterpret_cast<const void*>(static_cast<uintptr_t>(uError)));
    }
}

DWORD ErrorFromErrno(int nErrno)
{
    switch (nErrno)
    {
        case 0:
            return ERROR_SUCCESS;
        case ENOENT:
            return ERROR_FILE_NOT_FOUND;
        case EACCES:
        case EPERM:
        case ELOOP:    // a symbolic link where an object should be
        case EISDIR:   // a directory
        case ENXIO:    // a socket
        case EMLINK:   // a second name
        case ETXTBSY:  // a program that runs
            return ERROR_ACCESS_DENIED;
        case EMFILE:
        case ENFILE:
            return ERROR_TOO_MANY_OPEN_FILES;
        case ENOMEM:
        case ENOLCK:  // no memory for a lock
            return ERROR_NOT_ENOUGH_MEMORY;
        case ENOSPC:
        case EDQUOT:
        case EFBIG:
            return ERROR_DISK_FULL;
        case EEXIST:
            return ERROR_ALREADY_EXISTS;
        case EINVAL:
            return ERROR_INVALID_PARAMETER;
        case ECANCELED:
            return ERROR_CANCELLED;
        case ENAMETOOLONG:
            return ERROR_FILENAME_EXCED_RANGE;
        default:
            return ERROR_GEN_FAILURE;
    }
}
