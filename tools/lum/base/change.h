// A change of a published source: one type all the way from the comparison that finds it to the reader that shows it.
#pragma once

#include <stdint.h>

#include <deque>
#include <string_view>

#include "vots_file_event.h"

namespace lum
{

// As an event's first parameter has it; another publisher may have kinds of its own.
enum class ChangeKind : unsigned
{
    Added = 1,
    Removed = 2,
    Renamed = 3,
    Modified = 4
};

struct Change
{
    LUMTrayService::enumAssetFrom eaf = LUMTrayService::AF_ERROR;
    ChangeKind eKind = ChangeKind::Modified;
    bool bFolder = false;
    uint32_t uRoots = 0;             // the bits of the roots that have it, or had it last
    VOWString strPath;               // relative to the root; of a rename the old one
    VOWString strNewName;            // rename only: the new last component
    VOWString strPhysicalPath;       // where it lies on the disk; of a rename the new place
    unsigned long long ullTime = 0;  // microseconds since 1970; none before it is published
};

typedef std::deque<Change> Changes;

// "added", "removed", "renamed", "modified"; "event" for another publisher's kinds.
std::string_view NameOf(ChangeKind eKind);

// The library's record of a change, on its way out (with the texts of change, which has to outlive it) and back in.
VOTSFileEventContainer::Info EventOf(const Change& change);
Change ChangeOf(const FileEventParam& param);

}  // namespace lum
