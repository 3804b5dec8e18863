// Roles of child processes that only Windows has: none.
#include "tests/platform/platform_test_support.h"

int PlaySystemRole(const std::string&, const VOWString&)
{
    return UNKNOWN_ROLE;
}
