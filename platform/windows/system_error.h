// The system's error values, and what they mean, for those who show them.
#pragma once

#include "platform/vo_directory_listing.h"
#include "platform/vo_platform.h"

// Fills *pError with a value of GetLastError. Always false.
bool FailWith(VOSystemError* pError, DWORD uError);
