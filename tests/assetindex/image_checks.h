// What the tests of images share: a sample container and its model, comparison of a container with a model, and a walk
// through everything that a container of any image can be asked.
#pragma once

#include <optional>

#include "assetindex/image_model.h"
#include "support/stdout_capture.h"

namespace assettest
{

// Keeps standard output small in tests that make thousands of log lines: each call of Next drops what was written since
// the hundredth call before it.
class QuietLoop
{
public:
    void Next()
    {
        if (m_uCalls++ % 100 == 0)
        {
            m_kCapture.reset();
            m_kCapture.emplace();
        }
    }

private:
    size_t m_uCalls = 0;
    std::optional<votest::StdoutCapture> m_kCapture;
};

inline Color ColorOf(unsigned int uValue)
{
    Color kColor;
    kColor.uValue = uValue;
    return kColor;
}

// A small container with everything in it: root, types, nested folders, a removed node, a hole, a physics path.
inline void FillSample(VOTSAssetNodeContainer& rkContainer)
{
    ASSERT_NE(0, rkContainer.InsertClassifyType(7, VOTEXT("Texture"), VOTEXT("png|TGA"), ColorOf(0x01020304),
                                                ColorOf(0x05060708)));
    ASSERT_NE(0, rkContainer.InsertClassifyType(-1, VOTEXT("Text"), VOTEXT("txt"), ColorOf(3), ColorOf(4)));
    ASSERT_NE(0, rkContainer.BuildUpExtensionsHash());
    AddLinked(rkContainer, VOTEXT("Dir"), true, kNone);
    AddLinked(rkContainer, VOTEXT("Dir/Foo.PNG"), false, 0);
    AddLinked(rkContainer, VOTEXT("Dir/gone.txt"), false, 0);
    AddLinked(rkContainer, VOTEXT("Dir/Sub.d"), true, 0);
    AddLinked(rkContainer, VOTEXT("Dir/Sub.d/\x4E2D.txt"), false, 3);
    AddLinked(rkContainer, VOTEXT("README"), false, kNone);
    AddLinked(rkContainer, VOTEXT("Dir/last.tga"), false, 0);
    ASSERT_NE(0, rkContainer.RemoveAssetNode(2u));
    ASSERT_NE(0, rkContainer.SetAssetNodeClassifyType(1, 7, VOTEXT("Texture")));
    ASSERT_NE(0, rkContainer.SetAssetNodeFileAttribute(1, 5000000000ull, 11, -12, 13, 0x14));
    ASSERT_NE(0, rkContainer.SetAssetNodeAssetFrom(1, LUMTrayService::AF_SOURCE));
    ASSERT_NE(0, rkContainer.SetAssetNodeAssetMergeSign(4, 6));
    ASSERT_NE(0, rkContainer.SetAssetNodePhysicsPath(5, VOTEXT("E:\\x.pak")));
}

inline ModelContainer SampleModel(const VOWString& strRoot, const VOWString& strRootName)
{
    ModelContainer kModel;
    kModel.strRoot = strRoot;
    kModel.strRootName = strRootName;
    kModel.vecTypes = {{7, VOTEXT("Texture"), VOTEXT("png|TGA"), 0x01020304, 0x05060708},
                       {-1, VOTEXT("Text"), VOTEXT("txt"), 3, 4}};
    kModel.Add(VOTEXT("Dir"), true, kNone);
    kModel.Add(VOTEXT("Dir/Foo.PNG"), false, 0);
    kModel.Add(VOTEXT("Dir/gone.txt"), false, 0);
    kModel.Add(VOTEXT("Dir/Sub.d"), true, 0);
    kModel.Add(VOTEXT("Dir/Sub.d/\x4E2D.txt"), false, 3);
    kModel.Add(VOTEXT("README"), false, kNone);
    kModel.Add(VOTEXT("Dir/last.tga"), false, 0);
    EXPECT_TRUE(kModel.Remove(2));
    kModel.vecNodes[1].nType = 7;
    kModel.vecNodes[1].ullTypeName = kModel.kStrings.Insert(VOTEXT("Texture"));
    kModel.vecNodes[1].ullSize = 5000000000ull;
    kModel.vecNodes[1].ullCreate = 11;
    kModel.vecNodes[1].ullAccess = static_cast<unsigned long long>(-12ll);
    kModel.vecNodes[1].ullWrite = 13;
    kModel.vecNodes[1].uAttribute = 0x14;
    kModel.vecNodes[1].uFrom = 1;
    kModel.vecNodes[4].uMerge = 6;
    kModel.vecNodes[5].ullPhysics = kModel.kStrings.Insert(VOTEXT("E:\\x.pak"));
    return kModel;
}

// The text of a model's string, for a handle that must have one.
inline VOWString ModelText(const ModelContainer& rkModel, unsigned long long ullHandle)
{
    return ReadText(rkModel.kStrings.kPool.vecData.data() + rkModel.kStrings.vecRecords[ullHandle].hString);
}

// Everything that a container answers, against a model.
inline void ExpectSame(const VOTSAssetNodeContainer& rkContainer, const ModelContainer& rkModel)
{
    ASSERT_EQ(rkModel.vecNodes.size(), rkContainer.GetAssetNodeCount());
    for (unsigned int uID = 0; uID < rkModel.vecNodes.size(); ++uID)
    {
        structAssetNode tsNode;
        ASSERT_NE(0, rkContainer.GetAssetNode(uID, tsNode));
        ASSERT_TRUE(SameBytes(rkModel.vecNodes[uID].Node(), BytesOf(tsNode))) << "node " << uID;
        for (const unsigned int uInfo : {rkModel.vecNodes[uID].uFiles, rkModel.vecNodes[uID].uFolders})
        {
            if (uInfo < rkModel.kNumbers.vecNumbers.size())
            {
                const IDs vecExpected = rkModel.kNumbers.List(uInfo);
                ASSERT_EQ(vecExpected, ListOf(rkContainer, uInfo));
                ASSERT_EQ(vecExpected.size(), rkContainer.GetInfoNumberCount(uInfo));
            }
        }
    }
    for (size_t uHandle = 0; uHandle < rkModel.kStrings.vecRecords.size(); ++uHandle)
    {
        const VOWCHAR* pszText = rkContainer.GetString(HandleOf(uHandle));
        ASSERT_EQ(rkModel.kStrings.vecRecords[uHandle].dwState == 4, pszText != nullptr) << "string " << uHandle;
        if (pszText != nullptr)
        {
            ASSERT_EQ(ModelText(rkModel, uHandle), ReadText(pszText));
        }
    }
    for (const ModelType& rkType : rkModel.vecTypes)
    {
        WideBuffer<LENGTH_OF_CLASSIFYNAME> kName;
        ASSERT_NE(0, rkContainer.GetClassifyName(rkType.nType, kName.szText));
        EXPECT_EQ(rkType.strName, kName.Text());
    }
}

// Asks a container everything, following whatever ids, handles and lists it hands out. The image may be damaged in any
// way: nothing may be touched outside it, walks must end, and results must stay in their buffers. Gives the number of
// answers.
inline size_t AskEverything(const VOTSAssetNodeContainer& rkContainer)
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
    const auto kAskText = [&](void* hString)
    {
        const VOWCHAR* pszText = rkContainer.GetString(hString);
        uAnswers += pszText != nullptr ? 1 + ReadText(pszText).size() : 0;
    };
    const auto kAskList = [&](unsigned int uInfo)
    {
        IDs vecIDs;
        uAnswers += rkContainer.GetInfoNumberList(uInfo, vecIDs) != 0 ? 1 + vecIDs.size() : 0;
        uAnswers += rkContainer.GetInfoNumberCount(uInfo);
        uAnswers += rkContainer.GetInfoNumberFromIndex(uInfo, 1) != kNone ? 1 : 0;
    };

    const unsigned int uCount = rkContainer.GetAssetNodeCount();
    for (unsigned int uID = 0; uID < uCount + 2; ++uID)
    {
        structAssetNode tsNode;
        if (rkContainer.GetAssetNode(uID, tsNode) == 0)
        {
            continue;
        }
        for (void* hString : {tsNode.hStrComponent, tsNode.hStrBaseName, tsNode.hStrExtension, tsNode.hStrClassifyName,
                              tsNode.hStrPhysicsPath})
        {
            kAskText(hString);
        }
        kAskList(tsNode.nChildFileInfo);
        kAskList(tsNode.nChildFolderInfo);
        WideBuffer<> kPath;
        uAnswers += static_cast<size_t>(rkContainer.GetAssetPath(uID, MAX_PATH, kPath.szText));
        uAnswers += static_cast<size_t>(rkContainer.GetAssetPath(uID, 4, kPath.szText));
        uAnswers += static_cast<size_t>(rkContainer.GetAssetAbsolutePath(uID, MAX_PATH, kPath.szText));
        EXPECT_TRUE(kPath.InBounds());
        Walk kWalk;
        (void)VOTSAssetNodeContainerHelper::TraverseAssetNode(&rkContainer, uID, 3, 1, &Walk::Visit, &kWalk);
        uAnswers += kWalk.uVisits;
    }
    for (unsigned int uHandle = 0; uHandle < 64; ++uHandle)
    {
        kAskText(HandleOf(uHandle));
        kAskText(HandleOf(~0ull - uHandle));
    }
    for (unsigned int uInfo = 0; uInfo < 64; ++uInfo)
    {
        IDs vecIDs;
        if (rkContainer.GetInfoNumberList(uInfo, vecIDs) == 0)
        {
            break;
        }
        kAskList(uInfo);
    }
    for (const VOWCHAR* pszPath :
         {VOTEXT("dir"), VOTEXT("Dir/Foo.PNG"), VOTEXT("Dir/gone.txt"), VOTEXT("Dir/Sub.d/\x4E2D.txt"),
          VOTEXT("README"), VOTEXT("C:/Root/Dir"), VOTEXT("texture"), VOTEXT("none"), VOTEXT("")})
    {
        structAssetNode tsNode;
        uAnswers += static_cast<size_t>(rkContainer.FindAssetNode(pszPath, tsNode));
        WideBuffer<> kPath;
        uAnswers += static_cast<size_t>(rkContainer.NormailzeAssetPath(kPath.szText, pszPath, MAX_PATH, 1));
    }
    uAnswers += ReadText(rkContainer.GetRootPath()).size() + ReadText(rkContainer.GetRootName()).size();
    for (const int nType : {7, -1, 0})
    {
        WideBuffer<LENGTH_OF_EXTENSIONS> kText;
        Color kColor;
        uAnswers += static_cast<size_t>(rkContainer.GetClassifyName(nType, kText.szText));
        uAnswers += static_cast<size_t>(rkContainer.GetClassifyExtensions(nType, kText.szText));
        uAnswers += static_cast<size_t>(rkContainer.GetClassifyTypeColor(nType, kColor));
        uAnswers += static_cast<size_t>(rkContainer.GetClassifyBackgroundColor(nType, kColor));
        EXPECT_TRUE(kText.InBounds());
    }
    int nType = 0;
    uAnswers += static_cast<size_t>(rkContainer.GetClassifyTypeByName(VOTEXT("Text"), nType));
    uAnswers += static_cast<size_t>(rkContainer.GetClassifyTypeByExtension(VOTEXT("tga"), nType));
    VOTSAssetNodeContainer kTarget;
    uAnswers += static_cast<size_t>(rkContainer.ReConstructContainer(&kTarget));
    return uAnswers;
}

}  // namespace assettest
