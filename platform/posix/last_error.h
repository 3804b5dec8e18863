// The system's error numbers in the terms of GetLastError.
#pragma once

#include "platform/vo_platform.h"

DWORD ErrorFromErrno(int nErrno);
