// The platform seam: every call of the operating system that the library makes, under its Windows name.
//
// On Windows this header brings in the system's own headers. On Linux it declares exactly the calls below, and
// platform/posix implements them. Above each call stands what the library relies on, and what the Linux side leaves
// out.
//
// Text arguments may sit at odd addresses on both systems (images are packed): nothing here dereferences a VOWCHAR
// pointer that could be misaligned.
//
// Errors: a call that sets a last-error value says so; the values used are those under "Error values".
#pragma once

#include <errno.h>
#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "vo_types.h"

#if defined(_WIN32)

#include <io.h>
#include <shlwapi.h>
#include <tchar.h>
#include <wchar.h>
// strsafe.h has to come after tchar.h. It would take lstrcpyW and its relatives away, whose cutting copies are relied
// on.
#ifndef STRSAFE_NO_DEPRECATE
#define STRSAFE_NO_DEPRECATE
#endif
#include <strsafe.h>

#if defined(__MINGW32__)
// This compiler links a stand-in of its own that cuts a long text and leaves it without a terminator. This one has the
// contract of the runtime's (below). A text that doesn't fit runs the host's handler for invalid parameters: one that
// was set in this module, or in the universal runtime (ucrtbase.dll) where the process has it, which ends the process
// where none was set. In a process without that runtime it goes on.
int VOCheckedNarrowFormat(char* pszTo, size_t uSize, const char* pszFormat, va_list arguments) VO_PRINTF_FORMAT(3, 0);
#define vsprintf_s VOCheckedNarrowFormat
#endif

#else

// ---------------------------------------------------------------------------------------------------------------------
// Types and constants
// ---------------------------------------------------------------------------------------------------------------------

typedef void* HANDLE;
typedef int BOOL;
typedef unsigned int DWORD;
typedef size_t SIZE_T;
typedef int HRESULT;
typedef int errno_t;
typedef VOWCHAR TCHAR;
typedef unsigned long long ULONGLONG;

#define TRUE 1
#define FALSE 0
#define WINAPI  // how a procedure is called that the system calls back; one way here
#define _T(text) VOTEXT(text)

#define S_OK (static_cast<HRESULT>(0))
#define STRSAFE_E_INSUFFICIENT_BUFFER (static_cast<HRESULT>(0x8007007Au))
#define STRSAFE_E_INVALID_PARAMETER (static_cast<HRESULT>(0x80070057u))
#define SUCCEEDED(result) (static_cast<HRESULT>(result) >= 0)
#define FAILED(result) (static_cast<HRESULT>(result) < 0)

// Error values, as GetLastError gives them.
#define ERROR_SUCCESS 0u
#define ERROR_FILE_NOT_FOUND 2u          // no section of that name
#define ERROR_TOO_MANY_OPEN_FILES 4u     // the process or the system is out of descriptors
#define ERROR_ACCESS_DENIED 5u           // another user's object, or one that others could have planted or changed
#define ERROR_INVALID_HANDLE 6u          // not an open handle; no console to attach to
#define ERROR_NOT_ENOUGH_MEMORY 8u       // memory or address space is used up
#define ERROR_GEN_FAILURE 31u            // anything that has no value of its own here
#define ERROR_INVALID_PARAMETER 87u      // an argument outside what is supported
#define ERROR_DISK_FULL 112u             // the space for a section can't be reserved
#define ERROR_SIGNAL_REFUSED 156u        // a thread is suspended as often as can be counted
#define ERROR_ALREADY_EXISTS 183u        // not a failure: CreateFileMappingW opened a section that was there
#define ERROR_FILENAME_EXCED_RANGE 206u  // a section name that is too long for the system
#define ERROR_INVALID_ADDRESS 487u       // no view at this address
#define ERROR_OPERATION_ABORTED 995u     // a read that was cancelled
#define ERROR_IO_INCOMPLETE 996u         // a read that goes on
#define ERROR_FILE_INVALID 1006u         // an empty object can't be mapped
#define ERROR_NOT_FOUND 1168u            // no read to cancel
#define ERROR_CANCELLED 1223u            // the writer of a section gave up
#define ERROR_NO_SYSTEM_RESOURCES 1450u  // the system watches no more directories for this user

// The calling thread's last-error value. A call that succeeds leaves it alone, except CreateFileMappingW.
DWORD GetLastError();
void SetLastError(DWORD uError);

// ---------------------------------------------------------------------------------------------------------------------
// Wide text (16-bit units, terminated by a zero unit; sizes and counts are in units)
//
// Case is folded unit by unit with the simple Unicode mappings of the C library, whatever locale the program has set.
// Left out: the Windows comparisons are linguistic; here text is equal when its (folded) units are.
// ---------------------------------------------------------------------------------------------------------------------

// Units before the terminator; 0 for a null pointer.
int lstrlenW(const VOWCHAR* pszText);

// Copies at most nSize - 1 units and the terminator, cutting silently. Writes nothing for nSize <= 0. Nothing behind
// the terminator is touched. Result: pszTo; null (and nothing written) when an argument is null.
VOWCHAR* lstrcpynW(VOWCHAR* pszTo, const VOWCHAR* pszFrom, int nSize);

// Copies everything up to and with the terminator. Result as above.
VOWCHAR* lstrcpyW(VOWCHAR* pszTo, const VOWCHAR* pszFrom);

// lstrcpynW under another name; a null pszFrom gives the empty text.
VOWCHAR* StrCpyNW(VOWCHAR* pszTo, const VOWCHAR* pszFrom, int nSize);

// Lower-cases uLength units in place; zeros among them don't end it. Result: uLength.
DWORD CharLowerBuffW(VOWCHAR* pText, DWORD uLength);

// 0 when equal. The library relies on nothing but "is it 0": the sign is that of the unit values here, and linguistic
// on Windows. A null argument gives a value other than 0.
int StrCmpW(const VOWCHAR* pszFirst, const VOWCHAR* pszSecond);
int StrCmpIW(const VOWCHAR* pszFirst, const VOWCHAR* pszSecond);

// First place of pszWhat in pszIn, or null; null also for an empty pszWhat or a null argument. The I form ignores case.
VOWCHAR* StrStrW(const VOWCHAR* pszIn, const VOWCHAR* pszWhat);
VOWCHAR* StrStrIW(const VOWCHAR* pszIn, const VOWCHAR* pszWhat);

// Next token of a text, which is cut in place: pszText at the first call, null afterwards, the position kept in
// *ppszContext. Each unit of pszDelimiters separates; empty tokens don't occur. Null when there are no more.
VOWCHAR* wcstok_s(VOWCHAR* pszText, const VOWCHAR* pszDelimiters, VOWCHAR** ppszContext);

constexpr size_t kStrsafeMaxCch = 0x7FFFFFFF;

// Copies pszFrom whole: S_OK. STRSAFE_E_INSUFFICIENT_BUFFER when it doesn't fit in uSize units: pszTo then holds the
// cut text, terminated. STRSAFE_E_INVALID_PARAMETER for uSize 0 or above kStrsafeMaxCch, with nothing written.
HRESULT StringCchCopyW(VOWCHAR* pszTo, size_t uSize, const VOWCHAR* pszFrom);
#define StringCchCopy StringCchCopyW

// Formats into uSize units; results as StringCchCopyW. Of the wide format language of the Windows runtime there are %s
// (VOWCHAR text), %d and %%, without flags, width and precision; anything else is STRSAFE_E_INVALID_PARAMETER.
HRESULT StringCchPrintfW(VOWCHAR* pszTo, size_t uSize, const VOWCHAR* pszFormat, ...);
#define StringCchPrintf StringCchPrintfW

// The same language. Result: the units written without the terminator. A text that doesn't fit is an invalid parameter:
// the Windows runtime calls its handler, and when that returns, as here at once: -1, and pszTo is the empty text.
int swprintf_s(VOWCHAR* pszTo, size_t uSize, const VOWCHAR* pszFormat, ...);
#define _stprintf_s swprintf_s

// ---------------------------------------------------------------------------------------------------------------------
// Narrow text and the console
// ---------------------------------------------------------------------------------------------------------------------

// Formats into uSize bytes. Result: the characters written. A text that doesn't fit: -1 and the empty text, never a
// part.
int vsprintf_s(char* pszTo, size_t uSize, const char* pszFormat, va_list arguments) VO_PRINTF_FORMAT(3, 0);

// Opens a file on a stream that is open already; "CONOUT$" is the console, here the controlling terminal. Result: 0
// with *ppResult the stream, or an errno value with *ppResult null. A name that can't be opened leaves the stream as it
// was here; Windows closes it.
errno_t freopen_s(FILE** ppResult, const char* pszName, const char* pszMode, FILE* pStream);

// Attaches the console of the parent process: here, true when the process has a controlling terminal. No other argument
// than ATTACH_PARENT_PROCESS. Failure: 0, ERROR_INVALID_HANDLE. Left out: the refusal of a second attach.
#define ATTACH_PARENT_PROCESS (static_cast<DWORD>(-1))
BOOL AttachConsole(DWORD uProcess);

// ---------------------------------------------------------------------------------------------------------------------
// Find-first
// ---------------------------------------------------------------------------------------------------------------------

#define _A_NORMAL 0x00u
#define _A_RDONLY 0x01u  // here: the owner has no write permission
#define _A_HIDDEN 0x02u  // here: the name begins with a dot
#define _A_SUBDIR 0x10u  // a directory

struct _wfinddata64i32_t
{
    unsigned attrib;      // the _A_ bits
    int64_t time_create;  // seconds since 1970 UTC; here the modification time where the file system has no birth time
    int64_t time_access;
    int64_t time_write;
    unsigned size;      // the low 32 bits of the size in bytes; 0 for a directory
    VOWCHAR name[260];  // last component of the path
};

// Describes the one file or directory that pszPath names, with either slash. A link is described itself, not its
// target. A path that ends in a slash isn't found. Result: a handle for _findclose (never 0), or -1 with errno ENOENT
// or EINVAL and pData untouched. Left out: wildcards, which are taken literally; attributes other than those above.
intptr_t _wfindfirst64i32(const VOWCHAR* pszPath, _wfinddata64i32_t* pData);

// 0; for a handle of -1, -1 with errno EINVAL.
int _findclose(intptr_t hFind);

// ---------------------------------------------------------------------------------------------------------------------
// Sections: named shared memory
//
// A section is a POSIX shared memory object "/vobase.<uid>[.<name space>].<section name>". The environment variable
// VOBASE_NAMESPACE, read at first use, moves a process to a name space of its own. Bytes of either name that are not
// letters, digits, "_" or "-" are carried as %XX. An object is refused with ERROR_ACCESS_DENIED when it belongs to
// another user, when group or others may write it, when it has a second link, or when it isn't a regular object (a
// symbolic link isn't followed).
//
// Differences from Windows: the object and its name outlive the last handle until somebody removes the name (see
// vo_section_publisher.h); there the name goes with the last handle, and the memory with the last view. Opening one
// section again gives the same handle value and the same view address, counted: every open needs its CloseHandle, every
// map its UnmapViewOfFile, but forgotten ones cost neither descriptor nor address space. Memory can't fault behind the
// object's end as long as nobody shrinks the object; none of these calls does.
//
// All calls may be made by several threads at once.
// ---------------------------------------------------------------------------------------------------------------------

#define FILE_MAP_COPY 1u   // read and write; pages that are written to become the view's own
#define FILE_MAP_WRITE 2u  // read and write
#define FILE_MAP_READ 4u
#define PAGE_READONLY 0x02u
#define PAGE_READWRITE 0x04u
#define MEM_COMMIT 0x1000u
#define MEM_MAPPED 0x40000u

// Opens a section. uAccess: one of the three; bInherit: 0. A section opened for FILE_MAP_COPY has handles and views of
// its own. Result: a handle for CloseHandle, or null
// with ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED, ERROR_INVALID_PARAMETER (another access, no or an empty name), ...
HANDLE OpenFileMappingW(DWORD uAccess, BOOL bInherit, const VOWCHAR* pszName);

// Opens or makes a section that can be written. hFile: INVALID_HANDLE_VALUE; pSecurity: null; uProtect: PAGE_READWRITE;
// the size in bytes comes as two halves and isn't 0. A new section is all zero and its space is reserved
// (ERROR_DISK_FULL); the last error is then ERROR_SUCCESS. A section that exists is opened at its own size, with
// ERROR_ALREADY_EXISTS. Result: a handle, or null. Left out: sections without a name.
HANDLE CreateFileMappingW(HANDLE hFile, void* pSecurity, DWORD uProtect, DWORD uSizeHigh, DWORD uSizeLow,
                          const VOWCHAR* pszName);

// Maps the whole section (offset 0, length 0). uAccess: what the section was opened with, or FILE_MAP_READ; more is
// ERROR_ACCESS_DENIED. A view of a section opened for FILE_MAP_READ can't be written. The view outlives the handle.
// Result: the view's address, or null with ERROR_INVALID_HANDLE, ERROR_FILE_INVALID (empty object), ...
void* MapViewOfFile(HANDLE hSection, DWORD uAccess, DWORD uOffsetHigh, DWORD uOffsetLow, SIZE_T uLength);

// Gives a view back. Failure: 0, ERROR_INVALID_ADDRESS.
BOOL UnmapViewOfFile(const void* pView);

// Closes a handle of any kind. Failure: 0, ERROR_INVALID_HANDLE. A handle value isn't used a second time.
BOOL CloseHandle(HANDLE hObject);

struct MEMORY_BASIC_INFORMATION
{
    void* BaseAddress;     // the address asked for, rounded down to its page
    void* AllocationBase;  // start of the view
    SIZE_T RegionSize;     // bytes from BaseAddress that may be touched: to the object's exact size when it was mapped
                           // (Windows: to the end of the last committed page)
    DWORD State;           // MEM_COMMIT
    DWORD Protect;         // PAGE_READONLY, PAGE_READWRITE
    DWORD Type;            // MEM_MAPPED
};

// Describes the view at an address. uLength: sizeof *pInfo. Result: the bytes written to *pInfo, or 0 with
// ERROR_INVALID_PARAMETER or ERROR_INVALID_ADDRESS. Left out: memory that isn't a view of a section.
SIZE_T VirtualQuery(const void* pAddress, MEMORY_BASIC_INFORMATION* pInfo, SIZE_T uLength);

// ---------------------------------------------------------------------------------------------------------------------
// Threads
//
// A thread costs no descriptor. It is suspended by a real-time signal that nobody in the process used when the first
// thread was made; a program leaves that signal alone and doesn't block it for good.
//
// A thread stands wherever it was, with whatever it holds: as on Windows, a lock of the program or of the allocator
// that it has taken stays taken. The calls of this header are the exception: a thread that is inside one of them stands
// before or behind the piece that others could wait for. Calls of the system that it is in are resumed with it; waits
// and sleeps end at the time they were to end, or as soon as it is resumed when that is over.
// ---------------------------------------------------------------------------------------------------------------------

typedef DWORD(WINAPI* LPTHREAD_START_ROUTINE)(void* pParameter);

#define CREATE_SUSPENDED 4u

// Runs a procedure on a new thread. pSecurity: null; uStackSize: 0, the default; uFlags: 0, or CREATE_SUSPENDED for a
// thread that does nothing before it is resumed; puThreadId: null, or where its system-wide number goes. Result: a
// handle that is signalled when the thread has ended. Closing it neither ends nor resumes the thread. Failure: null,
// ERROR_NOT_ENOUGH_MEMORY (no memory, too many threads) or ERROR_INVALID_PARAMETER. Left out: the result of the
// procedure, which nobody can ask for.
HANDLE CreateThread(void* pSecurity, SIZE_T uStackSize, LPTHREAD_START_ROUTINE pfnProcedure, void* pParameter,
                    DWORD uFlags, DWORD* puThreadId);

// Suspends a thread once more. When the call returns, the thread stands still; a thread that suspends itself stands
// inside the call. Result: how often it was suspended before. Failure: -1, ERROR_INVALID_HANDLE, ERROR_ACCESS_DENIED
// (it has ended), ERROR_SIGNAL_REFUSED (suspended 127 times), ERROR_NOT_ENOUGH_MEMORY (too many signals are under way).
DWORD SuspendThread(HANDLE hThread);

// Takes back one suspension; the thread goes on with the last. Result: how often it was suspended before, 0 for a
// thread that runs or has ended. Failure: -1, ERROR_INVALID_HANDLE.
DWORD ResumeThread(HANDLE hThread);

// The pseudo handles of the calling thread (-2) and of the process (-1). Closing them does nothing. Left out: waiting
// for the process.
HANDLE GetCurrentThread();
HANDLE GetCurrentProcess();

// The system-wide number of the calling thread; never 0.
DWORD GetCurrentThreadId();

// ---------------------------------------------------------------------------------------------------------------------
// Events, waits and time
// ---------------------------------------------------------------------------------------------------------------------

#define INFINITE 0xFFFFFFFFu
#define WAIT_OBJECT_0 0u
#define WAIT_TIMEOUT 258u
#define WAIT_FAILED 0xFFFFFFFFu

// Makes an event. pSecurity and pszName: null (events without a name only). With automatic reset, each signal lets one
// waiter through. Result: a handle, or null with ERROR_NOT_ENOUGH_MEMORY or ERROR_INVALID_PARAMETER.
HANDLE CreateEventW(void* pSecurity, BOOL bManualReset, BOOL bInitialState, const VOWCHAR* pszName);

// Failure: 0, ERROR_INVALID_HANDLE. Signals that nobody has waited for don't add up.
BOOL SetEvent(HANDLE hEvent);
BOOL ResetEvent(HANDLE hEvent);

// Waits for an event, or for the end of a thread, for so many milliseconds or INFINITE; 0 looks and doesn't wait.
// Result: WAIT_OBJECT_0; WAIT_TIMEOUT; WAIT_FAILED with ERROR_INVALID_HANDLE. A handle that is closed meanwhile ends no
// wait.
DWORD WaitForSingleObject(HANDLE hObject, DWORD uMilliseconds);

// Sleeps for so many milliseconds at least; 0 lets other threads run; INFINITE never returns.
void Sleep(DWORD uMilliseconds);

// Milliseconds since the system was started, the time it was asleep included.
ULONGLONG GetTickCount64();

// ---------------------------------------------------------------------------------------------------------------------
// Directory changes
//
// A directory is watched with everything below it, by inotify: one descriptor pair and one thread of this layer per
// handle that has been read from, one watch per directory. What changes is told in records with paths relative to the
// root, "\" between their components (names as vo_text.h carries them), in the order in which it happened:
//
//   - A file or directory that is made or moved in is added, one that is deleted or moved out is removed. What a
//     directory that comes in already holds is added too, each thing once. What a directory that is moved out held
//     isn't told.
//   - A rename within one directory is an old-name record with its new-name record right behind it. A move to another
//     directory is a removal and an addition. Where the new name stood for something else, that is removed first.
//   - A file is modified when a writer closes it, when its write time is set, or when it was written or cut without a
//     close and a second has passed. Other attributes don't count. Directories are never modified.
//   - Links are told of themselves and not followed. A mounted file system is part of the tree.
//
// Differences from Windows: results go into the caller's memory when somebody waits for the event (or calls
// GetOverlappedResult), on the thread that does, and never else: a caller who gives the memory up without waiting again
// needn't cancel first, and one who looks at the OVERLAPPED alone sees nothing. A root that is moved away counts as
// deleted. Directories that can't be watched (see below) are missing from the records.
// ---------------------------------------------------------------------------------------------------------------------

#define FILE_LIST_DIRECTORY 1u
#define GENERIC_READ 0x80000000u
#define GENERIC_WRITE 0x40000000u
#define FILE_SHARE_READ 1u
#define FILE_SHARE_WRITE 2u
#define FILE_SHARE_DELETE 4u
#define OPEN_EXISTING 3u
#define FILE_FLAG_BACKUP_SEMANTICS 0x02000000u
#define FILE_FLAG_OVERLAPPED 0x40000000u

// Opens a directory to read its changes. uAccess: what is asked for is not looked at beyond read permission; uShare: 7;
// pSecurity and hTemplate: null; uDisposition: OPEN_EXISTING; uFlags: FILE_FLAG_BACKUP_SEMANTICS and
// FILE_FLAG_OVERLAPPED. Either slash, also at the end. Result: a handle for CloseHandle, or INVALID_HANDLE_VALUE with
// ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED, ERROR_INVALID_PARAMETER, ... A file can be opened, but not read from as
// below. Left out: everything else that files are opened for.
HANDLE CreateFileW(const VOWCHAR* pszPath, DWORD uAccess, DWORD uShare, void* pSecurity, DWORD uDisposition,
                   DWORD uFlags, HANDLE hTemplate);

#define FILE_NOTIFY_CHANGE_FILE_NAME 0x01u   // files made, removed, renamed
#define FILE_NOTIFY_CHANGE_DIR_NAME 0x02u    // the same of directories
#define FILE_NOTIFY_CHANGE_LAST_WRITE 0x10u  // files modified

#define FILE_ACTION_ADDED 1u
#define FILE_ACTION_REMOVED 2u
#define FILE_ACTION_MODIFIED 3u
#define FILE_ACTION_RENAMED_OLD_NAME 4u
#define FILE_ACTION_RENAMED_NEW_NAME 5u

struct FILE_NOTIFY_INFORMATION
{
    DWORD NextEntryOffset;  // bytes from this record to the next, a multiple of 4; 0 in the last one
    DWORD Action;           // a FILE_ACTION_ value
    DWORD FileNameLength;   // bytes
    VOWCHAR FileName[1];    // relative to the root; no terminator
};

// Reads what has changed since the last read, now or once there is something. The first read of a handle begins the
// watch: its tree and its filter count for all that follow, and its buffer size is how many bytes of records are kept
// between reads. pBuffer: aligned to 4; bSubtree: TRUE; uFilter: any of the bits above; puBytes isn't used; pOverlapped
// and its hEvent have to be there, pfnRoutine null. The event is reset, and signalled when the read is done;
// GetOverlappedResult gives the bytes. A read of 0 bytes says that changes were lost: the system's queue (16384 changes
// by default) or the kept bytes ran over, or this read's buffer is too small for what was kept. Several reads may be
// under way; each change goes to one.
//
// Failure: FALSE with nothing under way. ERROR_INVALID_HANDLE; ERROR_INVALID_PARAMETER (also: not a directory);
// ERROR_ACCESS_DENIED: the root is gone, which ends a read that is under way in the same way;
// ERROR_TOO_MANY_OPEN_FILES, ERROR_NOT_ENOUGH_MEMORY: the watch didn't begin, the next call tries again.
// ERROR_NO_SYSTEM_RESOURCES, once: the user's limit of watches (fs.inotify.max_user_watches) is reached. The
// directories that were in time are watched, and the next call reads from them; vo_directory_watch.h counts the others.
// When directories can't be watched later on, a read of 0 bytes says so; they are tried again every ten seconds.
BOOL ReadDirectoryChangesW(HANDLE hDirectory, void* pBuffer, DWORD uLength, BOOL bSubtree, DWORD uFilter,
                           DWORD* puBytes, OVERLAPPED* pOverlapped, void* pfnRoutine);

// The result of a read: TRUE with the bytes of its records in *puBytes. Failure: FALSE with ERROR_IO_INCOMPLETE (it
// goes on, and bWait is FALSE), ERROR_OPERATION_ABORTED (cancelled), ERROR_ACCESS_DENIED (the root is gone),
// ERROR_INVALID_HANDLE.
BOOL GetOverlappedResult(HANDLE hDirectory, OVERLAPPED* pOverlapped, DWORD* puBytes, BOOL bWait);

// Ends the reads of an OVERLAPPED, or with null all of the handle, which signals their events. Changes stay for the
// next read. Failure: FALSE with ERROR_NOT_FOUND (nothing to end) or ERROR_INVALID_HANDLE. CloseHandle signals the
// event of a read under way as well; afterwards nothing of the caller's is touched any more.
BOOL CancelIoEx(HANDLE hDirectory, OVERLAPPED* pOverlapped);

// Whether a path is a directory, or a link to one. The result is 0 or not.
BOOL PathIsDirectoryW(const VOWCHAR* pszPath);

#endif

// ---------------------------------------------------------------------------------------------------------------------
// On every system
// ---------------------------------------------------------------------------------------------------------------------

// wcsncpy: copies up to uCount units and fills the rest of uCount with zeros; a text of uCount units or more is cut and
// NOT terminated.
VOWCHAR* VOWideNCopy(VOWCHAR* pszTo, const VOWCHAR* pszFrom, size_t uCount);

// Bytes that may be touched from the start of a section's view, by VirtualQuery; 0 when pView isn't one.
inline size_t VOViewSize(const void* pView)
{
    MEMORY_BASIC_INFORMATION info;
    if (VirtualQuery(pView, &info, sizeof(info)) == 0 || info.State != MEM_COMMIT || info.AllocationBase != pView)
    {
        return 0;
    }
    return info.RegionSize;
}

// ---------------------------------------------------------------------------------------------------------------------
// Files by narrow path
//
// A path may use either slash on both systems; on Linux "\\" is "/", so that a name with a backslash in it can't be
// named.
// ---------------------------------------------------------------------------------------------------------------------

#if defined(_WIN32)

#include <direct.h>
#include <time.h>

#else

#include <time.h>

#define FILE_ATTRIBUTE_READONLY 0x01u  // here: the owner has no write permission
#define FILE_ATTRIBUTE_HIDDEN 0x02u    // here: the name begins with a dot
#define FILE_ATTRIBUTE_DIRECTORY 0x10u
#define FILE_ATTRIBUTE_NORMAL 0x80u  // none of the others
#define INVALID_FILE_ATTRIBUTES (static_cast<DWORD>(-1))

// The attributes of a file or folder; of the target where the path names a link. INVALID_FILE_ATTRIBUTES, whose bits
// are all set, with ERROR_FILE_NOT_FOUND, ERROR_ACCESS_DENIED, ... on failure.
DWORD GetFileAttributesA(const char* pszPath);

// Sets read-only or clears it. Here nothing else of uAttributes has an effect, and it is the owner's write permission
// alone that is taken or given. 0 on failure, with an error as above.
BOOL SetFileAttributesA(const char* pszPath, DWORD uAttributes);

// Makes one folder. -1 with errno (EEXIST, ENOENT, EACCES, ...) on failure.
int _mkdir(const char* pszPath);

// Copies a whole text of at most uSize - 1 bytes: 0. A longer one is ERANGE, a null one EINVAL, and the target is then
// the empty text; the Windows runtime calls its handler for an invalid parameter first, which ends the process unless
// the host has another one.
errno_t strcpy_s(char* pszTo, size_t uSize, const char* pszFrom);

// A time as local time: 0, or EINVAL.
errno_t localtime_s(struct tm* pTo, const time_t* pTime);

#endif

// fopen for the modes "r", "w", "wb" and "at". Null for a null path, and for a folder. "r" gives LF for CR LF and ends
// at the first Ctrl-Z (0x1A), as the runtime's text mode does; what is written in text mode has the system's own line
// ends.
FILE* VOOpenFile(const char* pszPath, const char* pszMode);

// Characters that make a path start at the root of the file system where no drive does: 1 for one leading "/" on Linux,
// else 0. Always 0 on Windows.
size_t VOPathRootLength(const char* pszPath);

// Says why on standard error and ends the process at once, as the runtime does on a failed range check: no destructor
// and no exit handler runs.
[[noreturn]] void VOEndProcess(const char* pszReason);
