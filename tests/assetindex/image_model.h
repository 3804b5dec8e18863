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
    votest::TextPool pool;
    std::map<uint32_t, uint64_t> mapPrimary, mapConflict;

    unsigned long long Lookup(const VOWString& strText, Record& fresh) const
    {
        fresh.uHash0 = votest::ReferenceHash(strText, 0);
        fresh.uHash1 = votest::ReferenceHash(strText, 1);
        fresh.dwHashMask = 1;
        const auto itPrimary = mapPrimary.find(fresh.uHash0);
        if (itPrimary == mapPrimary.end())
        {
            return kInvalid;
        }
        if (vecRecords[itPrimary->second].uHash1 == fresh.uHash1)
        {
            return itPrimary->second;
        }
        fresh.dwHashMask = 3;
        const auto itConflict = mapConflict.find(fresh.uHash0);
        return itConflict == mapConflict.end() ? kInvalid : itConflict->second;
    }

    unsigned long long Enter(Record& fresh)
    {
        const unsigned long long ullHandle = vecRecords.size();
        vecRecords.push_back(fresh);
        (fresh.dwHashMask == 3 ? mapConflict : mapPrimary).emplace(fresh.uHash0, ullHandle);
        return ullHandle;
    }

    unsigned long long Insert(const VOWString& strText)
    {
        Record fresh;
        fresh.dwState = 4;
        const unsigned long long ullFound = Lookup(strText, fresh);
        if (ullFound == kInvalid)
        {
            fresh.hString = pool.Add(strText);
            return Enter(fresh);
        }
        Record& record = vecRecords[ullFound];
        if (record.dwState != 4)
        {
            fresh.hString = record.hString == kInvalid ? pool.Add(strText) : record.hString;
            record = fresh;
        }
        return ullFound;
    }

    unsigned long long InsertKey(const VOWString& strText, bool& bExist)
    {
        Record fresh;
        const unsigned long long ullFound = Lookup(strText, fresh);
        bExist = false;
        if (ullFound == kInvalid)
        {
            return Enter(fresh);
        }
        Record& record = vecRecords[ullFound];
        bExist = record.dwState != 2;
        if (!bExist)
        {
            fresh.hString = record.hString;
            record = fresh;
        }
        return ullFound;
    }

    unsigned long long Find(const VOWString& strText) const
    {
        Record fresh;
        const unsigned long long ullFound = Lookup(strText, fresh);
        return ullFound == kInvalid || (vecRecords[ullFound].dwState & 2) != 0 ? kInvalid : ullFound;
    }

    Bytes Image() const
    {
        return votest::StringSetImage(
            votest::RecordVectorImage(vecRecords.size(), votest::StringRecordBytes(vecRecords)),
            votest::StringImage(pool), votest::TableImage(mapPrimary), votest::TableImage(mapConflict));
    }
};

struct ModelNumbers
{
    static constexpr unsigned int kEnd = 0xFFFFFFFFu;
    static constexpr unsigned int kHole = 0xFFFFFFFEu;
    std::vector<unsigned int> vecNumbers;

    unsigned int InsertList(const std::vector<unsigned int>& list)
    {
        const unsigned int uIndex = static_cast<unsigned int>(vecNumbers.size());
        vecNumbers.insert(vecNumbers.end(), list.begin(), list.end());
        vecNumbers.push_back(kEnd);
        return uIndex;
    }
    bool InsertOne(unsigned int uIndex, unsigned int uNumber, unsigned int& uResult)
    {
        if (uIndex >= vecNumbers.size())
        {
            return false;
        }
        uResult = uIndex;
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
        uResult = InsertList(vecList);
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
    ModelStrings strings;
    ModelNumbers numbers;
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

    bool Request(const VOWString& strPath, unsigned int& uGivenID, bool& bWasThere)
    {
        const std::optional<VOWString> strKey = Relative(strPath, true);
        if (!strKey)
        {
            return false;
        }
        bool bExist = false;
        const unsigned long long ullKey = strings.InsertKey(*strKey, bExist);
        const auto it = mapIndex.find(ullKey);
        bWasThere = bExist && it != mapIndex.end();
        if (bWasThere)
        {
            uGivenID = it->second;
            return true;
        }
        ModelNode node;
        node.uID = uGivenID = static_cast<unsigned int>(vecNodes.size());
        node.ullKey = ullKey;
        vecNodes.push_back(node);
        mapIndex[ullKey] = uGivenID;
        return true;
    }

    // The id of a path, kNone for a miss.
    unsigned int Find(const VOWString& strPath) const
    {
        const std::optional<VOWString> strKey = Relative(strPath, true);
        const unsigned long long ullKey = strKey ? strings.Find(*strKey) : kInvalid;
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
            for (const unsigned int uChild : numbers.List(uInfo))
            {
                if (!Remove(uChild))
                {
                    return false;
                }
            }
        }
        const unsigned int uParent = vecNodes[uID].uParent;
        return uParent == kNone ||
               numbers.Remove(vecNodes[uID].bFolder != 0 ? vecNodes[uParent].uFolders : vecNodes[uParent].uFiles, uID);
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
        const unsigned long long ullKey = strings.InsertKey(*strKey, bExist);
        mapIndex.emplace(ullKey, uID);
        vecNodes[uID].ullKey = ullKey;
        return true;
    }

    void SetNames(unsigned int uID, const VOWString& strDir, const VOWString& strBase, const VOWString& strExt)
    {
        ModelNode& node = vecNodes[uID];
        node.ullComponent = strDir.empty() ? kInvalid : strings.Insert(strDir);
        node.ullBaseName = strBase.empty() ? kInvalid : strings.Insert(strBase);
        node.ullExtension = strExt.empty() ? kInvalid : strings.Insert(strExt);
    }

    void SetChildren(unsigned int uID, const std::vector<unsigned int>& children)
    {
        std::vector<unsigned int> vecFiles, vecFolders;
        for (const unsigned int uChild : children)
        {
            (vecNodes[uChild].bFolder != 0 ? vecFolders : vecFiles).push_back(uChild);
        }
        vecNodes[uID].uFiles = vecFiles.empty() ? kNone : numbers.InsertList(vecFiles);
        vecNodes[uID].uFolders = vecFolders.empty() ? kNone : numbers.InsertList(vecFolders);
    }

    bool InsertChild(unsigned int uID, unsigned int uChild)
    {
        unsigned int& uInfo = vecNodes[uChild].bFolder != 0 ? vecNodes[uID].uFolders : vecNodes[uID].uFiles;
        if (uInfo == kNone)
        {
            uInfo = numbers.InsertList({uChild});
            return true;
        }
        return numbers.InsertOne(uInfo, uChild, uInfo);
    }

    bool RemoveChild(unsigned int uID, unsigned int uChild)
    {
        const unsigned int uInfo = vecNodes[uChild].bFolder != 0 ? vecNodes[uID].uFolders : vecNodes[uID].uFiles;
        return uInfo != kNone && numbers.Remove(uInfo, uChild);
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
            ullRoot = strings.Insert(strRoot);
        }
        if (ullRootName == kInvalid && !strRootName.empty())
        {
            ullRootName = strings.Insert(strRootName);
        }
    }

    Bytes ClassifyImage() const
    {
        ByteBuilder records;
        for (const ModelType& type : vecTypes)
        {
            records.U32(static_cast<uint32_t>(type.nType))
                .Units(type.strName)
                .Zeros(100 - 2 * type.strName.size())
                .Units(type.strExtensions)
                .Zeros(200 - 2 * type.strExtensions.size())
                .U32(type.uColor)
                .U32(type.uBackground);
        }
        const Bytes vecVector = votest::RecordVectorImage(vecTypes.size(), records.Result());
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
        ByteBuilder records;
        for (const ModelNode& node : vecNodes)
        {
            records.Append(node.Record());
        }
        const std::array<Bytes, 5> aBlocks = {strings.Image(),
                                              votest::RecordVectorImage(vecNodes.size(), records.Result()),
                                              numbers.Image(), votest::TableImage(mapIndex), ClassifyImage()};
        ByteBuilder image;
        image.Version("ver.1.4");
        size_t uTotal = 0;
        for (const Bytes& block : aBlocks)
        {
            image.U32(static_cast<uint32_t>(block.size()));
            uTotal += block.size();
        }
        image.U32(0).U64(ullRoot).U64(ullRootName).U32(static_cast<uint32_t>(uTotal));
        for (const Bytes& block : aBlocks)
        {
            image.Append(block);
        }
        return image.U32(0).Result();
    }
};

}  // namespace assettest
