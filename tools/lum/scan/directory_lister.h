// Entries of a source that come from directories: one directory, or several laid over each other.
#pragma once

#include <vector>

#include "scan/index_entry.h"

namespace lum
{

// The most directories that one merge source has: one bit of the merge sign each.
constexpr size_t kMaxRoots = 32;

// Lists 1 to kMaxRoots directories as one tree. A file or folder that several of them hold is one entry with a bit for
// each; its attributes are those of the first directory that has it. What is a folder in one and a file in a later one
// is not indexed.
class DirectoryLister : public FolderLister
{
public:
    explicit DirectoryLister(std::vector<VOWString> vecRoots);

    bool List(const VOWString& strFolder, uint32_t uRoots, std::vector<IndexEntry>* pvecEntries,
              std::string* pstrReason) override;

    bool ListOne(const VOWString& strFolder, const VOWString& strName, uint32_t uRoots,
                 std::vector<IndexEntry>* pvecEntries) override;

    uint32_t AllRoots() const override;
    bool DescribeRoot(IndexEntry* pEntry) const override;
    VOWString OtherRoot(uint32_t uRoots) const override;

    // From now on a root that is gone is an empty one. Before, it is a wrong argument.
    void TolerateLostRoots() { m_bTolerant = true; }

private:
    bool _ListRoot(size_t uRoot, const VOWString& strFolder, std::vector<IndexEntry>* pvecEntries,
                   std::string* pstrReason) const;

    std::vector<VOWString> m_vecRoots;
    bool m_bTolerant = false;
};

}  // namespace lum
