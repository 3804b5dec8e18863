// The system's error numbers, and what they mean, for those who show them.
#pragma once

#include "platform/vo_directory_listing.h"

// Fills *pError with an errno value. Always false.
bool FailWith(VOSystemError* pError, int nError);
