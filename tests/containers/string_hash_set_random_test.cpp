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
std::vector<VOWString> AllTexts(Random& random)
{
    std::vector<VOWString> vecText = {VOWString()};
    for (int i = 0; i < 120; ++i)
    {
        VOWString strText;
        for (size_t uLeft = 1 + random.Below(12); uLeft > 0; --uLeft)
        {
            strText.push_back(
                static_cast<VOWCHAR>(random.Percent(80) ? 'a' + random.Below(26) : 1 + random.Below(0xFFFF)));
        }
        vecText.push_back(strText);
    }
    for (size_t uGroup = 0; uGroup < CollidingTexts().size(); ++uGroup)
    {
        for (const VOWString& text : CollidingGroup(uGroup))
        {
            vecText.push_back(text);
        }
    }
    for (const auto& pair : TwinTexts())
    {
        vecText.push_back(Wide(pair[0]));
        vecText.push_back(Wide(pair[1]));
    }
    return vecText;
}

// Often the text of the step before, or one beside it in the list: colliding texts and twins stand side by side.
size_t NextText(size_t uLast, size_t uTexts, Random& random)
{
    if (random.Percent(40))
    {
        return random.Percent(60) ? uLast : (uLast + uTexts + random.Below(3) - 1) % uTexts;
    }
    return random.Below(uTexts);
}

// One operation on set and model; both have to give the same.
void Step(VOStringHashSet& set, StringSetModel& model, const VOWString& strText, Random& random)
{
    const PlacedText text(strText, random.Below(16));
    int bExist = 4711;
    bool bModelExist = false;
    switch (random.Below(10))
    {
        case 0:
        case 1:
        case 2:
            ASSERT_EQ(model.Insert(strText, bModelExist), Number(set.Insert(text, &bExist))) << Shown(strText);
            ASSERT_EQ(bModelExist ? 1 : 4711, bExist) << Shown(strText);
            break;
        case 3:
        case 4:
            ASSERT_EQ(model.InsertKey(strText, bModelExist), Number(set.InsertKey(text, &bExist))) << Shown(strText);
            ASSERT_EQ(bModelExist ? 1 : 4711, bExist) << Shown(strText);
            break;
        case 5:
        case 6:
        {
            const uint64_t ullHandle = random.Percent(5) ? random.Below(400) : model.Find(strText);
            ASSERT_EQ(model.Remove(ullHandle) ? 1 : 0, set.Remove(Handle(ullHandle)));
            break;
        }
        case 7:
            if (random.Below(40) == 0)
            {
                ASSERT_EQ(1, set.ShrinkToFit());
            }
            break;
        default:
            ASSERT_EQ(model.Find(strText), Number(set.Find(text))) << Shown(strText);
    }
}

void RunOperations(uint64_t ullSeed, VOStringHashSet::StringHashMode eMode, int nSteps)
{
    SCOPED_TRACE(testing::Message() << "seed " << ullSeed);
    Random random(ullSeed);
    const std::vector<VOWString> vecText = AllTexts(random);
    VOStringHashSet set(VOStringHashSet::SHR_Provider, eMode);
    StringSetModel model(eMode == VOStringHashSet::SHM_HashAndString);
    size_t uText = 0;
    for (int i = 0; i < nSteps; ++i)
    {
        uText = NextText(uText, vecText.size(), random);
        Step(set, model, vecText[uText], random);
        if (testing::Test::HasFatalFailure())
        {
            return;
        }
        if (i % 500 == 499)
        {
            ExpectSame(model, set, false, vecText);
            const Bytes vecImage = ImageOf(set);
            ASSERT_TRUE(SameBytes(model.Image(), vecImage));
            for (const int bCopy : {0, 1})
            {
                const MisalignedBlock image(vecImage, random.Below(16));
                VOStringHashSet reader(VOStringHashSet::SHR_Customer, eMode);
                ASSERT_EQ(1, Set(reader, image, bCopy));
                ExpectSame(model, reader, true, vecText);
                VOStringHashSet writer(VOStringHashSet::SHR_Provider, eMode);
                ASSERT_EQ(1, Set(writer, image, bCopy));
                ExpectSame(model, writer, false, vecText);
            }
        }
        if (random.Below(3000) == 0)
        {
            ASSERT_EQ(1, set.CleanUp());
            model.CleanUp();
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
        Random random(static_cast<uint64_t>(21 + bCopy));
        const std::vector<VOWString> vecText = AllTexts(random);
        StringSetModel model;
        Bytes vecImage = model.Image();
        for (int nRound = 0; nRound < 60; ++nRound)
        {
            const MisalignedBlock image(vecImage, random.Below(16));
            VOStringHashSet set;
            ASSERT_EQ(1, Set(set, image, bCopy));
            size_t uText = 0;
            for (int i = 0; i < 100; ++i)
            {
                uText = NextText(uText, vecText.size(), random);
                Step(set, model, vecText[uText], random);
                ASSERT_FALSE(HasFatalFailure()) << "round " << nRound;
            }
            ExpectSame(model, set, false, vecText);
            vecImage = ImageOf(set);
            ASSERT_TRUE(SameBytes(model.Image(), vecImage)) << "round " << nRound;
        }
    }
}

TEST(StringHashSetRandom, AWalkSeesTheKeysThatAreInsertedAheadOfIt)
{
    // The position is a key in a sorted map: what is entered behind the current key is still visited.
    Random random(31);
    const std::vector<VOWString> vecText = AllTexts(random);
    VOStringHashSet set;
    StringSetModel model;
    bool bExist = false;
    for (size_t i = 0; i < 60; ++i)
    {
        set.Insert(vecText[i].c_str());
        model.Insert(vecText[i], bExist);
    }
    VOStringHashSet::Iterator iterator;
    ASSERT_EQ(1, set.GetFirst(iterator));
    for (size_t i = 60; i < 100; ++i)
    {
        const uint64_t ullCurrent = Number(iterator.hString);
        set.Insert(vecText[i].c_str());
        model.Insert(vecText[i], bExist);
        const std::vector<uint64_t> vecWalk = model.ProviderWalk();
        const auto itCurrent = std::find(vecWalk.begin(), vecWalk.end(), ullCurrent);
        ASSERT_NE(vecWalk.end(), itCurrent);
        if (itCurrent + 1 == vecWalk.end())
        {
            EXPECT_EQ(0, set.HasNext(iterator));
            break;
        }
        ASSERT_EQ(1, set.HasNext(iterator));
        ASSERT_EQ(*(itCurrent + 1), Number(iterator.hString)) << i;
    }
}

TEST(StringHashSetRandom, TensOfThousandsOfStringsAreFoundWithTheirHandlesInBothRoles)
{
    VOStringHashSet set;
    std::vector<VOWString> vecText;
    for (int i = 0; i < 40000; ++i)
    {
        vecText.push_back(Wide("assets/folder_" + std::to_string(i % 97) + "/file_" + std::to_string(i) + ".dds"));
        ASSERT_EQ(static_cast<uint64_t>(i), Number(set.Insert(vecText.back().c_str())));
    }
    const MisalignedBlock image(ImageOf(set), 1);
    VOStringHashSet reader(VOStringHashSet::SHR_Customer);
    ASSERT_EQ(1, Set(reader, image, 0));
    ASSERT_EQ(40000u, reader.Count());
    for (size_t i = 0; i < vecText.size(); ++i)
    {
        ASSERT_EQ(i, Number(set.Find(vecText[i].c_str())));
        ASSERT_EQ(i, Number(reader.Find(vecText[i].c_str())));
        ASSERT_EQ(vecText[i], ReadText(reader.GetString(Handle(i))));
    }
    EXPECT_EQ(40000u, WalkOf(reader).size());
}
