#include "scan/directory_lister.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>

#include "base/text.h"
#include "platform/vo_directories.h"
#include "platform/vo_platform.h"
#include "tray_service_types.h"

using namespace LUMTrayService;

namespace lum
{

namespace
{

uint32_t AttributeOf(uint32_t uSystemAttribute)
{
    uint32_t uResult = kFileAttributeLocal;
    uResult |= (uSystemAttribute & _A_RDONLY) != 0 ? kFileAttributeReadOnly : kFileAttributeWritable;
    uResult |= (uSystemAttribute & _A_HIDDEN) != 0 ? kFileAttributeHidden : 0;
    return uResult;
}

IndexEntry EntryOf(VODirectoryEntry&& found, uint32_t uRoot)
{
    IndexEntry entry;
    entry.strName = std::move(found.strName);
    entry.bFolder = found.bFolder;
    entry.uAttribute = AttributeOf(found.uAttribute);
    entry.ullSize = found.ullSize;
    entry.nCreateTime = found.nCreateTime;
    entry.nAccessTime = found.nAccessTime;
    entry.nWriteTime = found.nWriteTime;
    entry.uWriteFraction = found.uWriteFraction;
    entry.uStatusStamp = found.uStatusStamp;
    entry.uRoots = uRoot;
    entry.bDescribed = found.bDescribed;
    return entry;
}

// Makes one entry of all that have one name; the first one stands for them.
void MergeSameNames(std::vector<IndexEntry>* pvecEntries)
{
    std::stable_sort(pvecEntries->begin(), pvecEntries->end(),
                     [](const IndexEntry& left, const IndexEntry& right) { return left.strName < right.strName; });
    std::vector<IndexEntry> vecMerged;
    size_t uFirst = 0;  // of the name
    for (IndexEntry& entry : *pvecEntries)
    {
        if (vecMerged.empty() || vecMerged[uFirst].strName != entry.strName)
        {
            uFirst = vecMerged.size();
            vecMerged.push_back(std::move(entry));
        }
        else if (vecMerged[uFirst].bFolder == entry.bFolder)
        {
            vecMerged[uFirst].uRoots |= entry.uRoots;
        }
        else
        {
            entry.strRefusal = entry.bFolder ? "a folder here, and a file in an earlier directory"
                                             : "a file here, and a folder in an earlier directory";
            vecMerged.push_back(std::move(entry));
        }
    }
    pvecEntries->swap(vecMerged);
}

}  // namespace

DirectoryLister::DirectoryLister(std::vector<VOWString> vecRoots) : m_vecRoots(std::move(vecRoots)) {}

uint32_t DirectoryLister::AllRoots() const
{
    return static_cast<uint32_t>((1ull << m_vecRoots.size()) - 1);
}

bool DirectoryLister::DescribeRoot(IndexEntry* pEntry) const
{
    // Through ".", because a root may be a link to a directory. That name has nothing to do with being hidden.
    VODirectoryEntry found;
    VOSystemError error;
    if (!VODescribeFile(m_vecRoots[0] + VOTEXT("/."), &found, &error))
    {
        return false;
    }
    found.uAttribute &= ~static_cast<uint32_t>(_A_HIDDEN);
    *pEntry = EntryOf(std::move(found), AllRoots());
    return true;
}

VOWString DirectoryLister::OtherRoot(uint32_t uRoots) const
{
    const size_t uFirst = static_cast<size_t>(std::countr_zero(uRoots));
    return uFirst == 0 || uFirst >= m_vecRoots.size() ? VOWString() : m_vecRoots[uFirst];
}

// Adds what one root has. False with a reason when it has something that can't be listed.
bool DirectoryLister::_ListRoot(size_t uRoot, const VOWString& strFolder, std::vector<IndexEntry>* pvecEntries,
                                std::string* pstrReason) const
{
    std::vector<VODirectoryEntry> vecFound;
    VOSystemError error;
    if (!VOListDirectory(m_vecRoots[uRoot] + VOTEXT("/") + strFolder, &vecFound, &error))
    {
        // What has gone since it was found is no news.
        if (error.bGone && (m_bTolerant || !strFolder.empty()))
        {
            return true;
        }
        *pstrReason = fmt::format("can't be listed: {}", error.strText);
        if (strFolder.empty())
        {
            *pstrReason = fmt::format("{}: {}", WrittenForm(m_vecRoots[uRoot], Escape::Controls), *pstrReason);
        }
        return false;
    }
    pvecEntries->reserve(pvecEntries->size() + vecFound.size());
    for (VODirectoryEntry& found : vecFound)
    {
        pvecEntries->push_back(EntryOf(std::move(found), 1u << uRoot));
    }
    return true;
}

// Where one root can't be listed, the others still show their part.
bool DirectoryLister::List(const VOWString& strFolder, uint32_t uRoots, std::vector<IndexEntry>* pvecEntries,
                           std::string* pstrReason)
{
    bool bListed = true;
    pvecEntries->clear();
    for (size_t i = 0; i < m_vecRoots.size(); ++i)
    {
        if ((uRoots & (1u << i)) != 0 && !_ListRoot(i, strFolder, pvecEntries, pstrReason))
        {
            bListed = false;
        }
    }
    if (m_vecRoots.size() > 1)
    {
        MergeSameNames(pvecEntries);
    }
    return bListed;
}

bool DirectoryLister::ListOne(const VOWString& strFolder, const VOWString& strName, uint32_t uRoots,
                              std::vector<IndexEntry>* pvecEntries)
{
    pvecEntries->clear();
    for (size_t i = 0; i < m_vecRoots.size(); ++i)
    {
        VODirectoryEntry found;
        VOSystemError error;
        if ((uRoots & (1u << i)) == 0)
        {
            continue;
        }
        if (VODescribeFile(m_vecRoots[i] + VOTEXT("/") + JoinPath(strFolder, strName), &found, &error))
        {
            // A system that finds it under another name as well doesn't say here what is listed.
            if (found.strName != strName)
            {
                return false;
            }
            pvecEntries->push_back(EntryOf(std::move(found), 1u << i));
        }
        else if (!error.bGone)
        {
            return false;
        }
    }
    if (pvecEntries->size() > 1)
    {
        MergeSameNames(pvecEntries);
    }
    return true;
}

}  // namespace lum
