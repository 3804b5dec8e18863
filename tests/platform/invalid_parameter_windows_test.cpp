#include <stdlib.h>

#include "tests/platform/platform_test_support.h"

namespace
{
_invalid_parameter_handler s_pfnEarlier = nullptr;

void GoOn(const wchar_t*, const wchar_t*, const wchar_t*, unsigned, uintptr_t) {}
}  // namespace

InvalidParameterHandler::InvalidParameterHandler()
{
    s_pfnEarlier = _set_invalid_parameter_handler(GoOn);
}

InvalidParameterHandler::~InvalidParameterHandler()
{
    _set_invalid_parameter_handler(s_pfnEarlier);
}
