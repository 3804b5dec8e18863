// Searches over whole trees and parts of them, in sound images and in damaged ones.
#include "mapping/search_check.h"

namespace
{
using namespace mappingtest;

// Names that meet each other: in other case, in other scripts, beyond 16 bits, and letters whose lower case is ASCII.
const VOWString kaNames[] = {VOTEXT("a"),
                             VOTEXT("A"),
                             VOTEXT("stone"),
                             VOTEXT("stone stone Stone"),
                             VOTEXT("Stone_12"),
                             VOTEXT("STONEBRIDGE"),
                             VOTEXT("x y-z'"),
                             VOTEXT("\x00C4pfel"),
                             VOTEXT("\x00E4PFEL"),
                             VOTEXT("\x4E2D\x6587"),
                             VOTEXT("\x0416\x0436_\x0413"),
                             VOTEXT("\x212A"
                                    "elvin"),
                             VOTEXT("k\x0130"),
                             VOTEXT("CAPITALS\x0130"),
                             VOTEXT("\xD83D\xDE00smile"),
                             VOTEXT("lone\xDC41"),
                             VOTEXT("\xFFFF\x0001"),
                             VOWString(99, VOTEXT('n')),
                             VOWString(120, VOTEXT('N')) + VOTEXT("end"),
                             VOWString(259, VOTEXT('w')),
                             VOWString(260, VOTEXT('w')) + VOTEXT("q"),
                             VOWString(700, VOTEXT('\x0416')) + VOTEXT("far")};
const VOWString kaExtensions[] = {VOTEXT("png"), VOTEXT("PNG"),          VOTEXT("tga"),
                                  VOTEXT("ab"),  VOTEXT("\x00C4\x4E2D"), VOWString(110, VOTEXT('e'))};

class RandomTree
{
public:
    explicit RandomTree(Random& random) : m_random(random)
    {
        m_model.strRoot = VOTEXT("C:/Root");
        Add(kNone, true);
        for (size_t uNodes = random.Below(120); uNodes > 0; --uNodes)
        {
            const unsigned int uParent = m_vecFolders[random.Below(m_vecFolders.size())];
            Add(random.Percent(3) ? kNone : uParent, random.Percent(30));
        }
        for (size_t uRemoved = random.Below(6); uRemoved > 0; --uRemoved)
        {
            const unsigned int uID = 1 + static_cast<unsigned int>(random.Below(m_model.vecNodes.size()));
            (void)m_model.Remove(uID);
        }
    }

    ModelContainer& Model() { return m_model; }

private:
    void Add(unsigned int uParent, bool bFolder)
    {
        const unsigned int uID =
            m_model.Add(VOTEXT("key") + Wide(std::to_string(m_model.vecNodes.size())), bFolder, uParent);
        ModelNode& node = m_model.vecNodes[uID];
        node.ullBaseName = SomeText(kaNames, node.ullKey);
        node.ullExtension = bFolder && m_random.Percent(90) ? kInvalid : SomeText(kaExtensions, node.ullKey);
        if (bFolder && uParent != kNone)
        {
            m_vecFolders.push_back(uID);
        }
        m_vecFolders.resize(std::max<size_t>(m_vecFolders.size(), 1));
    }

    // Mostly one of the texts; none, a key that has no text, the empty text, a number that is no handle.
    template <size_t N>
    unsigned long long SomeText(const VOWString (&aTexts)[N], unsigned long long ullKey)
    {
        switch (m_random.Below(25))
        {
            case 0:
                return kInvalid;
            case 1:
                return ullKey;
            case 2:
                return m_model.strings.Insert(VOWString());
            case 3:
                return m_random.Word();
            default:
                return m_model.strings.Insert(aTexts[m_random.Below(N)]);
        }
    }

    Random& m_random;
    ModelContainer m_model;
    std::vector<unsigned int> m_vecFolders;
};

std::vector<VOWString> AllTexts()
{
    std::vector<VOWString> vecTexts(std::begin(kaNames), std::end(kaNames));
    vecTexts.insert(vecTexts.end(), std::begin(kaExtensions), std::end(kaExtensions));
    return vecTexts;
}

// Asks about a model's image. Gives how many nodes were found in all; nothing more is asked after a wrong answer.
size_t AskAbout(ModelContainer& model, Random& random, int nQuestions)
{
    const Bytes bytes = model.Image();
    const MisalignedBlock image(bytes, random.Below(16));
    SearchedInspector inspector;
    if (inspector.Container().SetAlloc(image.As<ContainerImage>(), 0, bytes.size()) == 0)
    {
        return 0;
    }
    QuestionMaker maker(random, AllTexts());
    size_t uFound = 0;
    for (int nQuestion = 0; nQuestion < nQuestions && !testing::Test::HasFailure(); ++nQuestion)
    {
        const SearchQuestion question = maker.Make(static_cast<unsigned int>(model.vecNodes.size()));
        EXPECT_TRUE(SearchesAsAWalk(inspector, question));
        uFound += inspector.Expected(question).vecCalls.size();
    }
    return uFound;
}

TEST(InspectorSearch, FindsInRandomTreesWhatAWalkFinds)
{
    Random random(11);
    QuietLoop quiet;
    size_t uFound = 0;
    for (int nTree = 0; nTree < 120 && !HasFailure(); ++nTree)
    {
        SCOPED_TRACE(nTree);
        quiet.Next();
        RandomTree tree(random);
        uFound += AskAbout(tree.Model(), random, 25);
    }
    EXPECT_LT(2000u, uFound);
}

// Ids, lists, parents and texts that lie: shared lists, cycles, lists that run into each other, numbers that are none.
void Damage(ModelContainer& model, Random& random)
{
    const auto lie = [&](unsigned int uValue)
    {
        const unsigned int aLies[] = {static_cast<unsigned int>(random.Below(model.vecNodes.size() + 2)), random.Word(),
                                      kNone, kNone - 1, uValue};
        return aLies[random.Below(std::size(aLies))];
    };
    for (size_t uLies = 1 + random.Below(3); uLies > 0; --uLies)
    {
        ModelNode& node = model.vecNodes[random.Below(model.vecNodes.size())];
        const ModelNode& other = model.vecNodes[random.Below(model.vecNodes.size())];
        switch (random.Below(9))
        {
            case 0:
                node.uParent = lie(node.uParent);
                break;
            case 1:
                node.uFiles = lie(node.uFiles);
                break;
            case 2:
                node.uFolders = lie(node.uFolders);
                break;
            case 3:
                node.uFiles = other.uFiles;
                break;
            case 4:
                node.uFolders = other.uFolders;
                break;
            case 5:
                node.uID = lie(node.uID);
                break;
            case 6:
                (random.Percent(50) ? node.ullBaseName : node.ullExtension) = lie(3);
                break;
            case 7:
                node.bFolder = static_cast<int>(random.Below(3));
                break;
            default:
                if (!model.numbers.vecNumbers.empty())
                {
                    unsigned int& ruNumber = model.numbers.vecNumbers[random.Below(model.numbers.vecNumbers.size())];
                    ruNumber = lie(ruNumber);
                }
                break;
        }
    }
}

TEST(InspectorSearch, FindsInDamagedTreesWhatAWalkFinds)
{
    Random random(12);
    QuietLoop quiet;
    size_t uFound = 0;
    for (int nTree = 0; nTree < 120 && !HasFailure(); ++nTree)
    {
        SCOPED_TRACE(nTree);
        quiet.Next();
        RandomTree tree(random);
        Damage(tree.Model(), random);
        uFound += AskAbout(tree.Model(), random, 12);
    }
    EXPECT_LT(400u, uFound);
}

TEST(InspectorSearch, ATextUnderManyNodesIsSearchedInEach)
{
    // More bytes of names than an index takes.
    ModelContainer model;
    model.Add(VOTEXT("top"), true, kNone);
    const unsigned long long ullLong = model.strings.Insert(VOWString(250, VOTEXT('\x4E2D')));
    std::vector<unsigned int> vecFiles;
    for (unsigned int uFile = 0; uFile < 3000; ++uFile)
    {
        vecFiles.push_back(model.Add(VOTEXT("top/f") + Wide(std::to_string(uFile)), false, kNone));
        model.vecNodes.back().uParent = 0;
        model.vecNodes.back().ullBaseName = ullLong;
    }
    model.SetChildren(0, vecFiles);
    const Bytes bytes = model.Image();
    const MisalignedBlock image(bytes, 0);
    SearchedInspector inspector;
    ASSERT_NE(0, inspector.Container().SetAlloc(image.As<ContainerImage>(), 0, bytes.size()));
    SearchQuestion question;
    question.strText = VOTEXT("\x4E2D\x4E2D");
    EXPECT_EQ(3000u, inspector.Search(question).vecCalls.size());
    EXPECT_TRUE(SearchesAsAWalk(inspector, question));
}

TEST(InspectorSearch, AnotherImageIsSearchedAnew)
{
    ModelContainer model = SourceModel();
    const Bytes first = model.Image();
    model.SetNames(1, VOWString(), VOTEXT("other"), VOTEXT("gif"));
    const Bytes second = model.Image();
    const MisalignedBlock firstImage(first, 0);
    const MisalignedBlock secondImage(second, 0);
    SearchedInspector inspector;
    SearchQuestion name;
    name.strText = VOTEXT("other");
    SearchQuestion extension;
    extension.bExtension = true;
    extension.strText = VOTEXT("gif");
    for (const size_t uExpected : {size_t{0}, size_t{1}, size_t{0}})
    {
        const MisalignedBlock& image = uExpected == 0 ? firstImage : secondImage;
        ASSERT_NE(0, inspector.Container().SetAlloc(image.As<ContainerImage>(), 0));
        EXPECT_EQ(uExpected, inspector.Search(name).vecCalls.size());
        EXPECT_EQ(uExpected, inspector.Search(extension).vecCalls.size());
    }
    inspector.Container().CleanUp();
    EXPECT_TRUE(SearchesAsAWalk(inspector, name));
}

TEST(InspectorSearch, ACallbackMaySearchToo)
{
    struct Inner
    {
        const SearchedInspector* pInspector;
        size_t uFound;
        static int Count(const structAssetNode&, void* pvInner, int&)
        {
            ++static_cast<Inner*>(pvInner)->uFound;
            return 0;
        }
        static int Visit(const structAssetNode&, void* pvInner, int&)
        {
            const Inner& inner = *static_cast<Inner*>(pvInner);
            return inner.pInspector->TraverseAssetNode_FileName(0, VOTEXT("ab"), 0, 3, 1, &Count, pvInner);
        }
    };
    const Bytes bytes = SourceModel().Image();
    const MisalignedBlock image(bytes, 0);
    SearchedInspector inspector;
    ASSERT_NE(0, inspector.Container().SetAlloc(image.As<ContainerImage>(), 0));
    Inner inner{&inspector, 0};
    EXPECT_EQ(1, inspector.TraverseAssetNode_FileName(0, VOTEXT("ab"), 0, 3, 1, &Inner::Visit, &inner));
    EXPECT_EQ(9u, inner.uFound);
}

}  // namespace
