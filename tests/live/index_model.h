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
        for (const auto& [strPath, kEntry] : mapEntries)
        {
            if (lum::ParentPath(strPath) == strFolder)
            {
                pvecEntries->push_back(kEntry);
            }
        }
        return true;
    }

    void Add(const VOWString& strPath, bool bFolder)
    {
        IndexEntry kEntry;
        kEntry.strName = lum::LastPart(strPath);
        kEntry.bFolder = bFolder;
        kEntry.nWriteTime = ++nTime;
        kEntry.uWriteFraction = 1;
        mapEntries[strPath] = kEntry;
    }

    void Remove(const VOWString& strPath)
    {
        std::erase_if(mapEntries,
                      [&](const auto& kOne) { return kOne.first == strPath || lum::LiesIn(kOne.first, strPath); });
    }

    void Move(const VOWString& strFrom, const VOWString& strTo)
    {
        std::map<VOWString, IndexEntry> mapMoved;
        for (const auto& [strPath, kEntry] : mapEntries)
        {
            if (strPath == strFrom || lum::LiesIn(strPath, strFrom))
            {
                mapMoved[strTo + strPath.substr(strFrom.size())] = kEntry;
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
        for (const auto& [strPath, kEntry] : mapEntries)
        {
            setPaths.insert(Shown(strPath) + (kEntry.bFolder ? "/" : ""));
        }
        return setPaths;
    }

    std::map<VOWString, IndexEntry> mapEntries;
    std::set<VOWString> setUnreadable;
    int64_t nTime = 0;
};

// What readers see of an index: its image, as any of them loads it.
class ReadImage
{
public:
    explicit ReadImage(lum::SourceIndex* pkIndex) : ReadImage(pkIndex->MakeImage()) {}

    // Takes the image over.
    explicit ReadImage(VOTSAssetNodeContainer::ContainerAlloc* pkImage) : m_pkImage(pkImage, &free)
    {
        EXPECT_EQ(1, m_kReader.SetAlloc(m_pkImage.get(), 0));
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
        LUMTrayService::structAssetNode kNode;
        if (m_kReader.FindAssetNode(strPath.c_str(), kNode) == 0)
        {
            return kNone;
        }
        if (_PathOf(kNode) != strPath &&
            (m_kReader.FindAssetNode(lum::ExactCaseForm(strPath).c_str(), kNode) == 0 || _PathOf(kNode) != strPath))
        {
            return kNone;
        }
        return kNode.nAssetID;
    }

    // Every walked path is found, and leads to the node that the walk came by.
    void CheckEveryPathIsFound() const { _Walk(0, VOWString(), nullptr); }

    static constexpr unsigned kNone = static_cast<unsigned>(-1);

private:
    VOWString _Text(void* hText) const
    {
        return hText == INVALID_HANDLE_VALUE ? VOWString() : VOTextOf(m_kReader.GetString(hText));
    }

    VOWString _NameOf(const LUMTrayService::structAssetNode& kNode) const
    {
        const VOWString strExtension = _Text(kNode.hStrExtension);
        return _Text(kNode.hStrBaseName) + (strExtension.empty() ? VOWString() : VOTEXT(".") + strExtension);
    }

    VOWString _PathOf(const LUMTrayService::structAssetNode& kNode) const
    {
        return lum::JoinPath(_Text(kNode.hStrComponent), _NameOf(kNode));
    }

    void _Walk(unsigned uFolder, const VOWString& strFolder, Paths* psetPaths) const
    {
        LUMTrayService::structAssetNode kFolder;
        std::vector<unsigned> vecChildren;
        EXPECT_EQ(1, m_kReader.GetAssetNode(uFolder, kFolder));
        for (const unsigned uInfo : {kFolder.nChildFileInfo, kFolder.nChildFolderInfo})
        {
            if (uInfo != kNone)
            {
                m_kReader.GetInfoNumberList(uInfo, vecChildren);
            }
        }
        for (const unsigned uChild : vecChildren)
        {
            LUMTrayService::structAssetNode kChild;
            EXPECT_EQ(1, m_kReader.GetAssetNode(uChild, kChild));
            const VOWString strPath = lum::JoinPath(strFolder, _NameOf(kChild));
            EXPECT_EQ(strPath, _PathOf(kChild));
            EXPECT_EQ(uFolder, kChild.nParentID);
            if (psetPaths == nullptr)
            {
                EXPECT_EQ(uChild, Find(strPath)) << Shown(strPath);
            }
            else
            {
                EXPECT_TRUE(psetPaths->insert(Shown(strPath) + (kChild.bFolder != 0 ? "/" : "")).second);
            }
            if (kChild.bFolder != 0)
            {
                _Walk(uChild, strPath, psetPaths);
            }
        }
    }

    std::unique_ptr<VOTSAssetNodeContainer::ContainerAlloc, void (*)(void*)> m_pkImage;
    VOTSAssetNodeContainer m_kReader{LUMTrayService::AR_Customer, nullptr, nullptr};
};

// What the changes make of a set of paths. One that doesn't fit is a failure.
inline void Apply(const Changes& kChanges, Paths* psetPaths)
{
    for (const Change& kChange : kChanges)
    {
        const std::string strSlash = kChange.bFolder ? "/" : "";
        const std::string strPath = Shown(kChange.strPath) + strSlash;
        const std::string strParent = Shown(lum::ParentPath(kChange.strPath));
        switch (kChange.eKind)
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
                    (strParent.empty() ? "" : strParent + "/") + Shown(kChange.strNewName) + strSlash;
                Paths setMoved;
                EXPECT_TRUE(psetPaths->contains(strPath)) << strPath;
                for (const std::string& strOne : *psetPaths)
                {
                    const bool bMoves = strOne == strPath || (kChange.bFolder && strOne.starts_with(strPath));
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
