#include "tests/lum/disk_walk_linux_test.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <string_view>

namespace
{

DiskEntry EntryOf(const std::string& strPath, const std::string& strName)
{
    struct statx stat = {};
    statx(AT_FDCWD, strPath.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS | STATX_BTIME, &stat);
    DiskEntry entry;
    entry.bFolder = S_ISDIR(stat.stx_mode);
    entry.ullSize = entry.bFolder ? 0 : stat.stx_size;
    entry.nWritten = stat.stx_mtime.tv_sec;
    entry.nAccessed = S_ISDIR(stat.stx_mode) ? 0 : stat.stx_atime.tv_sec;
    entry.nCreated = (stat.stx_mask & STATX_BTIME) != 0 ? stat.stx_btime.tv_sec : stat.stx_mtime.tv_sec;
    entry.uAttributes = 0x10 | ((stat.stx_mode & S_IWUSR) != 0 ? 0x04 : 0x01) | (strName[0] == '.' ? 0x08 : 0);
    return entry;
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
        const DiskEntry entry = EntryOf(strRoot + "/" + strPath, strName);
        pmapTree->emplace(strPath, entry);
        if (entry.bFolder)
        {
            WalkInto(strRoot, strPath, pmapTree);
        }
    }
    if (pDirectory != nullptr)
    {
        closedir(pDirectory);
    }
}

void AddNode(const nlohmann::json& node, DiskTree* pmapTree)
{
    DiskEntry entry;
    entry.bFolder = node["folder"];
    entry.ullSize = node["size"];
    entry.nWritten = node["written"];
    // Listing a folder is an access to it, so a folder's time of access moves with every walk.
    entry.nAccessed = entry.bFolder ? 0 : static_cast<int64_t>(node["accessed"]);
    entry.nCreated = node["created"];
    entry.uAttributes = node["attributes"];
    const std::string strPath = BytesOfWrittenForm(node["path"]);
    const bool bNew = pmapTree->emplace(strPath, entry).second;
    if (!bNew)
    {
        pmapTree->emplace(strPath + " (twice)", entry);
    }
}

void AddNestedNodes(const nlohmann::json& parent, DiskTree* pmapTree)
{
    for (const nlohmann::json& node : parent["children"])
    {
        AddNode(node, pmapTree);
        AddNestedNodes(node, pmapTree);
    }
}

std::string Shown(const DiskEntry& entry)
{
    return std::string(entry.bFolder ? "folder" : "file") + " size " + std::to_string(entry.ullSize) + " written " +
           std::to_string(entry.nWritten) + " accessed " + std::to_string(entry.nAccessed) + " created " +
           std::to_string(entry.nCreated) + " attributes " + std::to_string(entry.uAttributes);
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

DiskTree TreeOfNodes(const nlohmann::json& nodes)
{
    DiskTree mapTree;
    for (const nlohmann::json& node : nodes["nodes"])
    {
        AddNode(node, &mapTree);
    }
    return mapTree;
}

DiskTree TreeOfNestedNodes(const nlohmann::json& root)
{
    DiskTree mapTree;
    AddNestedNodes(root, &mapTree);
    return mapTree;
}

DiskTree WithoutAccessTimes(DiskTree mapTree)
{
    for (auto& [strPath, entry] : mapTree)
    {
        entry.nAccessed = 0;
    }
    return mapTree;
}

std::string Difference(const DiskTree& mapExpected, const DiskTree& mapFound)
{
    std::string strResult;
    size_t uShown = 0;
    for (const auto& [strPath, entry] : mapExpected)
    {
        const auto itFound = mapFound.find(strPath);
        if (itFound == mapFound.end() && ++uShown < 10)
        {
            strResult += "missing: " + strPath + "\n";
        }
        else if (itFound != mapFound.end() && itFound->second != entry && ++uShown < 10)
        {
            strResult += strPath + ": " + Shown(itFound->second) + ", expected " + Shown(entry) + "\n";
        }
    }
    for (const auto& [strPath, entry] : mapFound)
    {
        if (!mapExpected.contains(strPath) && ++uShown < 10)
        {
            strResult += "too much: " + strPath + "\n";
        }
    }
    return strResult;
}
