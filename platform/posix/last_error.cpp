// The calling thread's last-error value, and the system's error numbers in its terms.
#include "platform/posix/last_error.h"

#include <errno.h>

namespace
{
thread_local DWORD s_uLastError = ERROR_SUCCESS;
}

DWORD GetLastError()
{
    return s_uLastError;
}

void SetLastError(DWORD uError)
{
    s_uLastError = uError;
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
