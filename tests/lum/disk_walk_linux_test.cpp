#include "tests/lum/disk_walk_linux_test.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <string_view>

namespace
{

DiskEntry EntryOf(const std::string& strPath, const std::string& strName)
{
    struct statx kStat = {};
    statx(AT_FDCWD, strPath.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME, &kStat);
    DiskEntry kEntry;
    kEntry.bFolder = S_ISDIR(kStat.stx_mode);
    kEntry.ullSize = kEntry.bFolder ? 0 : kStat.stx_size;
    kEntry.nWritten = kStat.stx_mtime.tv_sec;
    kEntry.nAccessed = S_ISDIR(kStat.stx_mode) ? 0 : kStat.stx_atime.tv_sec;
    kEntry.nCreated = (kStat.stx_mask & STATX_BTIME) != 0 ? kStat.stx_btime.tv_sec : kStat.stx_mtime.tv_sec;
    kEntry.uAttributes = 0x10 | ((kStat.stx_mode & S_IWUSR) != 0 ? 0x04 : 0x01) | (strName[0] == '.' ? 0x08 : 0);
    return kEntry;
}

void WalkInto(const std::string& strRoot, const std::string& strFolder, DiskTree* pmapTree)
{
    DIR* pDirectory = opendir((strRoot + "/" + strFolder).c_str());
    while (const dirent* pEntry = pDirectory != nullptr ? readdir(pDirectory) : nullptr)
    {
        const std::string strName = pEntry->d_name;
        if (strName == "." || strName == "..")
        {
            continue;
        }
        const std::string strPath = strFolder.empty() ? strName : strFolder + "/" + strName;
        const DiskEntry kEntry = EntryOf(strRoot + "/" + strPath, strName);
        pmapTree->emplace(strPath, kEntry);
        if (kEntry.bFolder)
        {
            WalkInto(strRoot, strPath, pmapTree);
        }
    }
    if (pDirectory != nullptr)
    {
        closedir(pDirectory);
    }
}

void AddNode(const nlohmann::json& kNode, DiskTree* pmapTree)
{
    DiskEntry kEntry;
    kEntry.bFolder = kNode["folder"];
    kEntry.ullSize = kNode["size"];
    kEntry.nWritten = kNode["written"];
    // Listing a folder is an access to it, so a folder's time of access moves with every walk.
    kEntry.nAccessed = kEntry.bFolder ? 0 : static_cast<int64_t>(kNode["accessed"]);
    kEntry.nCreated = kNode["created"];
    kEntry.uAttributes = kNode["attributes"];
    const std::string strPath = BytesOfWrittenForm(kNode["path"]);
    const bool bNew = pmapTree->emplace(strPath, kEntry).second;
    if (!bNew)
    {
        pmapTree->emplace(strPath + " (twice)", kEntry);
    }
}

void AddNestedNodes(const nlohmann::json& kParent, DiskTree* pmapTree)
{
    for (const nlohmann::json& kNode : kParent["children"])
    {
        AddNode(kNode, pmapTree);
        AddNestedNodes(kNode, pmapTree);
    }
}

std::string Shown(const DiskEntry& kEntry)
{
    return std::string(kEntry.bFolder ? "folder" : "file") + " size " + std::to_string(kEntry.ullSize) + " written " +
           std::to_string(kEntry.nWritten) + " accessed " + std::to_string(kEntry.nAccessed) + " created " +
           std::to_string(kEntry.nCreated) + " attributes " + std::to_string(kEntry.uAttributes);
}

}  // namespace

DiskTree WalkDisk(const std::string& strRoot)
{
    DiskTree mapTree;
    WalkInto(strRoot, "", &mapTree);
    return mapTree;
}

std::string BytesOfWrittenForm(const std::string& strWritten)
{
    std::string strResult;
    for (size_t i = 0; i < strWritten.size(); ++i)
    {
        if (strWritten[i] != '\\')
        {
            strResult += strWritten[i];
        }
        else if (strWritten.at(i + 1) == 'x')
        {
            strResult += static_cast<char>(std::stoi(strWritten.substr(i + 2, 2), nullptr, 16));
            i += 3;
        }
        else
        {
            strResult += strWritten.at(++i);
        }
    }
    return strResult;
}

DiskTree TreeOfNodes(const nlohmann::json& kNodes)
{
    DiskTree mapTree;
    for (const nlohmann::json& kNode : kNodes["nodes"])
    {
        AddNode(kNode, &mapTree);
    }
    return mapTree;
}

DiskTree TreeOfNestedNodes(const nlohmann::json& kRoot)
{
    DiskTree mapTree;
    AddNestedNodes(kRoot, &mapTree);
    return mapTree;
}

DiskTree WithoutAccessTimes(DiskTree mapTree)
{
    for (auto& [strPath, kEntry] : mapTree)
    {
        kEntry.nAccessed = 0;
    }
    return mapTree;
}

std::string Difference(const DiskTree& mapExpected, const DiskTree& mapFound)
{
    std::string strResult;
    size_t uShown = 0;
    for (const auto& [strPath, kEntry] : mapExpected)
    {
        const auto itFound = mapFound.find(strPath);
        if (itFound == mapFound.end() && ++uShown < 10)
        {
            strResult += "missing: " + strPath + "\n";
        }
        else if (itFound != mapFound.end() && itFound->second != kEntry && ++uShown < 10)
        {
            strResult += strPath + ": " + Shown(itFound->second) + ", expected " + Shown(kEntry) + "\n";
        }
    }
    for (const auto& [strPath, kEntry] : mapFound)
    {
        if (!mapExpected.contains(strPath) && ++uShown < 10)
        {
            strResult += "too much: " + strPath + "\n";
        }
    }
    return strResult;
}
