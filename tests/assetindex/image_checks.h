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
            m_capture.reset();
            m_capture.emplace();
        }
    }

private:
    size_t m_uCalls = 0;
    std::optional<votest::StdoutCapture> m_capture;
};

inline Color ColorOf(unsigned int uValue)
{
    Color color;
    color.uValue = uValue;
    return color;
}

// A small container with everything in it: root, types, nested folders, a removed node, a hole, a physics path.
inline void FillSample(VOTSAssetNodeContainer& container)
{
    ASSERT_NE(0, container.InsertClassifyType(7, VOTEXT("Texture"), VOTEXT("png|TGA"), ColorOf(0x01020304),
                                              ColorOf(0x05060708)));
    ASSERT_NE(0, container.InsertClassifyType(-1, VOTEXT("Text"), VOTEXT("txt"), ColorOf(3), ColorOf(4)));
    ASSERT_NE(0, container.BuildUpExtensionsHash());
    AddLinked(container, VOTEXT("Dir"), true, kNone);
    AddLinked(container, VOTEXT("Dir/Foo.PNG"), false, 0);
    AddLinked(container, VOTEXT("Dir/gone.txt"), false, 0);
    AddLinked(container, VOTEXT("Dir/Sub.d"), true, 0);
    AddLinked(container, VOTEXT("Dir/Sub.d/\x4E2D.txt"), false, 3);
    AddLinked(container, VOTEXT("README"), false, kNone);
    AddLinked(container, VOTEXT("Dir/last.tga"), false, 0);
    ASSERT_NE(0, container.RemoveAssetNode(2u));
    ASSERT_NE(0, container.SetAssetNodeClassifyType(1, 7, VOTEXT("Texture")));
    ASSERT_NE(0, container.SetAssetNodeFileAttribute(1, 5000000000ull, 11, -12, 13, 0x14));
    ASSERT_NE(0, container.SetAssetNodeAssetFrom(1, LUMTrayService::AF_SOURCE));
    ASSERT_NE(0, container.SetAssetNodeAssetMergeSign(4, 6));
    ASSERT_NE(0, container.SetAssetNodePhysicsPath(5, VOTEXT("E:\\x.pak")));
}

inline ModelContainer SampleModel(const VOWString& strRoot, const VOWString& strRootName)
{
    ModelContainer model;
    model.strRoot = strRoot;
    model.strRootName = strRootName;
    model.vecTypes = {{7, VOTEXT("Texture"), VOTEXT("png|TGA"), 0x01020304, 0x05060708},
                      {-1, VOTEXT("Text"), VOTEXT("txt"), 3, 4}};
    model.Add(VOTEXT("Dir"), true, kNone);
    model.Add(VOTEXT("Dir/Foo.PNG"), false, 0);
    model.Add(VOTEXT("Dir/gone.txt"), false, 0);
    model.Add(VOTEXT("Dir/Sub.d"), true, 0);
    model.Add(VOTEXT("Dir/Sub.d/\x4E2D.txt"), false, 3);
    model.Add(VOTEXT("README"), false, kNone);
    model.Add(VOTEXT("Dir/last.tga"), false, 0);
    EXPECT_TRUE(model.Remove(2));
    model.vecNodes[1].nType = 7;
    model.vecNodes[1].ullTypeName = model.strings.Insert(VOTEXT("Texture"));
    model.vecNodes[1].ullSize = 5000000000ull;
    model.vecNodes[1].ullCreate = 11;
    model.vecNodes[1].ullAccess = static_cast<unsigned long long>(-12ll);
    model.vecNodes[1].ullWrite = 13;
    model.vecNodes[1].uAttribute = 0x14;
    model.vecNodes[1].uFrom = 1;
    model.vecNodes[4].uMerge = 6;
    model.vecNodes[5].ullPhysics = model.strings.Insert(VOTEXT("E:\\x.pak"));
    return model;
}

// The text of a model's string, for a handle that must have one.
inline VOWString ModelText(const ModelContainer& model, unsigned long long ullHandle)
{
    return ReadText(model.strings.pool.vecData.data() + model.strings.vecRecords[ullHandle].hString);
}

// Everything that a container answers, against a model.
inline void ExpectSame(const VOTSAssetNodeContainer& container, const ModelContainer& model)
{
    ASSERT_EQ(model.vecNodes.size(), container.GetAssetNodeCount());
    for (unsigned int uID = 0; uID < model.vecNodes.size(); ++uID)
    {
        structAssetNode tsNode;
        ASSERT_NE(0, container.GetAssetNode(uID, tsNode));
        ASSERT_TRUE(SameBytes(model.vecNodes[uID].Node(), BytesOf(tsNode))) << "node " << uID;
        for (const unsigned int uInfo : {model.vecNodes[uID].uFiles, model.vecNodes[uID].uFolders})
        {
            if (uInfo < model.numbers.vecNumbers.size())
            {
                const IDs vecExpected = model.numbers.List(uInfo);
                ASSERT_EQ(vecExpected, ListOf(container, uInfo));
                ASSERT_EQ(vecExpected.size(), container.GetInfoNumberCount(uInfo));
            }
        }
    }
    for (size_t uHandle = 0; uHandle < model.strings.vecRecords.size(); ++uHandle)
    {
        const VOWCHAR* pszText = container.GetString(HandleOf(uHandle));
        ASSERT_EQ(model.strings.vecRecords[uHandle].dwState == 4, pszText != nullptr) << "string " << uHandle;
        if (pszText != nullptr)
        {
            ASSERT_EQ(ModelText(model, uHandle), ReadText(pszText));
        }
    }
    for (const ModelType& type : model.vecTypes)
    {
        WideBuffer<LENGTH_OF_CLASSIFYNAME> name;
        ASSERT_NE(0, container.GetClassifyName(type.nType, name.szText));
        EXPECT_EQ(type.strName, name.Text());
    }
}

// Counts the visits of a walk, and stops it: links of a damaged image may multiply, and a walk ends by itself, but it
// may take millions of visits.
struct CountedWalk
{
    size_t uVisits = 0;
    static int Visit(const structAssetNode&, void* pvParam, int& bStop)
    {
        bStop = ++static_cast<CountedWalk*>(pvParam)->uVisits >= 10'000 ? 1 : 0;
        return 0;
    }
};

// Asks a container everything, following whatever ids, handles and lists it hands out. The image may be damaged in any
// way: nothing may be touched outside it, walks must end, and results must stay in their buffers. Gives the number of
// answers.
inline size_t AskEverything(const VOTSAssetNodeContainer& container)
{
    size_t uAnswers = 0;
    const auto askText = [&](void* hString)
    {
        const VOWCHAR* pszText = container.GetString(hString);
        uAnswers += pszText != nullptr ? 1 + ReadText(pszText).size() : 0;
    };
    const auto askList = [&](unsigned int uInfo)
    {
        IDs vecIDs;
        uAnswers += container.GetInfoNumberList(uInfo, vecIDs) != 0 ? 1 + vecIDs.size() : 0;
        uAnswers += container.GetInfoNumberCount(uInfo);
        uAnswers += container.GetInfoNumberFromIndex(uInfo, 1) != kNone ? 1 : 0;
    };

    const unsigned int uCount = container.GetAssetNodeCount();
    for (unsigned int uID = 0; uID < uCount + 2; ++uID)
    {
        structAssetNode tsNode;
        if (container.GetAssetNode(uID, tsNode) == 0)
        {
            continue;
        }
        for (void* hString : {tsNode.hStrComponent, tsNode.hStrBaseName, tsNode.hStrExtension, tsNode.hStrClassifyName,
                              tsNode.hStrPhysicsPath})
        {
            askText(hString);
        }
        askList(tsNode.nChildFileInfo);
        askList(tsNode.nChildFolderInfo);
        WideBuffer<> path;
        uAnswers += static_cast<size_t>(container.GetAssetPath(uID, MAX_PATH, path.szText));
        uAnswers += static_cast<size_t>(container.GetAssetPath(uID, 4, path.szText));
        uAnswers += static_cast<size_t>(container.GetAssetAbsolutePath(uID, MAX_PATH, path.szText));
        EXPECT_TRUE(path.InBounds());
        CountedWalk walk;
        (void)VOTSAssetNodeContainerHelper::TraverseAssetNode(&container, uID, 3, 1, &CountedWalk::Visit, &walk);
        uAnswers += walk.uVisits;
    }
    for (unsigned int uHandle = 0; uHandle < 64; ++uHandle)
    {
        askText(HandleOf(uHandle));
        askText(HandleOf(~0ull - uHandle));
    }
    for (unsigned int uInfo = 0; uInfo < 64; ++uInfo)
    {
        IDs vecIDs;
        if (container.GetInfoNumberList(uInfo, vecIDs) == 0)
        {
            break;
        }
        askList(uInfo);
    }
    for (const VOWCHAR* pszPath :
         {VOTEXT("dir"), VOTEXT("Dir/Foo.PNG"), VOTEXT("Dir/gone.txt"), VOTEXT("Dir/Sub.d/\x4E2D.txt"),
          VOTEXT("README"), VOTEXT("C:/Root/Dir"), VOTEXT("texture"), VOTEXT("none"), VOTEXT("")})
    {
        structAssetNode tsNode;
        uAnswers += static_cast<size_t>(container.FindAssetNode(pszPath, tsNode));
        WideBuffer<> path;
        uAnswers += static_cast<size_t>(container.NormailzeAssetPath(path.szText, pszPath, MAX_PATH, 1));
    }
    uAnswers += ReadText(container.GetRootPath()).size() + ReadText(container.GetRootName()).size();
    for (const int nType : {7, -1, 0})
    {
        WideBuffer<LENGTH_OF_EXTENSIONS> text;
        Color color;
        uAnswers += static_cast<size_t>(container.GetClassifyName(nType, text.szText));
        uAnswers += static_cast<size_t>(container.GetClassifyExtensions(nType, text.szText));
        uAnswers += static_cast<size_t>(container.GetClassifyTypeColor(nType, color));
        uAnswers += static_cast<size_t>(container.GetClassifyBackgroundColor(nType, color));
        EXPECT_TRUE(text.InBounds());
    }
    int nType = 0;
    uAnswers += static_cast<size_t>(container.GetClassifyTypeByName(VOTEXT("Text"), nType));
    uAnswers += static_cast<size_t>(container.GetClassifyTypeByExtension(VOTEXT("tga"), nType));
    VOTSAssetNodeContainer target;
    uAnswers += static_cast<size_t>(container.ReConstructContainer(&target));
    return uAnswers;
}

}  // namespace assettest
