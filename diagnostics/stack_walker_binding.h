// A bound function under its type.
#pragma once

#include "platform/vo_debug_help.h"

template <typename Function>
Function Call(void (*pfnBound)())
{
    return reinterpret_cast<Function>(reinterpret_cast<uintptr_t>(pfnBound));
}
