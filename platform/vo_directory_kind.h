// Where a directory lives.
#pragma once

#include "platform/vo_directory_listing.h"
#include "vo_types.h"

enum class VODirectoryKind
{
    Local,
    Remote  // changes that others make there may not be told: a network, a file system in user space, a host's folder
};

// Linux: by the type of the file system; Windows: by the drive. Failure: false, *pError set.
bool VODirectoryKindOf(const VOWString& strPath, VODirectoryKind* peKind, VOSystemError* pError);
