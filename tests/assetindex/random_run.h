// Random operations on a container, each made on its model as well and compared with it.
#pragma once

#include <memory>

#include "assetindex/image_checks.h"

namespace assettest
{

class RandomRun
{
public:
    explicit RandomRun(uint64_t ullSeed) : m_random(ullSeed), m_pContainer(NewProvider())
    {
        m_model.strRoot = kpszRoot;
        m_model.strRootName = VOTEXT("Name");
    }

    void Step()
    {
        switch (m_random.Below(16))
        {
            case 0:
            case 1:
            case 2:
            case 3:
                Request();
                break;
            case 4:
                Find();
                break;
            case 5:
                RemoveByPath();
                break;
            case 6:
                RemoveByID();
                break;
            case 7:
                Redirect();
                break;
            case 8:
                SetWords();
                break;
            case 9:
                SetNames();
                break;
            case 10:
                SetTexts();
                break;
            case 11:
                SetParent();
                break;
            case 12:
                SetChildren();
                break;
            case 13:
            case 14:
                InsertOrRemoveChild();
                break;
            default:
                Get();
                break;
        }
    }

    // The image is the model's, byte for byte; every role reads it back; and the run goes on with a container that was
    // loaded from it, as a copy, as a view, or not at all.
    void RoundTrip()
    {
        const Bytes vecImage = ImageOf(*m_pContainer);
        ASSERT_TRUE(SameBytes(m_model.Image(), vecImage));
        for (const int bCopy : {0, 1})
        {
            const MisalignedBlock image(vecImage, m_random.Below(16));
            VOTSAssetNodeContainer customer(LUMTrayService::AR_Customer);
            ASSERT_NE(0, customer.SetAlloc(image.As<ContainerImage>(), bCopy, vecImage.size()));
            ExpectSame(customer, m_model);
            ExpectFinds(customer, 20);
        }
        const size_t uForm = m_random.Below(3);
        if (uForm < 2)
        {
            std::unique_ptr<VOTSAssetNodeContainer> pLoaded = NewProvider();
            std::unique_ptr<MisalignedBlock> pImage = std::make_unique<MisalignedBlock>(vecImage, m_random.Below(16));
            ASSERT_NE(0, pLoaded->SetAlloc(pImage->As<ContainerImage>(), static_cast<int>(uForm)));
            ExpectSame(*pLoaded, m_model);
            m_pContainer = std::move(pLoaded);
            // A copy needs the image no longer.
            m_pImage = uForm == 1 ? nullptr : std::move(pImage);
        }
    }

    VOTSAssetNodeContainer& Container() { return *m_pContainer; }
    const ModelContainer& Model() const { return m_model; }

    // Whether a container finds what the model finds, for some paths that are there and some that aren't.
    void ExpectFinds(const VOTSAssetNodeContainer& container, int nPaths)
    {
        for (int i = 0; i < nPaths; ++i)
        {
            const VOWString strPath = SomePath();
            ASSERT_EQ(m_model.Find(strPath), FoundID(container, strPath.c_str())) << votest::Shown(strPath);
        }
    }

private:
    static std::unique_ptr<VOTSAssetNodeContainer> NewProvider()
    {
        return std::make_unique<VOTSAssetNodeContainer>(LUMTrayService::AR_Provider, kpszRoot, VOTEXT("Name"));
    }

    // Few enough that paths, names and keys meet each other; sometimes absolute, sometimes outside the root.
    VOWString SomePath()
    {
        static const VOWCHAR* const s_apszPart[] = {VOTEXT("a"),      VOTEXT("B"),     VOTEXT("dir"),
                                                    VOTEXT("Dir.x"),  VOTEXT("f.txt"), VOTEXT("F.TXT"),
                                                    VOTEXT("\x4E2D"), VOTEXT("\x00C4")};
        VOWString strPath;
        const size_t uParts = 1 + m_random.Below(3);
        for (size_t i = 0; i < uParts; ++i)
        {
            strPath += i == 0 ? VOTEXT("") : m_random.Percent(30) ? VOTEXT("\\") : VOTEXT("/");
            strPath += s_apszPart[m_random.Below(8)];
        }
        if (m_random.Percent(30))
        {
            strPath += Wide(std::to_string(m_random.Below(40)));
        }
        if (m_random.Percent(10))
        {
            strPath = (m_random.Percent(80) ? VOTEXT("c:\\ROOT\\") : VOTEXT("D:/Root/")) + strPath;
        }
        return m_random.Percent(5) ? strPath + VOTEXT("/") : strPath;
    }

    // Mostly an id that exists, and often one of a few, so that lists grow and shrink.
    unsigned int SomeID()
    {
        const size_t uCount = m_model.vecNodes.size();
        if (uCount > 12 && m_random.Percent(60))
        {
            return static_cast<unsigned int>(m_random.Below(12));
        }
        return static_cast<unsigned int>(m_random.Below(uCount + (m_random.Percent(5) ? 2 : 0) + (uCount == 0)));
    }
    bool Exists(unsigned int uID) const { return uID < m_model.vecNodes.size(); }

    void ExpectNode(unsigned int uID)
    {
        structAssetNode tsNode;
        ASSERT_EQ(Exists(uID), m_pContainer->GetAssetNode(uID, tsNode) != 0);
        if (Exists(uID))
        {
            ASSERT_TRUE(SameBytes(m_model.vecNodes[uID].Node(), BytesOf(tsNode))) << "node " << uID;
        }
    }

    void Request()
    {
        const VOWString strPath = SomePath();
        unsigned int uID = kNone;
        bool bWasThere = false;
        const bool bExpected = m_model.Request(strPath, uID, bWasThere);
        structAssetNode tsNode;
        int bInserted = 7;
        ASSERT_EQ(bExpected, m_pContainer->RequestAssetNode(strPath.c_str(), tsNode, bInserted) != 0);
        if (bExpected)
        {
            ASSERT_EQ(uID, tsNode.nAssetID) << votest::Shown(strPath);
            ASSERT_EQ(bWasThere ? 1 : 0, bInserted);
            ASSERT_TRUE(SameBytes(m_model.vecNodes[uID].Node(), BytesOf(tsNode)));
            if (!bWasThere && m_random.Percent(40))
            {
                m_model.vecNodes[uID].bFolder = 1;
                ASSERT_NE(0, m_pContainer->SetAssetNodeFolder(uID, 1));
            }
        }
    }

    void Find()
    {
        const VOWString strPath = SomePath();
        ASSERT_EQ(m_model.Find(strPath), FoundID(*m_pContainer, strPath.c_str())) << votest::Shown(strPath);
    }

    void RemoveByPath()
    {
        const VOWString strPath = SomePath();
        const unsigned int uID = m_model.Find(strPath);
        const bool bExpected = uID != kNone && m_model.Remove(uID);
        ASSERT_EQ(bExpected, m_pContainer->RemoveAssetNode(strPath.c_str()) != 0) << votest::Shown(strPath);
    }

    void RemoveByID()
    {
        const unsigned int uID = SomeID();
        const bool bExpected = m_model.Remove(uID);
        ASSERT_EQ(bExpected, m_pContainer->RemoveAssetNode(uID) != 0) << uID;
    }

    void Redirect()
    {
        const unsigned int uID = SomeID();
        const VOWString strPath = SomePath();
        const bool bExpected = m_model.Redirect(uID, strPath);
        ASSERT_EQ(bExpected, m_pContainer->RedirectAssetNode(uID, strPath.c_str()) != 0) << votest::Shown(strPath);
    }

    void SetWords()
    {
        const unsigned int uID = SomeID();
        const unsigned int uWord = m_random.Word();
        ASSERT_EQ(Exists(uID), m_pContainer->SetAssetNodeAssetMergeSign(uID, uWord) != 0);
        ASSERT_EQ(Exists(uID), m_pContainer->SetAssetNodeAssetFrom(
                                   uID, static_cast<LUMTrayService::enumAssetFrom>(uWord % 10)) != 0);
        ASSERT_EQ(Exists(uID), m_pContainer->SetAssetNodeFileAttribute(uID, uWord * 7ull, -1ll * uWord, uWord + 1ll,
                                                                       uWord + 2ll, ~uWord) != 0);
        if (Exists(uID))
        {
            ModelNode& node = m_model.vecNodes[uID];
            node.uMerge = uWord;
            node.uFrom = uWord % 10;
            node.ullSize = uWord * 7ull;
            node.ullCreate = static_cast<unsigned long long>(-1ll * uWord);
            node.ullAccess = uWord + 1ull;
            node.ullWrite = uWord + 2ull;
            node.uAttribute = ~uWord;
        }
        ExpectNode(uID);
    }

    void SetNames()
    {
        const unsigned int uID = SomeID();
        const VOWString strDir = m_random.Percent(70) ? SomePath() : VOWString();
        const VOWString strBase = m_random.Percent(90) ? SomePath() : VOWString();
        const VOWString strExt = m_random.Percent(50) ? SomePath() : VOWString();
        ASSERT_EQ(Exists(uID), m_pContainer->SetAssetNodeStripPath(
                                   uID, strDir.empty() && m_random.Percent(50) ? nullptr : strDir.c_str(),
                                   strBase.c_str(), strExt.c_str()) != 0);
        if (Exists(uID))
        {
            m_model.SetNames(uID, strDir, strBase, strExt);
        }
        ExpectNode(uID);
    }

    void SetTexts()
    {
        const unsigned int uID = SomeID();
        const VOWString strText = SomePath();
        ASSERT_EQ(Exists(uID), m_pContainer->SetAssetNodePhysicsPath(uID, strText.c_str()) != 0);
        ASSERT_EQ(Exists(uID), m_pContainer->SetAssetNodeClassifyType(uID, -3, VOTEXT("type name")) != 0);
        if (Exists(uID))
        {
            m_model.vecNodes[uID].ullPhysics = m_model.strings.Insert(strText);
            m_model.vecNodes[uID].nType = -3;
            m_model.vecNodes[uID].ullTypeName = m_model.strings.Insert(VOTEXT("type name"));
        }
        ExpectNode(uID);
    }

    void SetParent()
    {
        const unsigned int uID = SomeID();
        const unsigned int uParent = SomeID();
        if (Exists(uParent))
        {
            ASSERT_EQ(Exists(uID), m_pContainer->SetAssetNodeParentIndex(uID, uParent) != 0);
            if (Exists(uID))
            {
                m_model.vecNodes[uID].uParent = uParent;
            }
        }
    }

    void SetChildren()
    {
        const unsigned int uID = SomeID();
        IDs vecChildren;
        for (size_t i = m_random.Below(5); i > 0; --i)
        {
            const unsigned int uChild = SomeID();
            if (Exists(uChild))
            {
                vecChildren.push_back(uChild);
            }
        }
        ASSERT_EQ(Exists(uID), m_pContainer->SetAssetNodeChildIndex(uID, vecChildren) != 0);
        if (Exists(uID))
        {
            m_model.SetChildren(uID, vecChildren);
        }
        ExpectNode(uID);
    }

    void InsertOrRemoveChild()
    {
        const unsigned int uID = SomeID();
        const unsigned int uChild = SomeID();
        const bool bInsert = m_random.Percent(65);
        const bool bBoth = Exists(uID) && Exists(uChild);
        const bool bExpected = bBoth && (bInsert ? m_model.InsertChild(uID, uChild) : m_model.RemoveChild(uID, uChild));
        const int nResult = bInsert ? m_pContainer->InsertAssetNodeChildIndex(uID, uChild)
                                    : m_pContainer->RemoveAssetNodeChildIndex(uID, uChild);
        ASSERT_EQ(bExpected, nResult != 0);
        ExpectNode(uID);
        if (bBoth)
        {
            for (const unsigned int uInfo : {m_model.vecNodes[uID].uFiles, m_model.vecNodes[uID].uFolders})
            {
                ASSERT_EQ(uInfo == kNone ? IDs() : m_model.numbers.List(uInfo), ListOf(*m_pContainer, uInfo));
            }
        }
    }

    void Get()
    {
        const unsigned int uID = SomeID();
        ExpectNode(uID);
        ASSERT_EQ(m_model.vecNodes.size(), m_pContainer->GetAssetNodeCount());
    }

    Random m_random;
    ModelContainer m_model;
    std::unique_ptr<MisalignedBlock> m_pImage;  // what the container may be looking at: it goes after it
    std::unique_ptr<VOTSAssetNodeContainer> m_pContainer;
};

}  // namespace assettest
