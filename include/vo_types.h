// Types of the interface: the one public header that knows which system it is compiled for.
//
// Text of the interface is made of 16-bit code units on every system, because the images that carry it cross
// process and system boundaries. VOWCHAR is that unit; VOTEXT makes a literal of it. A text ends with a zero
// unit unless a length stands beside it, and a length of text counts units, not bytes.
//
// What holds for all headers, unless a declaration says otherwise:
//
// - An int that says whether something worked is 1 for yes and 0 for no. A handle function fails with
//   INVALID_HANDLE_VALUE, a pointer function with null.
// - The library throws nothing of its own. The one exception that leaves it is std::bad_alloc, out of whatever
//   has to make memory; a function that says "allocates nothing" doesn't throw.
// - Images come from the runtime's allocator: who is given one releases it with free().
// - A sentence that begins with "Kept" tells of a behaviour that looks odd and stays, since somebody relies on
//   it; docs/behaviours.md has all of them.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string>

// Windows: the system's own types, from <windows.h>, without its rarely used parts and without the macros min
// and max.
#if defined(_WIN32)

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

// One unit of text, and a literal of such text: VOTEXT("Data/a.txt"). The argument is a string literal.
typedef wchar_t VOWCHAR;
#define VOTEXT_(text) L##text
#define VOTEXT(text) VOTEXT_(text)

// 32 bits on every system, whatever "long" is there.
typedef unsigned long VOULONG;

// Marks what the library exports. VOBASE_STATIC is for users of the static library, VOBASE_BUILD for the build
// of the library itself; a user of the shared library defines neither.
#if defined(VOBASE_STATIC)
#define VOBASE_API
#elif defined(VOBASE_BUILD)
#define VOBASE_API __declspec(dllexport)
#else
#define VOBASE_API __declspec(dllimport)
#endif

#else

// Linux: the same names with the same widths.
typedef char16_t VOWCHAR;
#define VOTEXT_(text) u##text
#define VOTEXT(text) VOTEXT_(text)

typedef unsigned int VOULONG;
typedef unsigned int UINT;

// The registers of a thread, under the names that they have on Windows.
struct alignas(16) CONTEXT
{
    unsigned int ContextFlags;
    unsigned int EFlags;
    unsigned long long Rax, Rcx, Rdx, Rbx, Rsp, Rbp, Rsi, Rdi;
    unsigned long long R8, R9, R10, R11, R12, R13, R14, R15;
    unsigned long long Rip;
};

// Units of a path buffer, the terminator included.
#define MAX_PATH 260

// All 64 bits set: what stands for "no handle", in memory and in images.
#define INVALID_HANDLE_VALUE (reinterpret_cast<void*>(static_cast<intptr_t>(-1)))

// The state of a read that goes on in the background, as the system's own is laid out.
struct OVERLAPPED
{
    uintptr_t Internal;
    uintptr_t InternalHigh;
    unsigned int Offset;
    unsigned int OffsetHigh;
    void* hEvent;  // signalled when the read completes
};

// A static library exports nothing; in a shared one everything else is hidden.
#if defined(VOBASE_STATIC)
#define VOBASE_API
#else
#define VOBASE_API __attribute__((visibility("default")))
#endif

#endif

// The compiler's full name of the enclosing function, from which the check macros take "Class::Function".
#if defined(_MSC_VER)
#define VO_PRETTY_FUNCTION __FUNCSIG__
#else
#define VO_PRETTY_FUNCTION __PRETTY_FUNCTION__
#endif

// Lets the compiler compare a printf format with its arguments, where it can.
#if defined(__MINGW32__)
#define VO_PRINTF_FORMAT(position, first) __attribute__((format(ms_printf, position, first)))
#elif defined(__GNUC__)
#define VO_PRINTF_FORMAT(position, first) __attribute__((format(printf, position, first)))
#else
#define VO_PRINTF_FORMAT(position, first)
#endif

// The images and sections depend on these widths: a system where one of them fails can't share data with the
// others.
static_assert(sizeof(VOWCHAR) == 2, "text of the interface is made of 16-bit code units");
static_assert(sizeof(VOULONG) == 4, "VOULONG is the interface's 32-bit unsigned long");
static_assert(sizeof(void*) == 8, "handles are 64 bits wide");

// A text that owns its memory.
typedef std::basic_string<VOWCHAR> VOWString;
