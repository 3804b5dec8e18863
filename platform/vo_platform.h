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
// contract of the runtime's (below), and calls no handler on a text that doesn't fit.
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

#define TRUE 1
#define FALSE 0
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
#define ERROR_ALREADY_EXISTS 183u        // not a failure: CreateFileMappingW opened a section that was there
#define ERROR_FILENAME_EXCED_RANGE 206u  // a section name that is too long for the system
#define ERROR_INVALID_ADDRESS 487u       // no view at this address
#define ERROR_FILE_INVALID 1006u         // an empty object can't be mapped
#define ERROR_CANCELLED 1223u            // the writer of a section gave up

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

// Copies pszFrom whole: S_OK. STRSAFE_E_INSUFFICIENT_BUFFER when it doesn't fit in uSize units: pszTo then holds the
// cut text, terminated. STRSAFE_E_INVALID_PARAMETER for uSize 0 or above 0x7FFFFFFF, with nothing written.
HRESULT StringCchCopyW(VOWCHAR* pszTo, size_t uSize, const VOWCHAR* pszFrom);
#define StringCchCopy StringCchCopyW

// Formats into uSize units; results as StringCchCopyW. The format language is the wide one of the Windows runtime, of
// which there are: %s (VOWCHAR text; %hs narrow), %c, %d %i %u %x %X (with h, l (32 bits), ll, I64, z), %%; the flags
// "-", "0", "+", " ", "#", a width and a precision, both also as "*". Left out: floating point, %p, %n.
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

#define FILE_MAP_WRITE 2u  // read and write
#define FILE_MAP_READ 4u
#define PAGE_READONLY 0x02u
#define PAGE_READWRITE 0x04u
#define MEM_COMMIT 0x1000u
#define MEM_MAPPED 0x40000u

// Opens a section. uAccess: FILE_MAP_READ or FILE_MAP_WRITE; bInherit: 0. Result: a handle for CloseHandle, or null
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
