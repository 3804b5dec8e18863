// A source that exists in memory alone, an index of it, and what has to hold between the two and what was told.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "support/random.h"
#include "tools/lum/base/index_keys.h"
#include "tools/lum/base/text.h"
#include "tools/lum/live/change_hints.h"
#include "tools/lum/scan/source_index.h"
#include "vo_utility.h"

namespace livetest
{

using lum::Change;
using lum::ChangeKind;
using lum::Changes;
using lum::FolderHints;
using lum::IndexEntry;

typedef std::set<std::string> Paths;

inline std::string Shown(const VOWString& strPath)
{
    return lum::WrittenForm(strPath, lum::Escape::NamesOnly);
}

inline VOWString Wide(const std::string& strPath)
{
    return VOWString(strPath.begin(), strPath.end());
}

// Files and folders by path. Any folder can be made one that can't be listed.
class MemoryDisk : public lum::FolderLister
{
public:
    bool List(const VOWString& strFolder, uint32_t /*uRoots*/, std::vector<IndexEntry>* pvecEntries,
              std::string* pstrReason) override
    {
        pvecEntries->clear();
        if (setUnreadable.contains(strFolder))
        {
            *pstrReason = "can't be listed: for a test";
            return false;
        }
        for (const auto& [strPath, entry] : mapEntries)
        {
            if (lum::ParentPath(strPath) == strFolder)
            {
                pvecEntries->push_back(entry);
            }
        }
        return true;
    }

    bool ListOne(const VOWString& strFolder, const VOWString& strName, uint32_t /*uRoots*/,
                 std::vector<IndexEntry>* pvecEntries) override
    {
        pvecEntries->clear();
        if (bListsAlone || setUnreadable.contains(strFolder))
        {
            return false;
        }
        const auto itEntry = mapEntries.find(lum::JoinPath(strFolder, strName));
        if (itEntry != mapEntries.end())
        {
            pvecEntries->push_back(itEntry->second);
        }
        return true;
    }

    void Add(const VOWString& strPath, bool bFolder)
    {
        IndexEntry entry;
        entry.strName = lum::LastPart(strPath);
        entry.bFolder = bFolder;
        entry.nWriteTime = ++nTime;
        entry.uWriteFraction = 1;
        mapEntries[strPath] = entry;
    }

    void Remove(const VOWString& strPath)
    {
        std::erase_if(mapEntries,
                      [&](const auto& one) { return one.first == strPath || lum::LiesIn(one.first, strPath); });
    }

    void Move(const VOWString& strFrom, const VOWString& strTo)
    {
        std::map<VOWString, IndexEntry> mapMoved;
        for (const auto& [strPath, entry] : mapEntries)
        {
            if (strPath == strFrom || lum::LiesIn(strPath, strFrom))
            {
                mapMoved[strTo + strPath.substr(strFrom.size())] = entry;
            }
        }
        Remove(strFrom);
        Remove(strTo);
        mapMoved[strTo].strName = lum::LastPart(strTo);
        mapEntries.merge(mapMoved);
    }

    bool IsFolder(const VOWString& strPath) const
    {
        const auto itEntry = mapEntries.find(strPath);
        return strPath.empty() || (itEntry != mapEntries.end() && itEntry->second.bFolder);
    }

    Paths All() const
    {
        Paths setPaths;
        for (const auto& [strPath, entry] : mapEntries)
        {
            setPaths.insert(Shown(strPath) + (entry.bFolder ? "/" : ""));
        }
        return setPaths;
    }

    std::map<VOWString, IndexEntry> mapEntries;
    std::set<VOWString> setUnreadable;
    bool bListsAlone = false;  // no name can be looked at without its folder
    int64_t nTime = 0;
};

// What readers see of an index: its image, as any of them loads it.
class ReadImage
{
public:
    explicit ReadImage(lum::SourceIndex* pIndex) : ReadImage(pIndex->MakeImage()) {}

    // Takes the image over.
    explicit ReadImage(VOTSAssetNodeContainer::ContainerAlloc* pImage) : m_pImage(pImage, &free)
    {
        EXPECT_EQ(1, m_reader.SetAlloc(m_pImage.get(), 0));
    }

    // Every path by walking down the tree; folders with a slash behind.
    Paths Walked() const
    {
        Paths setPaths;
        _Walk(0, VOWString(), &setPaths);
        return setPaths;
    }

    // The id under a path as a reader looks it up: the plain key, and where that is another node's, the exact one.
    unsigned Find(const VOWString& strPath) const
    {
        LUMTrayService::structAssetNode node;
        if (m_reader.FindAssetNode(strPath.c_str(), node) == 0)
        {
            return kNone;
        }
        if (_PathOf(node) != strPath &&
            (m_reader.FindAssetNode(lum::ExactCaseForm(strPath).c_str(), node) == 0 || _PathOf(node) != strPath))
        {
            return kNone;
        }
        return node.nAssetID;
    }

    // Every walked path is found, and leads to the node that the walk came by.
    void CheckEveryPathIsFound() const { _Walk(0, VOWString(), nullptr); }

    static constexpr unsigned kNone = static_cast<unsigned>(-1);

private:
    VOWString _Text(void* hText) const
    {
        return hText == INVALID_HANDLE_VALUE ? VOWString() : VOTextOf(m_reader.GetString(hText));
    }

    VOWString _NameOf(const LUMTrayService::structAssetNode& node) const
    {
        const VOWString strExtension = _Text(node.hStrExtension);
        return _Text(node.hStrBaseName) + (strExtension.empty() ? VOWString() : VOTEXT(".") + strExtension);
    }

    VOWString _PathOf(const LUMTrayService::structAssetNode& node) const
    {
        return lum::JoinPath(_Text(node.hStrComponent), _NameOf(node));
    }

    void _Walk(unsigned uFolder, const VOWString& strFolder, Paths* psetPaths) const
    {
        LUMTrayService::structAssetNode folder;
        std::vector<unsigned> vecChildren;
        EXPECT_EQ(1, m_reader.GetAssetNode(uFolder, folder));
        for (const unsigned uInfo : {folder.nChildFileInfo, folder.nChildFolderInfo})
        {
            if (uInfo != kNone)
            {
                m_reader.GetInfoNumberList(uInfo, vecChildren);
            }
        }
        for (const unsigned uChild : vecChildren)
        {
            LUMTrayService::structAssetNode child;
            EXPECT_EQ(1, m_reader.GetAssetNode(uChild, child));
            const VOWString strPath = lum::JoinPath(strFolder, _NameOf(child));
            EXPECT_EQ(strPath, _PathOf(child));
            EXPECT_EQ(uFolder, child.nParentID);
            if (psetPaths == nullptr)
            {
                EXPECT_EQ(uChild, Find(strPath)) << Shown(strPath);
            }
            else
            {
                EXPECT_TRUE(psetPaths->insert(Shown(strPath) + (child.bFolder != 0 ? "/" : "")).second);
            }
            if (child.bFolder != 0)
            {
                _Walk(uChild, strPath, psetPaths);
            }
        }
    }

    std::unique_ptr<VOTSAssetNodeContainer::ContainerAlloc, void (*)(void*)> m_pImage;
    VOTSAssetNodeContainer m_reader{LUMTrayService::AR_Customer, nullptr, nullptr};
};

// What the changes make of a set of paths. One that doesn't fit is a failure.
inline void Apply(const Changes& changes, Paths* psetPaths)
{
    for (const Change& change : changes)
    {
        const std::string strSlash = change.bFolder ? "/" : "";
        const std::string strPath = Shown(change.strPath) + strSlash;
        const std::string strParent = Shown(lum::ParentPath(change.strPath));
        switch (change.eKind)
        {
            case ChangeKind::Added:
                EXPECT_TRUE(strParent.empty() || psetPaths->contains(strParent + "/")) << strPath;
                EXPECT_TRUE(psetPaths->insert(strPath).second) << strPath;
                break;
            case ChangeKind::Removed:
                EXPECT_EQ(1u, psetPaths->erase(strPath)) << strPath;
                break;
            case ChangeKind::Renamed:
            {
                const std::string strNew =
                    (strParent.empty() ? "" : strParent + "/") + Shown(change.strNewName) + strSlash;
                Paths setMoved;
                EXPECT_TRUE(psetPaths->contains(strPath)) << strPath;
                for (const std::string& strOne : *psetPaths)
                {
                    const bool bMoves = strOne == strPath || (change.bFolder && strOne.starts_with(strPath));
                    EXPECT_TRUE(setMoved.insert(bMoves ? strNew + strOne.substr(strPath.size()) : strOne).second);
                }
                psetPaths->swap(setMoved);
                break;
            }
            default:
                EXPECT_TRUE(psetPaths->contains(strPath)) << strPath;
        }
    }
}

}  // namespace livetest
