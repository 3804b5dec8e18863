// An asset container written a second time, for the tests: the plainest code that follows the rules of the format and
// of each operation, without a look at the library. It makes images byte by byte, so that the library's own can be
// compared with them, and so that images that the library would never make can be made.
#pragma once

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "assetindex/asset_test_tools.h"
#include "support/reference_hash.h"
#include "support/reference_images.h"

namespace assettest
{

constexpr unsigned long long kInvalid = votest::kInvalidHandle;

struct ModelStrings
{
    typedef votest::StringRecord Record;
    std::vector<Record> vecRecords;
    votest::TextPool kPool;
    std::map<uint32_t, uint64_t> mapPrimary, mapConflict;

    unsigned long long Lookup(const VOWString& strText, Record& rkFresh) const
    {
        rkFresh.uHash0 = votest::ReferenceHash(strText, 0);
        rkFresh.uHash1 = votest::ReferenceHash(strText, 1);
        rkFresh.dwHashMask = 1;
        const auto itPrimary = mapPrimary.find(rkFresh.uHash0);
        if (itPrimary == mapPrimary.end())
        {
            return kInvalid;
        }
        if (vecRecords[itPrimary->second].uHash1 == rkFresh.uHash1)
        {
            return itPrimary->second;
        }
        rkFresh.dwHashMask = 3;
        const auto itConflict = mapConflict.find(rkFresh.uHash0);
        return itConflict == mapConflict.end() ? kInvalid : itConflict->second;
    }

    unsigned long long Enter(Record& rkFresh)
    {
        const unsigned long long ullHandle = vecRecords.size();
        vecRecords.push_back(rkFresh);
        (rkFresh.dwHashMask == 3 ? mapConflict : mapPrimary).emplace(rkFresh.uHash0, ullHandle);
        return ullHandle;
    }

    unsigned long long Insert(const VOWString& strText)
    {
        Record kFresh;
        kFresh.dwState = 4;
        const unsigned long long ullFound = Lookup(strText, kFresh);
        if (ullFound == kInvalid)
        {
            kFresh.hString = kPool.Add(strText);
            return Enter(kFresh);
        }
        Record& rkRecord = vecRecords[ullFound];
        if (rkRecord.dwState != 4)
        {
            kFresh.hString = rkRecord.hString == kInvalid ? kPool.Add(strText) : rkRecord.hString;
            rkRecord = kFresh;
        }
        return ullFound;
    }

    unsigned long long InsertKey(const VOWString& strText, bool& rbExist)
    {
        Record kFresh;
        const unsigned long long ullFound = Lookup(strText, kFresh);
        rbExist = false;
        if (ullFound == kInvalid)
        {
            return Enter(kFresh);
        }
        Record& rkRecord = vecRecords[ullFound];
        rbExist = rkRecord.dwState != 2;
        if (!rbExist)
        {
            kFresh.hString = rkRecord.hString;
            rkRecord = kFresh;
        }
        return ullFound;
    }

    unsigned long long Find(const VOWString& strText) const
    {
        Record kFresh;
        const unsigned long long ullFound = Lookup(strText, kFresh);
        return ullFound == kInvalid || (vecRecords[ullFound].dwState & 2) != 0 ? kInvalid : ullFound;
    }

    Bytes Image() const
    {
        return votest::StringSetImage(
            votest::RecordVectorImage(vecRecords.size(), votest::StringRecordBytes(vecRecords)),
            votest::StringImage(kPool), votest::TableImage(mapPrimary), votest::TableImage(mapConflict));
    }
};

struct ModelNumbers
{
    static constexpr unsigned int kEnd = 0xFFFFFFFFu;
    static constexpr unsigned int kHole = 0xFFFFFFFEu;
    std::vector<unsigned int> vecNumbers;

    unsigned int InsertList(const std::vector<unsigned int>& rkList)
    {
        const unsigned int uIndex = static_cast<unsigned int>(vecNumbers.size());
        vecNumbers.insert(vecNumbers.end(), rkList.begin(), rkList.end());
        vecNumbers.push_back(kEnd);
        return uIndex;
    }
    bool InsertOne(unsigned int uIndex, unsigned int uNumber, unsigned int& ruResult)
    {
        if (uIndex >= vecNumbers.size())
        {
            return false;
        }
        ruResult = uIndex;
        std::vector<unsigned int> vecList;
        for (size_t i = uIndex; i < vecNumbers.size() && vecNumbers[i] != kEnd && vecNumbers[i] != uNumber; ++i)
        {
            if (vecNumbers[i] == kHole)
            {
                vecNumbers[i] = uNumber;
                return true;
            }
            vecList.push_back(vecNumbers[i]);
        }
        vecList.push_back(uNumber);
        ruResult = InsertList(vecList);
        return true;
    }
    std::vector<unsigned int> List(unsigned int uIndex) const
    {
        std::vector<unsigned int> vecList;
        for (size_t i = uIndex; i < vecNumbers.size() && vecNumbers[i] != kEnd; ++i)
        {
            if (vecNumbers[i] != kHole)
            {
                vecList.push_back(vecNumbers[i]);
            }
        }
        return vecList;
    }
    bool Remove(unsigned int uIndex, unsigned int uNumber)
    {
        if (uIndex >= vecNumbers.size())
        {
            return false;
        }
        for (size_t i = uIndex; i < vecNumbers.size() && vecNumbers[i] != kEnd; ++i)
        {
            if (vecNumbers[i] == uNumber)
            {
                vecNumbers[i] = kHole;
                break;
            }
        }
        return true;
    }
    Bytes Image() const { return votest::NumberImage(std::vector<uint32_t>(vecNumbers.begin(), vecNumbers.end())); }
};

struct ModelType
{
    int nType = 0;
    VOWString strName, strExtensions;
    unsigned int uColor = 0, uBackground = 0;
};

struct ModelNode
{
    unsigned int uFrom = 0, uMerge = 0, uID = kNone, uParent = kNone, uFiles = kNone, uFolders = kNone;
    int nType = -1, bFolder = 0;
    unsigned int uAttribute = 0;
    unsigned long long ullSize = 0, ullCreate = 0, ullAccess = 0, ullWrite = 0;
    unsigned long long ullComponent = kInvalid, ullBaseName = kInvalid, ullExtension = kInvalid, ullTypeName = kInvalid,
                       ullPhysics = kInvalid;
    unsigned long long ullKey = kInvalid;
    unsigned int uState = 0;

    // The 120 bytes of the stored record.
    Bytes Record() const
    {
        return ByteBuilder()
            .U32(uFrom)
            .U32(uMerge)
            .U32(uID)
            .U32(uParent)
            .U32(uFiles)
            .U32(uFolders)
            .U32(static_cast<uint32_t>(nType))
            .U32(static_cast<uint32_t>(bFolder))
            .U32(uAttribute)
            .U64(ullSize)
            .U64(ullCreate)
            .U64(ullAccess)
            .U64(ullWrite)
            .U64(ullComponent)
            .U64(ullBaseName)
            .U64(ullExtension)
            .U64(ullTypeName)
            .U64(ullPhysics)
            .U64(ullKey)
            .U32(uState)
            .Result();
    }
    // What is handed out of it.
    Bytes Node() const
    {
        Bytes vecRecord = Record();
        vecRecord.resize(108);
        return vecRecord;
    }
};

// "/" for "\", no "/" at the end, at most 259 characters, with bLower "a" to "z" for "A" to "Z".
inline VOWString ModelNormalise(VOWString strPath, bool bLower)
{
    strPath.resize(std::min<size_t>(strPath.size(), MAX_PATH - 1));
    for (VOWCHAR& rch : strPath)
    {
        if (rch == VOTEXT('\\'))
        {
            rch = VOTEXT('/');
        }
        if (bLower && rch >= VOTEXT('A') && rch <= VOTEXT('Z'))
        {
            rch = static_cast<VOWCHAR>(rch - VOTEXT('A') + VOTEXT('a'));
        }
    }
    while (!strPath.empty() && strPath.back() == VOTEXT('/'))
    {
        strPath.pop_back();
    }
    return strPath;
}

struct ModelContainer
{
    VOWString strRoot, strRootName;
    unsigned long long ullRoot = kInvalid, ullRootName = kInvalid;
    ModelStrings kStrings;
    ModelNumbers kNumbers;
    std::vector<ModelNode> vecNodes;
    std::map<uint64_t, uint32_t> mapIndex;
    std::vector<ModelType> vecTypes;

    // The key text or the names' text of a path, nothing for one that can't be made relative. ASCII roots only.
    std::optional<VOWString> Relative(const VOWString& strPath, bool bLower) const
    {
        const VOWString strResult = ModelNormalise(strPath, bLower);
        if (strResult.find(VOTEXT(':')) == VOWString::npos)
        {
            return strResult;
        }
        if (strRoot.empty() || ModelNormalise(strResult, true).find(ModelNormalise(strRoot, true)) == VOWString::npos ||
            strResult.size() < strRoot.size() + 2)
        {
            return std::nullopt;
        }
        return strResult.substr(strRoot.size() + 1);
    }

    bool Request(const VOWString& strPath, unsigned int& ruID, bool& rbWasThere)
    {
        const std::optional<VOWString> strKey = Relative(strPath, true);
        if (!strKey)
        {
            return false;
        }
        bool bExist = false;
        const unsigned long long ullKey = kStrings.InsertKey(*strKey, bExist);
        const auto it = mapIndex.find(ullKey);
        rbWasThere = bExist && it != mapIndex.end();
        if (rbWasThere)
        {
            ruID = it->second;
            return true;
        }
        ModelNode kNode;
        kNode.uID = ruID = static_cast<unsigned int>(vecNodes.size());
        kNode.ullKey = ullKey;
        vecNodes.push_back(kNode);
        mapIndex[ullKey] = ruID;
        return true;
    }

    // The id of a path, kNone for a miss.
    unsigned int Find(const VOWString& strPath) const
    {
        const std::optional<VOWString> strKey = Relative(strPath, true);
        const unsigned long long ullKey = strKey ? kStrings.Find(*strKey) : kInvalid;
        const auto it = mapIndex.find(ullKey);
        return ullKey == kInvalid || it == mapIndex.end() ? kNone : it->second;
    }

    bool Remove(unsigned int uID)
    {
        if (uID >= vecNodes.size() || mapIndex.erase(vecNodes[uID].ullKey) == 0)
        {
            return false;
        }
        vecNodes[uID].uState = 2;
        for (const bool bFolders : {false, true})
        {
            const unsigned int uInfo = bFolders ? vecNodes[uID].uFolders : vecNodes[uID].uFiles;
            if (uInfo == kNone)
            {
                continue;
            }
            for (const unsigned int uChild : kNumbers.List(uInfo))
            {
                if (!Remove(uChild))
                {
                    return false;
                }
            }
        }
        const unsigned int uParent = vecNodes[uID].uParent;
        return uParent == kNone ||
               kNumbers.Remove(vecNodes[uID].bFolder != 0 ? vecNodes[uParent].uFolders : vecNodes[uParent].uFiles, uID);
    }

    bool Redirect(unsigned int uID, const VOWString& strPath)
    {
        if (uID >= vecNodes.size())
        {
            return false;
        }
        mapIndex.erase(vecNodes[uID].ullKey);
        const std::optional<VOWString> strKey = Relative(strPath, true);
        if (!strKey)
        {
            return false;
        }
        bool bExist = false;
        const unsigned long long ullKey = kStrings.InsertKey(*strKey, bExist);
        mapIndex.emplace(ullKey, uID);
        vecNodes[uID].ullKey = ullKey;
        return true;
    }

    void SetNames(unsigned int uID, const VOWString& strDir, const VOWString& strBase, const VOWString& strExt)
    {
        ModelNode& rkNode = vecNodes[uID];
        rkNode.ullComponent = strDir.empty() ? kInvalid : kStrings.Insert(strDir);
        rkNode.ullBaseName = strBase.empty() ? kInvalid : kStrings.Insert(strBase);
        rkNode.ullExtension = strExt.empty() ? kInvalid : kStrings.Insert(strExt);
    }

    void SetChildren(unsigned int uID, const std::vector<unsigned int>& rkChildren)
    {
        std::vector<unsigned int> vecFiles, vecFolders;
        for (const unsigned int uChild : rkChildren)
        {
            (vecNodes[uChild].bFolder != 0 ? vecFolders : vecFiles).push_back(uChild);
        }
        vecNodes[uID].uFiles = vecFiles.empty() ? kNone : kNumbers.InsertList(vecFiles);
        vecNodes[uID].uFolders = vecFolders.empty() ? kNone : kNumbers.InsertList(vecFolders);
    }

    bool InsertChild(unsigned int uID, unsigned int uChild)
    {
        unsigned int& ruInfo = vecNodes[uChild].bFolder != 0 ? vecNodes[uID].uFolders : vecNodes[uID].uFiles;
        if (ruInfo == kNone)
        {
            ruInfo = kNumbers.InsertList({uChild});
            return true;
        }
        return kNumbers.InsertOne(ruInfo, uChild, ruInfo);
    }

    bool RemoveChild(unsigned int uID, unsigned int uChild)
    {
        const unsigned int uInfo = vecNodes[uChild].bFolder != 0 ? vecNodes[uID].uFolders : vecNodes[uID].uFiles;
        return uInfo != kNone && kNumbers.Remove(uInfo, uChild);
    }

    // A node with its parent, names and place in the parent's list, in the steps that AddLinked takes.
    unsigned int Add(const VOWString& strPath, bool bFolder, unsigned int uParent)
    {
        unsigned int uID = kNone;
        bool bWasThere = false;
        Request(strPath, uID, bWasThere);
        vecNodes[uID].bFolder = bFolder ? 1 : 0;
        const size_t uSlash = strPath.rfind(VOTEXT('/'));
        const VOWString strDir = uSlash == VOWString::npos ? VOWString() : strPath.substr(0, uSlash);
        const VOWString strLast = uSlash == VOWString::npos ? strPath : strPath.substr(uSlash + 1);
        const size_t uDot = bFolder ? VOWString::npos : strLast.find(VOTEXT('.'));
        SetNames(uID, strDir, strLast.substr(0, uDot),
                 uDot == VOWString::npos ? VOWString() : strLast.substr(uDot + 1));
        if (uParent != kNone)
        {
            vecNodes[uID].uParent = uParent;
            InsertChild(uParent, uID);
        }
        return uID;
    }

    void MakeRootStrings()
    {
        if (ullRoot == kInvalid && !strRoot.empty())
        {
            ullRoot = kStrings.Insert(strRoot);
        }
        if (ullRootName == kInvalid && !strRootName.empty())
        {
            ullRootName = kStrings.Insert(strRootName);
        }
    }

    Bytes ClassifyImage() const
    {
        ByteBuilder kRecords;
        for (const ModelType& rkType : vecTypes)
        {
            kRecords.U32(static_cast<uint32_t>(rkType.nType))
                .Units(rkType.strName)
                .Zeros(100 - 2 * rkType.strName.size())
                .Units(rkType.strExtensions)
                .Zeros(200 - 2 * rkType.strExtensions.size())
                .U32(rkType.uColor)
                .U32(rkType.uBackground);
        }
        const Bytes vecVector = votest::RecordVectorImage(vecTypes.size(), kRecords.Result());
        return ByteBuilder()
            .U32(static_cast<uint32_t>(vecTypes.size()))
            .U32(static_cast<uint32_t>(vecVector.size()))
            .Append(vecVector)
            .U32(0)
            .Result();
    }

    Bytes Image()
    {
        MakeRootStrings();
        return ImageAsItIs();
    }

    // Without entering the root strings first.
    Bytes ImageAsItIs() const
    {
        ByteBuilder kRecords;
        for (const ModelNode& rkNode : vecNodes)
        {
            kRecords.Append(rkNode.Record());
        }
        const std::array<Bytes, 5> aBlocks = {kStrings.Image(),
                                              votest::RecordVectorImage(vecNodes.size(), kRecords.Result()),
                                              kNumbers.Image(), votest::TableImage(mapIndex), ClassifyImage()};
        ByteBuilder kImage;
        kImage.Version("ver.1.4");
        size_t uTotal = 0;
        for (const Bytes& rkBlock : aBlocks)
        {
            kImage.U32(static_cast<uint32_t>(rkBlock.size()));
            uTotal += rkBlock.size();
        }
        kImage.U32(0).U64(ullRoot).U64(ullRootName).U32(static_cast<uint32_t>(uTotal));
        for (const Bytes& rkBlock : aBlocks)
        {
            kImage.Append(rkBlock);
        }
        return kImage.U32(0).Result();
    }
};

}  // namespace assettest
