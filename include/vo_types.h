// Types of the interface: the one public header that knows which system it is compiled for.
//
// Text of the interface is made of 16-bit code units on every system, because the images that carry it
// cross process and system boundaries. VOWCHAR is that unit; VOTEXT makes a literal of it.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include <string>

#if defined(_WIN32)

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

typedef wchar_t VOWCHAR;
#define VOTEXT_(text) L##text
#define VOTEXT(text) VOTEXT_(text)

typedef unsigned long VOULONG;

#if defined(VOBASE_STATIC)
#define VOBASE_API
#elif defined(VOBASE_BUILD)
#define VOBASE_API __declspec(dllexport)
#else
#define VOBASE_API __declspec(dllimport)
#endif

#else

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

#define MAX_PATH 260
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

static_assert(sizeof(VOWCHAR) == 2, "text of the interface is made of 16-bit code units");
static_assert(sizeof(VOULONG) == 4, "VOULONG is the interface's 32-bit unsigned long");
static_assert(sizeof(void*) == 8, "handles are 64 bits wide");

typedef std::basic_string<VOWCHAR> VOWString;
