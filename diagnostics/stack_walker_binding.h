// What the walker and its inner half share: the room of texts, and a bound function under its type.
#pragma once

#include "platform/vo_debug_help.h"

// Bytes of a name or a path, with its terminator.
constexpr size_t kTextSize = 1024;

template <typename Function>
Function Call(void (*pfnBound)())
{
    return reinterpret_cast<Function>(reinterpret_cast<uintptr_t>(pfnBound));
}
