// What the tests of the mapping share: a publisher that makes sections by hand, compressed blocks made without the
// library, an inspector whose protected operations can be reached, and a sample source.
#pragma once

#include <stdlib.h>

#include <atomic>
#include <memory>
#include <string>

#include "assetindex/image_checks.h"
#include "support/state_section.h"
#include "vo_publisher.h"
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
inline Bytes LiteralStream(const Bytes& data)
{
    ByteBuilder stream;
    if (data.size() <= 238)
    {
        stream.U8(static_cast<uint8_t>(17 + data.size()));
    }
    else
    {
        size_t uRest = data.size() - 18;
        stream.U8(0);
        for (; uRest > 255; uRest -= 255)
        {
            stream.U8(0);
        }
        stream.U8(static_cast<uint8_t>(uRest));
    }
    return stream.Append(data).Hex("110000").Result();
}

// A compressed block around a stream, with what its head says.
inline Bytes BlockAround(const Bytes& stream, unsigned long long ullSourceSize)
{
    return ByteBuilder().U64(ullSourceSize).U64(stream.size()).Append(stream).Zeros(8).Result();
}

inline Bytes LiteralBlock(const Bytes& data)
{
    return BlockAround(LiteralStream(data), data.size());
}

// ---------------------------------------------------------------------------------------------------------------------
// Publisher
// ---------------------------------------------------------------------------------------------------------------------

// Makes and fills the sections, and takes their names back at its end. With VOBASE_TEST_BASES=1 in the environment
// every image that a container can be made of is published as a base too, so that the same tests ask readers that take
// it.
class Publisher
{
public:
    // Without a state section.
    struct NoState
    {
    };
    explicit Publisher(NoState) {}

    explicit Publisher(const Bytes& state = EmptyState()) { PutState(state); }

    void PutState(const Bytes& state) { m_state.Put(state); }
    void DropState() { m_state.Drop(); }

    // The words of a source's record: 0 enabled, 1 update count, 2 readers.
    unsigned int Word(unsigned int uSource, unsigned int uWord) const
    {
        return m_state.Word<unsigned int>(12 + 12 * uSource + 4 * uWord);
    }
    void SetWord(unsigned int uSource, unsigned int uWord, unsigned int uValue) const
    {
        m_state.SetWord<unsigned int>(12 + 12 * uSource + 4 * uWord, uValue);
    }
    void SetEnabled(unsigned int uSource, unsigned int uValue) const { SetWord(uSource, 0, uValue); }
    void SetCount(unsigned int uSource, unsigned int uValue) const { SetWord(uSource, 1, uValue); }
    unsigned int Readers(unsigned int uSource) const { return Word(uSource, 2); }

    // What stands in the data section from its first byte.
    void PutData(unsigned int uSource, const Bytes& data)
    {
        ASSERT_TRUE(m_akData[uSource].Replace(DataName(uSource), data.data(), data.size()));
    }
    void DropData(unsigned int uSource) { EXPECT_TRUE(m_akData[uSource].Withdraw()); }

    // The whole protocol: block, then count, then enabled.
    void Publish(unsigned int uSource, const Bytes& image)
    {
        if (getenv("VOBASE_TEST_BASES") != nullptr)
        {
            OfferBase(uSource, image);
        }
        PublishBlock(uSource, LiteralBlock(image));
    }

    // Never with a base.
    void PublishImage(unsigned int uSource, ModelContainer model)
    {
        PublishBlock(uSource, LiteralBlock(model.Image()));
    }

    // A base for the image that is published next.
    void OfferBase(unsigned int uSource, Bytes image)
    {
        const auto eaf = static_cast<enumAssetFrom>(uSource);
        const std::unique_ptr<VOTSAssetNodeContainer> pBefore = std::move(m_apContainer[uSource]);
        m_apContainer[uSource] = std::make_unique<VOTSAssetNodeContainer>(AR_Provider, nullptr, nullptr);
        auto* const pAlloc = reinterpret_cast<VOTSAssetNodeContainer::ContainerAlloc*>(image.data());
        if ((m_road.IsOpen() || m_road.Open()) && m_apContainer[uSource]->SetAlloc(pAlloc, 1, image.size()) != 0 &&
            m_road.Publish(eaf, *m_apContainer[uSource]))
        {
            m_road.NoteImage(eaf, m_uLastCount + 1);
        }
        else
        {
            m_road.Remove(eaf);
        }
    }
    VORoadPublisher& Road() { return m_road; }
    VOTSAssetNodeContainer& Container(unsigned int uSource) { return *m_apContainer[uSource]; }
    void PublishBlock(unsigned int uSource, const Bytes& block)
    {
        PutData(uSource, block);
        SetCount(uSource, ++m_uLastCount);
        SetEnabled(uSource, 1);
    }
    void Publish(unsigned int uSource, ModelContainer model) { Publish(uSource, model.Image()); }

    unsigned char* Data(unsigned int uSource) const { return static_cast<unsigned char*>(m_akData[uSource].Data()); }

private:
    votest::StateSection m_state{kpszStateName};
    VOPublishedSection m_akData[ASSETTYPE_COUNT];
    std::unique_ptr<VOTSAssetNodeContainer> m_apContainer[ASSETTYPE_COUNT];
    VORoadPublisher m_road;
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

inline unsigned int IdOf(const VOTSFileMappingInspector& inspector, const VOWCHAR* pszPath)
{
    structAssetNode tsNode;
    return inspector.GetAssetNode(pszPath, tsNode) != 0 ? tsNode.nAssetID : kNone;
}

// ---------------------------------------------------------------------------------------------------------------------
// A sample source
// ---------------------------------------------------------------------------------------------------------------------

// top(0): XABy.png(1, sign 1) x.ab(2, sign 2) noext(3, sign 4) Upper.PNG(4, sign 3) t.tga(5)
//         d1(6): inner.txt(7, sign 1) xab2.png(8); dabs(9), empty; gone.png(10), removed
inline ModelContainer SourceModel()
{
    ModelContainer model;
    model.strRoot = VOTEXT("C:/Root");
    model.strRootName = VOTEXT("Root Name");
    model.vecTypes = {{7, VOTEXT("Texture"), VOTEXT("png|TGA|dds"), 0x01020304, 0x05060708},
                      {-1, VOTEXT("Text"), VOTEXT("txt"), 3, 4}};
    model.Add(VOTEXT("top"), true, kNone);
    model.Add(VOTEXT("top/XABy.png"), false, 0);
    model.Add(VOTEXT("top/x.ab"), false, 0);
    model.Add(VOTEXT("top/noext"), false, 0);
    model.Add(VOTEXT("top/Upper.PNG"), false, 0);
    model.Add(VOTEXT("top/t.tga"), false, 0);
    model.Add(VOTEXT("top/d1"), true, 0);
    model.Add(VOTEXT("top/d1/inner.txt"), false, 6);
    model.Add(VOTEXT("top/d1/xab2.png"), false, 6);
    model.Add(VOTEXT("top/dabs"), true, 0);
    model.Add(VOTEXT("top/gone.png"), false, 0);
    EXPECT_TRUE(model.Remove(10));
    model.vecNodes[1].uMerge = 1;
    model.vecNodes[2].uMerge = 2;
    model.vecNodes[3].uMerge = 4;
    model.vecNodes[4].uMerge = 3;
    model.vecNodes[6].uMerge = 0xFF;
    model.vecNodes[7].uMerge = 1;
    return model;
}

// One file of that name at the top, and nothing else.
inline ModelContainer OneFileModel(const VOWString& strPath)
{
    ModelContainer model;
    model.strRoot = VOTEXT("C:/Root");
    model.Add(strPath, false, kNone);
    return model;
}

// Asks an inspector everything, whatever its state and however damaged its image is; results stay in their buffers and
// walks end. Gives the number of answers.
inline size_t AskEverything(const VOTSFileMappingInspector& inspector)
{
    size_t uAnswers = 0;
    const unsigned int uCount = inspector.GetAssetNodeCount();
    for (unsigned int uID = 0; uID < std::min(uCount, 64u) + 2; ++uID)
    {
        structAssetNode tsNode;
        if (inspector.GetAssetNode(uID, tsNode) != 0)
        {
            for (void* hString : {tsNode.hStrComponent, tsNode.hStrBaseName, tsNode.hStrExtension,
                                  tsNode.hStrClassifyName, tsNode.hStrPhysicsPath})
            {
                uAnswers += ReadText(inspector.GetString(hString)).size();
            }
        }
        WideBuffer<> path;
        uAnswers += static_cast<size_t>(inspector.GetAssetPath(uID, MAX_PATH, path.szText));
        uAnswers += static_cast<size_t>(inspector.GetAssetAbsolutePath(uID, MAX_PATH, path.szText));
        EXPECT_TRUE(path.InBounds());
        for (const NodeType eType : {NT_FILE, NT_FOLDER, static_cast<NodeType>(9)})
        {
            unsigned int uResult = 0;
            uAnswers += inspector.GetAssetIndexOfParent(uID, eType);
            uAnswers += static_cast<size_t>(inspector.GetAssetChildByIndex(uID, 1, eType, uResult));
        }
        IDs vecIDs;
        uAnswers += inspector.GetAssetChildCount(uID, 3);
        uAnswers += static_cast<size_t>(inspector.GetAssetChildIndexList(uID, 3, vecIDs)) + vecIDs.size();
        CountedWalk walk;
        (void)inspector.TraverseAssetNode(uID, 3, 1, &CountedWalk::Visit, &walk);
        (void)inspector.TraverseAssetNode_AssetMerge(uID, ~0u, 1, &CountedWalk::Visit, &walk);
        (void)inspector.TraverseAssetNode_FileName(uID, VOTEXT("a"), 0, 3, 1, &CountedWalk::Visit, &walk);
        (void)inspector.TraverseAssetNode_Extension(uID, VOTEXT("png|txt"), 0, 1, &CountedWalk::Visit, &walk);
        uAnswers += walk.uVisits;
    }
    for (unsigned int uHandle = 0; uHandle < 64; ++uHandle)
    {
        uAnswers += ReadText(inspector.GetString(HandleOf(uHandle))).size();
    }
    for (const VOWCHAR* pszPath : {VOTEXT("top"), VOTEXT("top/xaby.png"), VOTEXT("C:/root/top/d1/inner.txt"),
                                   VOTEXT("top/gone.png"), VOTEXT("none"), VOTEXT("")})
    {
        structAssetNode tsNode;
        WideBuffer<> path;
        uAnswers += static_cast<size_t>(inspector.GetAssetNode(pszPath, tsNode));
        uAnswers += static_cast<size_t>(inspector.NormalizeAssetPath(pszPath, MAX_PATH, path.szText));
        EXPECT_TRUE(path.InBounds());
    }
    uAnswers += ReadText(inspector.GetAssetRootPath()).size() + ReadText(inspector.GetAssetRootName()).size();
    int nType = 0;
    Color color;
    std::vector<VOWString> vecExtensions;
    uAnswers += static_cast<size_t>(inspector.GetClassifyTypeByName(VOTEXT("Text"), nType));
    uAnswers += static_cast<size_t>(inspector.GetClassifyExtension(7, vecExtensions)) + vecExtensions.size();
    uAnswers += static_cast<size_t>(inspector.GetClassifyTypeColor(7, color));
    uAnswers += static_cast<size_t>(inspector.GetClassifyBackgroundColor(7, color));
    VOTSAssetNodeContainer target;
    uAnswers += static_cast<size_t>(inspector.ReConstructContainer(&target));
    return uAnswers;
}

}  // namespace mappingtest
