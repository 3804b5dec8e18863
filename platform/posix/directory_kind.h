// Kinds of file systems by their numbers.
#pragma once

#include <stdint.h>

#include "platform/vo_directory_kind.h"

// uType: as statfs gives it.
VODirectoryKind KindOfFileSystem(uint32_t uType);
