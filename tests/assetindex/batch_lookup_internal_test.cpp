// Many lookups at once against one after the other, on every kind of container: answers, nodes byte by byte, log lines.
#include "assetindex/asset_base.h"
#include "assetindex/image_checks.h"
#include "support/colliding_texts.h"

namespace
{

using namespace assettest;
using LUMTrayService::AR_Customer;
using LUMTrayService::AR_Provider;

// Paths that are there, in the form in which they were entered.
std::vector<VOWString> SomeTree()
{
    std::vector<VOWString> vecPath;
    for (unsigned int i = 0; i < 300; ++i)
    {
        vecPath.push_back(VOTEXT("Area") + Wide(std::to_string(i % 7)) + VOTEXT("/Some folder/") +
                          VOWString(i % 90, VOWCHAR{'x'}) + VOTEXT("_") + Wide(std::to_string(i)) + VOTEXT(".Ext"));
    }
    for (unsigned int i = 0; i < 20; ++i)
    {
        vecPath.push_back(VOTEXT("\x4E2D\x6587/\x00C4") + VOWString(i, VOWCHAR{0x0100}) + VOTEXT(".png"));
    }
    for (size_t uGroup = 0; uGroup < votest::CollidingTexts().size(); ++uGroup)
    {
        // Up to three of the four texts, so that a first hash has one node, two, or more than it has room for.
        for (size_t i = 0; i < uGroup % 4; ++i)
        {
            vecPath.push_back(votest::CollidingGroup(uGroup)[i]);
        }
    }
    for (const size_t uLength : {1, 7, 8, 9, 15, 16, 17, 31, 32, 33, 254, 255, 256, 257, 258, 259})
    {
        vecPath.push_back(VOWString(uLength, VOWCHAR{'q'}));
    }
    return vecPath;
}

// The same nodes in a Provider, in a view of its image and in a view of its base.
class Containers
{
public:
    Containers()
    {
        for (const VOWString& strPath : m_vecPath)
        {
            // The third of those with one first hash is taken for the second one.
            structAssetNode tsNode;
            int bInserted = 0;
            EXPECT_NE(0, m_provider.RequestAssetNode(strPath.c_str(), tsNode, bInserted));
        }
        // Some are gone, and the index leads to others that are removed.
        const LogCapture log;
        for (unsigned int uID = 5; uID < 200; uID += 20)
        {
            EXPECT_NE(0, m_provider.RemoveAssetNode(uID));
            EXPECT_NE(0, m_provider.RemoveAssetNode(uID + 1));
            EXPECT_NE(0, m_provider.RedirectAssetNode(uID + 1, m_vecPath[uID + 1].c_str()));
        }
        m_image = std::make_unique<MisalignedBlock>(ImageOf(m_provider), 3);
        EXPECT_NE(0, m_onImage.SetAlloc(m_image->As<ContainerImage>(), 0));
        VOAssetBaseWriter writer(m_provider);
        m_vecBase.resize(writer.BaseSize());
        writer.WriteBase(m_vecBase.data(), 1, 1);
        EXPECT_TRUE(m_base.Take(m_vecBase.data(), m_vecBase.size()));
        EXPECT_NE(0, m_onBase.SetBase(m_base));
    }

    std::vector<const VOTSAssetNodeContainer*> All() const { return {&m_provider, &m_onImage, &m_onBase}; }
    const std::vector<VOWString>& Paths() const { return m_vecPath; }
    const VOTSAssetNodeContainer& OnBase() const { return m_onBase; }

private:
    std::vector<VOWString> m_vecPath = SomeTree();
    VOTSAssetNodeContainer m_provider{AR_Provider, kpszRoot, VOTEXT("Name")};
    VOTSAssetNodeContainer m_onImage{AR_Customer};
    VOTSAssetNodeContainer m_onBase{AR_Customer};
    VOAssetBase m_base;
    Bytes m_vecBase;
    std::unique_ptr<MisalignedBlock> m_image;
};

// A path as somebody asks for it, mostly one that is there; null now and then, and at any address.
class Asked
{
public:
    Asked(Random& random, const std::vector<VOWString>& vecPath)
    {
        if (random.Percent(4))
        {
            return;
        }
        VOWString strPath = vecPath[random.Below(vecPath.size())];
        for (VOWCHAR& ch : strPath)
        {
            const bool bLetter = (ch >= 'a' && ch <= 'z') || (ch >= 'A' && ch <= 'Z');
            ch = static_cast<VOWCHAR>(bLetter && random.Percent(30)     ? ch ^ 0x20
                                      : ch == '/' && random.Percent(30) ? '\\'
                                                                        : ch);
        }
        switch (random.Below(16))
        {
            case 0:
                strPath[random.Below(strPath.size())] = VOWCHAR{'~'};
                break;
            case 1:
                strPath += VOWString(1 + random.Below(3), VOWCHAR{'/'});
                break;
            case 2:
                strPath = (random.Percent(70) ? VOTEXT("c:\\ROOT\\") : VOTEXT("D:/Root/")) + strPath;
                break;
            case 3:
                strPath.resize(random.Below(strPath.size() + 1));
                break;
            case 4:
                strPath += VOWString(random.Below(300), VOWCHAR{'q'});
                break;
            case 5:
                strPath += static_cast<VOWCHAR>(0x202F);
                break;
            case 6:
                strPath = VOTEXT("C:/Root");
                break;
            case 7:
                strPath = VOWString(random.Below(20), VOWCHAR{'\\'});
                break;
            case 8:
                strPath = votest::CollidingGroup(random.Below(13))[random.Below(4)];
                break;
            default:
                break;
        }
        m_pText = std::make_unique<votest::PlacedText>(strPath, random.Below(16));
    }

    const VOWCHAR* Text() const { return m_pText != nullptr ? static_cast<const VOWCHAR*>(*m_pText) : nullptr; }

private:
    std::unique_ptr<votest::PlacedText> m_pText;
};

struct Answers
{
    unsigned int uFound = 0;
    std::vector<int> vecFound;
    Bytes vecNodes;
    std::vector<votest::LogEntry> vecLog;
};

// Nodes that weren't written keep these bytes.
std::vector<structAssetNode> Marked(size_t uCount)
{
    std::vector<structAssetNode> vecNode(uCount + 1);
    memset(static_cast<void*>(vecNode.data()), 0xA5, vecNode.size() * sizeof(structAssetNode));
    return vecNode;
}

Answers OneByOne(const VOTSAssetNodeContainer& container, const std::vector<const VOWCHAR*>& vecText)
{
    const LogCapture log;
    Answers answers;
    std::vector<structAssetNode> vecNode = Marked(vecText.size());
    for (size_t i = 0; i < vecText.size(); ++i)
    {
        answers.vecFound.push_back(container.FindAssetNode(vecText[i], vecNode[i]));
        answers.uFound += answers.vecFound.back() != 0;
    }
    answers.vecNodes = votest::CopyBytes(vecNode.data(), vecNode.size() * sizeof(structAssetNode));
    answers.vecLog = log.Entries();
    return answers;
}

Answers AtOnce(const VOTSAssetNodeContainer& container, const std::vector<const VOWCHAR*>& vecText)
{
    const LogCapture log;
    Answers answers;
    std::vector<structAssetNode> vecNode = Marked(vecText.size());
    answers.vecFound.assign(vecText.size() + 1, 77);
    answers.uFound = container.FindAssetNodes(vecText.data(), static_cast<unsigned int>(vecText.size()), vecNode.data(),
                                              answers.vecFound.data());
    EXPECT_EQ(77, answers.vecFound.back());
    answers.vecFound.pop_back();
    answers.vecNodes = votest::CopyBytes(vecNode.data(), vecNode.size() * sizeof(structAssetNode));
    answers.vecLog = log.Entries();
    return answers;
}

TEST(BatchLookup, ManyPathsAtOnceGiveWhatTheyGiveOneByOne)
{
    Random random(52017);
    const Containers containers;
    size_t uFound = 0;
    size_t uMissed = 0;
    size_t uLogged = 0;
    for (size_t uRound = 0; uRound < 300; ++uRound)
    {
        const size_t uCount = uRound < 102 ? uRound : uRound == 102 ? 1000 : random.Below(60);
        std::vector<Asked> vecAsked;
        std::vector<const VOWCHAR*> vecText;
        for (size_t i = 0; i < uCount; ++i)
        {
            vecAsked.emplace_back(random, containers.Paths());
            vecText.push_back(i > 0 && random.Percent(5) ? vecText[random.Below(i)] : vecAsked.back().Text());
        }
        for (const VOTSAssetNodeContainer* const pContainer : containers.All())
        {
            const Answers expected = OneByOne(*pContainer, vecText);
            const Answers answers = AtOnce(*pContainer, vecText);
            ASSERT_EQ(expected.uFound, answers.uFound) << uRound;
            ASSERT_EQ(expected.vecFound, answers.vecFound) << uRound;
            ASSERT_TRUE(SameBytes(expected.vecNodes, answers.vecNodes)) << uRound;
            ASSERT_TRUE(expected.vecLog == answers.vecLog) << uRound;
            uFound += answers.uFound;
            uMissed += uCount - answers.uFound;
            uLogged += answers.vecLog.size();
        }
    }
    EXPECT_LT(5000u, uFound);
    EXPECT_LT(2000u, uMissed);
    EXPECT_LT(500u, uLogged);
}

TEST(BatchLookup, EveryRoleGivesTheSameNodes)
{
    const Containers containers;
    std::vector<const VOWCHAR*> vecText;
    for (const VOWString& strPath : containers.Paths())
    {
        vecText.push_back(strPath.c_str());
    }
    const Answers expected = OneByOne(*containers.All()[0], vecText);
    EXPECT_LT(300u, expected.uFound);
    for (const VOTSAssetNodeContainer* const pContainer : containers.All())
    {
        const Answers answers = AtOnce(*pContainer, vecText);
        EXPECT_EQ(expected.vecFound, answers.vecFound);
        EXPECT_TRUE(SameBytes(expected.vecNodes, answers.vecNodes));
    }
}

TEST(BatchLookup, AnAbsolutePathAndALongOneAndAWideOneAreFoundAmongOthers)
{
    const Containers containers;
    const VOWString strLong(259, VOWCHAR{'q'});
    const VOWString strCut(400, VOWCHAR{'Q'});
    const std::vector<const VOWCHAR*> vecText = {VOTEXT("c:\\root\\QQQQQQQ"),        strLong.c_str(), strCut.c_str(),
                                                 VOTEXT("\x4E2D\x6587\\\x00C4.PNG"), VOTEXT("none"),  VOTEXT("q//")};
    for (const VOTSAssetNodeContainer* const pContainer : containers.All())
    {
        EXPECT_THAT(AtOnce(*pContainer, vecText).vecFound, ElementsAre(1, 1, 1, 1, 0, 1));
    }
}

TEST(BatchLookup, ANullArrayGives0AndALogLineAndAllFlags0)
{
    const Containers containers;
    const VOWCHAR* const apszPath[2] = {VOTEXT("q"), VOTEXT("q")};
    for (const VOTSAssetNodeContainer* const pContainer : containers.All())
    {
        structAssetNode aNode[2];
        int abFound[2] = {7, 7};
        const LogCapture log;
        EXPECT_EQ(0u, pContainer->FindAssetNodes(nullptr, 2, aNode, abFound));
        EXPECT_EQ(0, abFound[0] + abFound[1]);
        abFound[0] = abFound[1] = 7;
        EXPECT_EQ(0u, pContainer->FindAssetNodes(apszPath, 2, nullptr, abFound));
        EXPECT_EQ(0, abFound[0] + abFound[1]);
        EXPECT_EQ(0u, pContainer->FindAssetNodes(apszPath, 2, aNode, nullptr));
        EXPECT_THAT(log.Lines(), ElementsAre(ProcessError("ppszPath", kClass + "FindAssetNodes"),
                                             ProcessError("ptsNode", kClass + "FindAssetNodes"),
                                             ProcessError("pbFound", kClass + "FindAssetNodes")));
    }
}

TEST(BatchLookup, NoPathsNeedNoArraysAndLogNothing)
{
    const Containers containers;
    const LogCapture log;
    for (const VOTSAssetNodeContainer* const pContainer : containers.All())
    {
        EXPECT_EQ(0u, pContainer->FindAssetNodes(nullptr, 0, nullptr, nullptr));
    }
    EXPECT_EQ(0u, log.Count());
}

TEST(BatchLookup, AContainerWithoutARoleAndAnEmptyOneFindNothing)
{
    const LogCapture log;
    const VOTSAssetNodeContainer none(static_cast<LUMTrayService::enumAssetRole>(9));
    const VOTSAssetNodeContainer empty(AR_Customer);
    const std::vector<const VOWCHAR*> vecText(20, VOTEXT("a"));
    for (const VOTSAssetNodeContainer* const pContainer : {&none, &empty})
    {
        const Answers answers = AtOnce(*pContainer, vecText);
        EXPECT_EQ(0u, answers.uFound);
        EXPECT_EQ(std::vector<int>(20, 0), answers.vecFound);
        EXPECT_THAT(answers.vecLog, IsEmpty());
    }
}

}  // namespace
