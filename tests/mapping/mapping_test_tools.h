// What the tests of the mapping share: a publisher that makes sections by hand, compressed blocks made without the
// library, an inspector whose protected operations can be reached, and a sample source.
#pragma once

#include <atomic>
#include <string>

#include "assetindex/image_checks.h"
#include "platform/vo_section_publisher.h"
#include "vots_file_mapping.h"

namespace mappingtest
{

using namespace assettest;
using LUMTrayService::AF_ERROR;
using LUMTrayService::AF_MERGESRC;
using LUMTrayService::AF_PAKV4;
using LUMTrayService::AF_SOURCE;
using LUMTrayService::AF_TARGET;
using LUMTrayService::AR_Customer;
using LUMTrayService::AR_Provider;
using LUMTrayService::ASSETTYPE_COUNT;
using LUMTrayService::enumAssetFrom;
using namespace LUMTrayService::Inspector;

inline const std::string kInspector = "VOTSFileMappingInspector::";

// ---------------------------------------------------------------------------------------------------------------------
// Formats
// ---------------------------------------------------------------------------------------------------------------------

constexpr const VOWCHAR* kpszStateName = VOTEXT("vo_fileMappingUpdateStateName_assetNode");

// The names of the data sections, by source.
inline const VOWCHAR* DataName(unsigned int uSource)
{
    static const VOWCHAR* const s_apszName[] = {
        nullptr,
        VOTEXT("vo_fileMappingAssetNodeContainerName_source"),
        VOTEXT("vo_fileMappingAssetNodeContainerName_target"),
        VOTEXT("vo_fileMappingAssetNodeContainerName_pakv4"),
        VOTEXT("vo_fileMappingAssetNodeContainerName_httpfile_source"),
        VOTEXT("vo_fileMappingAssetNodeContainerName_httpfile_target"),
        VOTEXT("vo_fileMappingAssetNodeContainerName_httpfile_pkg_source"),
        VOTEXT("vo_fileMappingAssetNodeContainerName_httpfile_pkg_target"),
        VOTEXT("vo_fileMappingAssetNodeContainerName_mergeSrc"),
        VOTEXT("vo_fileMappingAssetNodeContainerName_mergeTarget"),
    };
    return s_apszName[uSource];
}

// An update state section of 132 bytes in which nothing is published.
inline Bytes EmptyState(const char* pszVersion = "version.2.4")
{
    Bytes vecState(132, 0);
    memcpy(vecState.data(), pszVersion, std::min<size_t>(12, strlen(pszVersion)));
    return vecState;
}

// An LZO1X stream that holds its data as they are: one run of literals and the end mark.
inline Bytes LiteralStream(const Bytes& rkData)
{
    ByteBuilder kStream;
    if (rkData.size() <= 238)
    {
        kStream.U8(static_cast<uint8_t>(17 + rkData.size()));
    }
    else
    {
        size_t uRest = rkData.size() - 18;
        kStream.U8(0);
        for (; uRest > 255; uRest -= 255)
        {
            kStream.U8(0);
        }
        kStream.U8(static_cast<uint8_t>(uRest));
    }
    return kStream.Append(rkData).Hex("110000").Result();
}

// A compressed block around a stream, with what its head says.
inline Bytes BlockAround(const Bytes& rkStream, unsigned long long ullSourceSize)
{
    return ByteBuilder().U64(ullSourceSize).U64(rkStream.size()).Append(rkStream).Zeros(8).Result();
}

inline Bytes LiteralBlock(const Bytes& rkData)
{
    return BlockAround(LiteralStream(rkData), rkData.size());
}

// ---------------------------------------------------------------------------------------------------------------------
// Publisher
// ---------------------------------------------------------------------------------------------------------------------

// Makes and fills the sections, and takes their names back at its end.
class Publisher
{
public:
    // Without a state section.
    struct NoState
    {
    };
    explicit Publisher(NoState) {}

    explicit Publisher(const Bytes& rkState = EmptyState()) { PutState(rkState); }

    void PutState(const Bytes& rkState)
    {
        ASSERT_TRUE(m_kState.Replace(kpszStateName, rkState.data(), rkState.size()));
    }
    void DropState() { EXPECT_TRUE(m_kState.Withdraw()); }

    // The words of a source's record: 0 enabled, 1 update count, 2 readers.
    unsigned int Word(unsigned int uSource, unsigned int uWord) const
    {
        return std::atomic_ref<unsigned int>(Address(uSource)[uWord]).load();
    }
    void SetWord(unsigned int uSource, unsigned int uWord, unsigned int uValue) const
    {
        std::atomic_ref<unsigned int>(Address(uSource)[uWord]).store(uValue);
    }
    void SetEnabled(unsigned int uSource, unsigned int uValue) const { SetWord(uSource, 0, uValue); }
    void SetCount(unsigned int uSource, unsigned int uValue) const { SetWord(uSource, 1, uValue); }
    unsigned int Readers(unsigned int uSource) const { return Word(uSource, 2); }

    // What stands in the data section from its first byte.
    void PutData(unsigned int uSource, const Bytes& rkData)
    {
        ASSERT_TRUE(m_akData[uSource].Replace(DataName(uSource), rkData.data(), rkData.size()));
    }
    void DropData(unsigned int uSource) { EXPECT_TRUE(m_akData[uSource].Withdraw()); }

    // The whole protocol: block, then count, then enabled.
    void Publish(unsigned int uSource, const Bytes& rkImage) { PublishBlock(uSource, LiteralBlock(rkImage)); }
    void PublishBlock(unsigned int uSource, const Bytes& rkBlock)
    {
        PutData(uSource, rkBlock);
        SetCount(uSource, ++m_uLastCount);
        SetEnabled(uSource, 1);
    }
    void Publish(unsigned int uSource, ModelContainer kModel) { Publish(uSource, kModel.Image()); }

    unsigned char* Data(unsigned int uSource) const { return static_cast<unsigned char*>(m_akData[uSource].Data()); }

private:
    unsigned int* Address(unsigned int uSource) const
    {
        return reinterpret_cast<unsigned int*>(static_cast<unsigned char*>(m_kState.Data()) + 12 + 12 * uSource);
    }

    VOPublishedSection m_kState;
    VOPublishedSection m_akData[ASSETTYPE_COUNT];
    unsigned int m_uLastCount = 100;
};

// ---------------------------------------------------------------------------------------------------------------------
// Inspector
// ---------------------------------------------------------------------------------------------------------------------

class OpenInspector : public VOTSFileMappingInspector
{
public:
    using VOTSFileMappingInspector::MappingView_AssetNodes;
    using VOTSFileMappingInspector::MappingView_UpdateState;
    using VOTSFileMappingInspector::TraverseAssetNodeInernal_AssetMerge;
    using VOTSFileMappingInspector::TraverseAssetNodeInernal_Extension;
    using VOTSFileMappingInspector::TraverseAssetNodeInernal_FileName;
    using VOTSFileMappingInspector::UnMappingView_AssetNodes;
    using VOTSFileMappingInspector::UnMappingView_UpdateState;
    using VOTSFileMappingInspector::VOTSFileMappingInspector;
};

// Closes its mappings at its end, as the class asks of its users.
class ClosingInspector : public OpenInspector
{
public:
    explicit ClosingInspector(enumAssetFrom eaf = AF_SOURCE) : OpenInspector(eaf) {}
    ~ClosingInspector() { CloseMapping(); }

    void Load()
    {
        ASSERT_EQ(ET_NONE, OpenMappingState());
        ASSERT_EQ(ET_NONE, OpenMappingData());
    }
};

inline unsigned int IdOf(const VOTSFileMappingInspector& rkInspector, const VOWCHAR* pszPath)
{
    structAssetNode tsNode;
    return rkInspector.GetAssetNode(pszPath, tsNode) != 0 ? tsNode.nAssetID : kNone;
}

// ---------------------------------------------------------------------------------------------------------------------
// A sample source
// ---------------------------------------------------------------------------------------------------------------------

// top(0): XABy.png(1, sign 1) x.ab(2, sign 2) noext(3, sign 4) Upper.PNG(4, sign 3) t.tga(5)
//         d1(6): inner.txt(7, sign 1) xab2.png(8); dabs(9), empty; gone.png(10), removed
inline ModelContainer SourceModel()
{
    ModelContainer kModel;
    kModel.strRoot = VOTEXT("C:/Root");
    kModel.strRootName = VOTEXT("Root Name");
    kModel.vecTypes = {{7, VOTEXT("Texture"), VOTEXT("png|TGA|dds"), 0x01020304, 0x05060708},
                       {-1, VOTEXT("Text"), VOTEXT("txt"), 3, 4}};
    kModel.Add(VOTEXT("top"), true, kNone);
    kModel.Add(VOTEXT("top/XABy.png"), false, 0);
    kModel.Add(VOTEXT("top/x.ab"), false, 0);
    kModel.Add(VOTEXT("top/noext"), false, 0);
    kModel.Add(VOTEXT("top/Upper.PNG"), false, 0);
    kModel.Add(VOTEXT("top/t.tga"), false, 0);
    kModel.Add(VOTEXT("top/d1"), true, 0);
    kModel.Add(VOTEXT("top/d1/inner.txt"), false, 6);
    kModel.Add(VOTEXT("top/d1/xab2.png"), false, 6);
    kModel.Add(VOTEXT("top/dabs"), true, 0);
    kModel.Add(VOTEXT("top/gone.png"), false, 0);
    EXPECT_TRUE(kModel.Remove(10));
    kModel.vecNodes[1].uMerge = 1;
    kModel.vecNodes[2].uMerge = 2;
    kModel.vecNodes[3].uMerge = 4;
    kModel.vecNodes[4].uMerge = 3;
    kModel.vecNodes[6].uMerge = 0xFF;
    kModel.vecNodes[7].uMerge = 1;
    return kModel;
}

// One file of that name at the top, and nothing else.
inline ModelContainer OneFileModel(const VOWString& strPath)
{
    ModelContainer kModel;
    kModel.strRoot = VOTEXT("C:/Root");
    kModel.Add(strPath, false, kNone);
    return kModel;
}

// Asks an inspector everything, whatever its state and however damaged its image is; results stay in their buffers and
// walks end. Gives the number of answers.
inline size_t AskEverything(const VOTSFileMappingInspector& rkInspector)
{
    struct Walk
    {
        size_t uVisits = 0;
        static int Visit(const structAssetNode&, void* pvParam, int& bStop)
        {
            // Links may multiply: a walk ends by itself, but it may take millions of visits.
            bStop = ++static_cast<Walk*>(pvParam)->uVisits >= 10'000 ? 1 : 0;
            return 0;
        }
    };
    size_t uAnswers = 0;
    const unsigned int uCount = rkInspector.GetAssetNodeCount();
    for (unsigned int uID = 0; uID < std::min(uCount, 64u) + 2; ++uID)
    {
        structAssetNode tsNode;
        if (rkInspector.GetAssetNode(uID, tsNode) != 0)
        {
            for (void* hString : {tsNode.hStrComponent, tsNode.hStrBaseName, tsNode.hStrExtension,
                                  tsNode.hStrClassifyName, tsNode.hStrPhysicsPath})
            {
                uAnswers += ReadText(rkInspector.GetString(hString)).size();
            }
        }
        WideBuffer<> kPath;
        uAnswers += static_cast<size_t>(rkInspector.GetAssetPath(uID, MAX_PATH, kPath.szText));
        uAnswers += static_cast<size_t>(rkInspector.GetAssetAbsolutePath(uID, MAX_PATH, kPath.szText));
        EXPECT_TRUE(kPath.InBounds());
        for (const NodeType eType : {NT_FILE, NT_FOLDER, static_cast<NodeType>(9)})
        {
            unsigned int uResult = 0;
            uAnswers += rkInspector.GetAssetIndexOfParent(uID, eType);
            uAnswers += static_cast<size_t>(rkInspector.GetAssetChildByIndex(uID, 1, eType, uResult));
        }
        IDs vecIDs;
        uAnswers += rkInspector.GetAssetChildCount(uID, 3);
        uAnswers += static_cast<size_t>(rkInspector.GetAssetChildIndexList(uID, 3, vecIDs)) + vecIDs.size();
        Walk kWalk;
        (void)rkInspector.TraverseAssetNode(uID, 3, 1, &Walk::Visit, &kWalk);
        (void)rkInspector.TraverseAssetNode_AssetMerge(uID, ~0u, 1, &Walk::Visit, &kWalk);
        (void)rkInspector.TraverseAssetNode_FileName(uID, VOTEXT("a"), 0, 3, 1, &Walk::Visit, &kWalk);
        (void)rkInspector.TraverseAssetNode_Extension(uID, VOTEXT("png|txt"), 0, 1, &Walk::Visit, &kWalk);
        uAnswers += kWalk.uVisits;
    }
    for (unsigned int uHandle = 0; uHandle < 64; ++uHandle)
    {
        uAnswers += ReadText(rkInspector.GetString(HandleOf(uHandle))).size();
    }
    for (const VOWCHAR* pszPath : {VOTEXT("top"), VOTEXT("top/xaby.png"), VOTEXT("C:/root/top/d1/inner.txt"),
                                   VOTEXT("top/gone.png"), VOTEXT("none"), VOTEXT("")})
    {
        structAssetNode tsNode;
        WideBuffer<> kPath;
        uAnswers += static_cast<size_t>(rkInspector.GetAssetNode(pszPath, tsNode));
        uAnswers += static_cast<size_t>(rkInspector.NormalizeAssetPath(pszPath, MAX_PATH, kPath.szText));
        EXPECT_TRUE(kPath.InBounds());
    }
    uAnswers += ReadText(rkInspector.GetAssetRootPath()).size() + ReadText(rkInspector.GetAssetRootName()).size();
    int nType = 0;
    Color kColor;
    std::vector<VOWString> vecExtensions;
    uAnswers += static_cast<size_t>(rkInspector.GetClassifyTypeByName(VOTEXT("Text"), nType));
    uAnswers += static_cast<size_t>(rkInspector.GetClassifyExtension(7, vecExtensions)) + vecExtensions.size();
    uAnswers += static_cast<size_t>(rkInspector.GetClassifyTypeColor(7, kColor));
    uAnswers += static_cast<size_t>(rkInspector.GetClassifyBackgroundColor(7, kColor));
    VOTSAssetNodeContainer kTarget;
    uAnswers += static_cast<size_t>(rkInspector.ReConstructContainer(&kTarget));
    return uAnswers;
}

}  // namespace mappingtest
