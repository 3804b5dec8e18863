// Thousands of random operations on VOStringHashSet against the model, in both roles, with many colliding texts.
#include <algorithm>
#include <string>
#include <vector>

#include "support/colliding_texts.h"
#include "support/opened_containers.h"
#include "support/random.h"
#include "support/string_set_model.h"
#include "support/text.h"

using namespace votest;

namespace
{
// Ordinary texts, all colliding groups, and twins. Few enough that every state of a record comes up.
std::vector<VOWString> AllTexts(Random& rRandom)
{
    std::vector<VOWString> vecText = {VOWString()};
    for (int i = 0; i < 120; ++i)
    {
        VOWString strText;
        for (size_t uLeft = 1 + rRandom.Below(12); uLeft > 0; --uLeft)
        {
            strText.push_back(
                static_cast<VOWCHAR>(rRandom.Percent(80) ? 'a' + rRandom.Below(26) : 1 + rRandom.Below(0xFFFF)));
        }
        vecText.push_back(strText);
    }
    for (size_t uGroup = 0; uGroup < CollidingTexts().size(); ++uGroup)
    {
        for (const VOWString& rkText : CollidingGroup(uGroup))
        {
            vecText.push_back(rkText);
        }
    }
    for (const auto& rkPair : TwinTexts())
    {
        vecText.push_back(Wide(rkPair[0]));
        vecText.push_back(Wide(rkPair[1]));
    }
    return vecText;
}

// Often the text of the step before, or one beside it in the list: colliding texts and twins stand side by side.
size_t NextText(size_t uLast, size_t uTexts, Random& rRandom)
{
    if (rRandom.Percent(40))
    {
        return rRandom.Percent(60) ? uLast : (uLast + uTexts + rRandom.Below(3) - 1) % uTexts;
    }
    return rRandom.Below(uTexts);
}

// One operation on set and model; both have to give the same.
void Step(VOStringHashSet& rkSet, StringSetModel& rkModel, const VOWString& strText, Random& rRandom)
{
    const PlacedText kText(strText, rRandom.Below(16));
    int bExist = 4711;
    bool bModelExist = false;
    switch (rRandom.Below(10))
    {
        case 0:
        case 1:
        case 2:
            ASSERT_EQ(rkModel.Insert(strText, bModelExist), Number(rkSet.Insert(kText, &bExist))) << Shown(strText);
            ASSERT_EQ(bModelExist ? 1 : 4711, bExist) << Shown(strText);
            break;
        case 3:
        case 4:
            ASSERT_EQ(rkModel.InsertKey(strText, bModelExist), Number(rkSet.InsertKey(kText, &bExist)))
                << Shown(strText);
            ASSERT_EQ(bModelExist ? 1 : 4711, bExist) << Shown(strText);
            break;
        case 5:
        case 6:
        {
            const uint64_t ullHandle = rRandom.Percent(5) ? rRandom.Below(400) : rkModel.Find(strText);
            ASSERT_EQ(rkModel.Remove(ullHandle) ? 1 : 0, rkSet.Remove(Handle(ullHandle)));
            break;
        }
        case 7:
            if (rRandom.Below(40) == 0)
            {
                ASSERT_EQ(1, rkSet.ShrinkToFit());
            }
            break;
        default:
            ASSERT_EQ(rkModel.Find(strText), Number(rkSet.Find(kText))) << Shown(strText);
    }
}

void RunOperations(uint64_t ullSeed, VOStringHashSet::StringHashMode eMode, int nSteps)
{
    SCOPED_TRACE(testing::Message() << "seed " << ullSeed);
    Random kRandom(ullSeed);
    const std::vector<VOWString> vecText = AllTexts(kRandom);
    VOStringHashSet kSet(VOStringHashSet::SHR_Provider, eMode);
    StringSetModel kModel(eMode == VOStringHashSet::SHM_HashAndString);
    size_t uText = 0;
    for (int i = 0; i < nSteps; ++i)
    {
        uText = NextText(uText, vecText.size(), kRandom);
        Step(kSet, kModel, vecText[uText], kRandom);
        if (testing::Test::HasFatalFailure())
        {
            return;
        }
        if (i % 500 == 499)
        {
            ExpectSame(kModel, kSet, false, vecText);
            const Bytes vecImage = ImageOf(kSet);
            ASSERT_TRUE(SameBytes(kModel.Image(), vecImage));
            for (const int bCopy : {0, 1})
            {
                const MisalignedBlock kImage(vecImage, kRandom.Below(16));
                VOStringHashSet kReader(VOStringHashSet::SHR_Customer, eMode);
                ASSERT_EQ(1, Set(kReader, kImage, bCopy));
                ExpectSame(kModel, kReader, true, vecText);
                VOStringHashSet kWriter(VOStringHashSet::SHR_Provider, eMode);
                ASSERT_EQ(1, Set(kWriter, kImage, bCopy));
                ExpectSame(kModel, kWriter, false, vecText);
            }
        }
        if (kRandom.Below(3000) == 0)
        {
            ASSERT_EQ(1, kSet.CleanUp());
            kModel.CleanUp();
        }
    }
}
}  // namespace

TEST(StringHashSetRandom, AnswersAsTheModelWhenItKeepsTexts)
{
    for (uint64_t ullSeed = 1; ullSeed <= 4; ++ullSeed)
    {
        ASSERT_NO_FATAL_FAILURE(RunOperations(ullSeed, VOStringHashSet::SHM_HashAndString, 5000));
    }
}

TEST(StringHashSetRandom, AnswersAsTheModelWhenItKeepsHashesOnly)
{
    for (uint64_t ullSeed = 11; ullSeed <= 12; ++ullSeed)
    {
        ASSERT_NO_FATAL_FAILURE(RunOperations(ullSeed, VOStringHashSet::SHM_HashOnly, 5000));
    }
}

TEST(StringHashSetRandom, AProviderThatIsReloadedFromItsImageAgainAndAgainAnswersAsTheModel)
{
    for (const int bCopy : {0, 1})
    {
        Random kRandom(static_cast<uint64_t>(21 + bCopy));
        const std::vector<VOWString> vecText = AllTexts(kRandom);
        StringSetModel kModel;
        Bytes vecImage = kModel.Image();
        for (int nRound = 0; nRound < 60; ++nRound)
        {
            const MisalignedBlock kImage(vecImage, kRandom.Below(16));
            VOStringHashSet kSet;
            ASSERT_EQ(1, Set(kSet, kImage, bCopy));
            size_t uText = 0;
            for (int i = 0; i < 100; ++i)
            {
                uText = NextText(uText, vecText.size(), kRandom);
                Step(kSet, kModel, vecText[uText], kRandom);
                ASSERT_FALSE(HasFatalFailure()) << "round " << nRound;
            }
            ExpectSame(kModel, kSet, false, vecText);
            vecImage = ImageOf(kSet);
            ASSERT_TRUE(SameBytes(kModel.Image(), vecImage)) << "round " << nRound;
        }
    }
}

TEST(StringHashSetRandom, AWalkSeesTheKeysThatAreInsertedAheadOfIt)
{
    // The position is a key in a sorted map: what is entered behind the current key is still visited.
    Random kRandom(31);
    const std::vector<VOWString> vecText = AllTexts(kRandom);
    VOStringHashSet kSet;
    StringSetModel kModel;
    bool bExist = false;
    for (size_t i = 0; i < 60; ++i)
    {
        kSet.Insert(vecText[i].c_str());
        kModel.Insert(vecText[i], bExist);
    }
    VOStringHashSet::Iterator kIterator;
    ASSERT_EQ(1, kSet.GetFirst(kIterator));
    for (size_t i = 60; i < 100; ++i)
    {
        const uint64_t ullCurrent = Number(kIterator.hString);
        kSet.Insert(vecText[i].c_str());
        kModel.Insert(vecText[i], bExist);
        const std::vector<uint64_t> vecWalk = kModel.ProviderWalk();
        const auto itCurrent = std::find(vecWalk.begin(), vecWalk.end(), ullCurrent);
        ASSERT_NE(vecWalk.end(), itCurrent);
        if (itCurrent + 1 == vecWalk.end())
        {
            EXPECT_EQ(0, kSet.HasNext(kIterator));
            break;
        }
        ASSERT_EQ(1, kSet.HasNext(kIterator));
        ASSERT_EQ(*(itCurrent + 1), Number(kIterator.hString)) << i;
    }
}

TEST(StringHashSetRandom, TensOfThousandsOfStringsAreFoundWithTheirHandlesInBothRoles)
{
    VOStringHashSet kSet;
    std::vector<VOWString> vecText;
    for (int i = 0; i < 40000; ++i)
    {
        vecText.push_back(Wide("assets/folder_" + std::to_string(i % 97) + "/file_" + std::to_string(i) + ".dds"));
        ASSERT_EQ(static_cast<uint64_t>(i), Number(kSet.Insert(vecText.back().c_str())));
    }
    const MisalignedBlock kImage(ImageOf(kSet), 1);
    VOStringHashSet kReader(VOStringHashSet::SHR_Customer);
    ASSERT_EQ(1, Set(kReader, kImage, 0));
    ASSERT_EQ(40000u, kReader.Count());
    for (size_t i = 0; i < vecText.size(); ++i)
    {
        ASSERT_EQ(i, Number(kSet.Find(vecText[i].c_str())));
        ASSERT_EQ(i, Number(kReader.Find(vecText[i].c_str())));
        ASSERT_EQ(vecText[i], ReadText(kReader.GetString(Handle(i))));
    }
    EXPECT_EQ(40000u, WalkOf(kReader).size());
}
