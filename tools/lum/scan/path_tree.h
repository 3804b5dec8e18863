// Entries of a source that come from a list of paths: the table of contents of an archive, or a text file.
#pragma once

#include <map>
#include <unordered_map>

#include "scan/index_entry.h"

namespace lum
{

// A tree that is put together path by path, in any order.
class PathTree : public FolderLister
{
public:
    enum class Added
    {
        New,
        Again,      // the path was there; a file now has the later attributes
        UnderFile,  // a part of the path is a file
        OtherKind   // the path is a file and was a folder, or the other way round
    };

    // Adds a path of CleanPath with the attributes of entry (its name isn't looked at), and the folders it lies in.
    Added Add(const VOWString& strPath, const IndexEntry& entry);

    bool List(const VOWString& strFolder, uint32_t uRoots, std::vector<IndexEntry>* pvecEntries,
              std::string* pstrReason) override;

private:
    typedef std::map<VOWString, IndexEntry> Folder;

    IndexEntry* _Find(const VOWString& strPath);
    Added _AddFolder(const VOWString& strPath);

    std::unordered_map<VOWString, Folder>
        m_mapFolders;  // by path; every folder but the root has an entry in its parent
};

}  // namespace lum
