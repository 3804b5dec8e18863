// What a scan finds, before it is in an index.
#pragma once

#include <stdint.h>

#include <string>
#include <vector>

#include "base/paths.h"

namespace lum
{

// One file or folder, as its folder lists it.
struct IndexEntry
{
    VOWString strName;
    bool bFolder = false;
    uint32_t uAttribute = 0;  // fileAttribute... flags
    uint64_t ullSize = 0;
    int64_t nCreateTime = 0;
    int64_t nAccessTime = 0;
    int64_t nWriteTime = 0;
    uint32_t uWriteFraction = 0;  // as VODirectoryEntry has them
    uint32_t uStatusStamp = 0;
    uint32_t uRoots = 1;     // of which roots of the source it is a part, a bit for each
    bool bDescribed = true;  // false for one that couldn't be looked at: its name is all that is sure
    std::string strRefusal;  // why it can't be in an index beside the others; empty for what can
};

// Something that is not in the index, and why.
struct NotIndexed
{
    VOWString strPath;
    std::string strReason;
};

// Where the entries of a source come from.
class FolderLister
{
public:
    virtual ~FolderLister() = default;

    // The entries of one folder, sorted by name, with at most one entry of a name that isn't refused. strFolder is
    // relative to the root, empty for the root itself; uRoots is what the folder's own entry says. A folder that is
    // gone is an empty one. False with a reason when there is something that can't be listed now: the entries then say
    // nothing about what is missing among them.
    virtual bool List(const VOWString& strFolder, uint32_t uRoots, std::vector<IndexEntry>* pvecEntries,
                      std::string* pstrReason) = 0;

    // What List has under one name: nothing when it isn't there. False when only a listing can tell.
    virtual bool ListOne(const VOWString& /*strFolder*/, const VOWString& /*strName*/, uint32_t /*uRoots*/,
                         std::vector<IndexEntry>* /*pvecEntries*/)
    {
        return false;
    }

    // The bits of all roots.
    virtual uint32_t AllRoots() const { return 1; }

    // The attributes of the root folder itself; false where a source has none.
    virtual bool DescribeRoot(IndexEntry* /*pEntry*/) const { return false; }

    // The root of the file system under which an entry lies when that isn't the container's own root; empty otherwise.
    virtual VOWString OtherRoot(uint32_t /*uRoots*/) const { return {}; }
};

}  // namespace lum
