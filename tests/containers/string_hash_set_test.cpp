// VOStringHashSet, the Provider's side: handles, states, walks, and strings with equal hashes.
#include <algorithm>
#include <string>
#include <vector>

#include "support/colliding_texts.h"
#include "support/log_capture.h"
#include "support/opened_containers.h"
#include "support/reference_hash.h"
#include "support/string_set_model.h"
#include "support/text.h"

using namespace votest;

namespace
{
class OpenSet : public VOStringHashSet
{
public:
    using VOStringHashSet::_AddHashStringParam_P;
    using VOStringHashSet::_FindHashString_P;
    using VOStringHashSet::_ResetHashStringParam;
    using VOStringHashSet::m_eHashMode;
    using VOStringHashSet::m_eHashRole;
    using VOStringHashSet::m_mapHashConflict;
    using VOStringHashSet::m_mapHashString;
    using VOStringHashSet::m_pkStringPool;
    using VOStringHashSet::m_vecHashStringParam;
    using VOStringHashSet::VOStringHashSet;
};

constexpr int kUntouched = 4711;

// What the image says of a record: the state of a set that no public call tells.
StringRecord RecordOf(const VOStringHashSet& set, void* hString)
{
    const Bytes vecImage = ImageOf(set);
    const size_t uAt = 28 + 16 + 24 * static_cast<size_t>(Number(hString));
    return {ReadU64(vecImage, uAt), ReadU32(vecImage, uAt + 8), ReadU32(vecImage, uAt + 12),
            ReadU32(vecImage, uAt + 16), ReadU32(vecImage, uAt + 20)};
}

size_t PoolBytes(const VOStringHashSet& set)
{
    // The text pool is part 2; the byte pool begins 12 bytes into it and says its bytes in use at offset 8.
    const Bytes vecImage = ImageOf(set);
    return ReadU32(vecImage, 28 + ReadU32(vecImage, 8) + 12 + 8);
}

VOWString TextOf(const VOStringHashSet& set, void* hString)
{
    return ReadText(set.GetString(hString));
}
}  // namespace

TEST(StringHashCollisions, TheTextsOfTheseTestsCollideAsTheyHaveTo)
{
    for (size_t uGroup = 0; uGroup < CollidingTexts().size(); ++uGroup)
    {
        const std::vector<VOWString> vecText = CollidingGroup(uGroup);
        std::vector<uint32_t> vecHash1;
        for (const VOWString& text : vecText)
        {
            EXPECT_EQ(ReferenceHash(vecText[0], 0), ReferenceHash(text, 0)) << uGroup;
            vecHash1.push_back(ReferenceHash(text, 1));
        }
        std::sort(vecHash1.begin(), vecHash1.end());
        EXPECT_EQ(vecHash1.end(), std::unique(vecHash1.begin(), vecHash1.end())) << uGroup;
    }
    for (const auto& pair : TwinTexts())
    {
        EXPECT_EQ(ReferenceHash(Wide(pair[0]), 0), ReferenceHash(Wide(pair[1]), 0));
        EXPECT_EQ(ReferenceHash(Wide(pair[0]), 1), ReferenceHash(Wide(pair[1]), 1));
    }
}

TEST(StringHashSet, InsertOfTheSameStringTwiceGivesTheSameHandleAndExistOnlyTheSecondTime)
{
    VOStringHashSet set;
    int bExist = kUntouched;
    void* hFirst = set.Insert(VOTEXT("text"), &bExist);
    EXPECT_EQ(kUntouched, bExist);
    EXPECT_EQ(hFirst, set.Insert(VOTEXT("text"), &bExist));
    EXPECT_EQ(1, bExist);
    EXPECT_EQ(1u, set.Count());
    EXPECT_EQ(hFirst, set.Insert(VOTEXT("text")));
}

TEST(StringHashSet, HandlesAreTheIndexesOfTheRecordsInTheOrderOfInsertion)
{
    VOStringHashSet set;
    EXPECT_EQ(0u, Number(set.Insert(VOTEXT("one"))));
    EXPECT_EQ(1u, Number(set.InsertKey(VOTEXT("two"))));
    EXPECT_EQ(2u, Number(set.Insert(VOTEXT(""))));
    EXPECT_EQ(3u, set.Count());
}

TEST(StringHashSet, CaseIsNotFolded)
{
    VOStringHashSet set;
    EXPECT_NE(set.Insert(VOTEXT("a")), set.Insert(VOTEXT("A")));
    EXPECT_EQ(2u, set.Count());
}

TEST(StringHashSet, AnInsertedStringIsFoundAndReadBack)
{
    VOStringHashSet set;
    void* hFirst = set.Insert(VOTEXT("ab"));
    void* hOdd = set.Insert(VOTEXT("lies at an odd place"));
    EXPECT_EQ(hFirst, set.Find(VOTEXT("ab")));
    EXPECT_EQ(hOdd, set.Find(VOTEXT("lies at an odd place")));
    EXPECT_EQ(VOTEXT("ab"), TextOf(set, hFirst));
    EXPECT_EQ(VOTEXT("lies at an odd place"), TextOf(set, hOdd));
    EXPECT_EQ(INVALID_HANDLE_VALUE, set.Find(VOTEXT("unknown")));
}

TEST(StringHashSet, TextIsTakenFromEveryMisalignment)
{
    VOStringHashSet set;
    void* hText = set.Insert(VOTEXT("some text \u4E2D"));
    for (size_t uMisalignment = 0; uMisalignment < 16; ++uMisalignment)
    {
        const PlacedText text(VOTEXT("some text \u4E2D"), uMisalignment);
        EXPECT_EQ(hText, set.Find(text));
        EXPECT_EQ(hText, set.Insert(text));
        EXPECT_EQ(hText, set.InsertKey(text));
    }
    EXPECT_EQ(1u, set.Count());
}

TEST(StringHashSet, ARemovedStringIsNeitherFoundNorReadButStillCounted)
{
    VOStringHashSet set;
    void* hText = set.Insert(VOTEXT("text"));
    EXPECT_EQ(1, set.Remove(hText));
    EXPECT_EQ(INVALID_HANDLE_VALUE, set.Find(VOTEXT("text")));
    EXPECT_EQ(nullptr, set.GetString(hText));
    EXPECT_EQ(1u, set.Count());
    EXPECT_EQ(2u, RecordOf(set, hText).dwState);
    EXPECT_EQ(0u, RecordOf(set, hText).hString);
}

TEST(StringHashSet, RemovingTwiceSucceedsTwice)
{
    VOStringHashSet set;
    void* hText = set.Insert(VOTEXT("text"));
    EXPECT_EQ(1, set.Remove(hText));
    EXPECT_EQ(1, set.Remove(hText));
}

TEST(StringHashSet, InsertOfARemovedStringUsesItsHandleAndItsTextOnceMore)
{
    VOStringHashSet set;
    void* hText = set.Insert(VOTEXT("text"));
    const size_t uPool = PoolBytes(set);
    set.Remove(hText);
    int bExist = kUntouched;
    EXPECT_EQ(hText, set.Insert(VOTEXT("text"), &bExist));
    EXPECT_EQ(kUntouched, bExist);
    EXPECT_EQ(uPool, PoolBytes(set));
    EXPECT_EQ(VOTEXT("text"), TextOf(set, hText));
    EXPECT_EQ(4u, RecordOf(set, hText).dwState);
}

TEST(StringHashSet, AKeyIsFoundAndHasNoTextUntilTheStringIsInserted)
{
    VOStringHashSet set;
    int bExist = kUntouched;
    void* hKey = set.InsertKey(VOTEXT("key"), &bExist);
    EXPECT_EQ(kUntouched, bExist);
    EXPECT_EQ(hKey, set.Find(VOTEXT("key")));
    EXPECT_EQ(nullptr, set.GetString(hKey));
    EXPECT_EQ(0u, PoolBytes(set));
    EXPECT_EQ(kInvalidHandle, RecordOf(set, hKey).hString);
    EXPECT_EQ(0u, RecordOf(set, hKey).dwState);

    EXPECT_EQ(hKey, set.Insert(VOTEXT("key"), &bExist));
    EXPECT_EQ(kUntouched, bExist);
    EXPECT_EQ(VOTEXT("key"), TextOf(set, hKey));
    EXPECT_EQ(4u, RecordOf(set, hKey).dwState);
}

TEST(StringHashSet, InsertKeyOfAKeySetsExist)
{
    VOStringHashSet set;
    void* hKey = set.InsertKey(VOTEXT("key"));
    int bExist = kUntouched;
    EXPECT_EQ(hKey, set.InsertKey(VOTEXT("key"), &bExist));
    EXPECT_EQ(1, bExist);
}

TEST(StringHashSet, InsertKeyOfAStringWithTextSetsExistAndTheTextStays)
{
    VOStringHashSet set;
    void* hText = set.Insert(VOTEXT("text"));
    int bExist = kUntouched;
    EXPECT_EQ(hText, set.InsertKey(VOTEXT("text"), &bExist));
    EXPECT_EQ(1, bExist);
    EXPECT_EQ(VOTEXT("text"), TextOf(set, hText));
    EXPECT_EQ(4u, RecordOf(set, hText).dwState);
}

TEST(StringHashSet, InsertKeyOfARemovedStringHidesItsText)
{
    VOStringHashSet set;
    void* hText = set.Insert(VOTEXT("text"));
    set.Remove(hText);
    int bExist = kUntouched;
    EXPECT_EQ(hText, set.InsertKey(VOTEXT("text"), &bExist));
    EXPECT_EQ(kUntouched, bExist);
    EXPECT_EQ(hText, set.Find(VOTEXT("text")));
    EXPECT_EQ(nullptr, set.GetString(hText));
    EXPECT_EQ(0u, RecordOf(set, hText).dwState);
    EXPECT_EQ(0u, RecordOf(set, hText).hString);

    // The hidden text comes back without a second copy.
    const size_t uPool = PoolBytes(set);
    EXPECT_EQ(hText, set.Insert(VOTEXT("text"), &bExist));
    EXPECT_EQ(kUntouched, bExist);
    EXPECT_EQ(uPool, PoolBytes(set));
    EXPECT_EQ(VOTEXT("text"), TextOf(set, hText));
}

TEST(StringHashSet, InsertOfARemovedKeyAddsItsText)
{
    VOStringHashSet set;
    void* hKey = set.InsertKey(VOTEXT("key"));
    set.Remove(hKey);
    int bExist = kUntouched;
    EXPECT_EQ(hKey, set.Insert(VOTEXT("key"), &bExist));
    EXPECT_EQ(kUntouched, bExist);
    EXPECT_EQ(VOTEXT("key"), TextOf(set, hKey));
    EXPECT_EQ(9u, PoolBytes(set));
}

TEST(StringHashSet, RemoveOfTheInvalidHandleOrOfOneAtTheRecordCountIs0)
{
    VOStringHashSet set;
    EXPECT_EQ(0, set.Remove(Handle(0)));
    set.Insert(VOTEXT("text"));
    EXPECT_EQ(0, set.Remove(INVALID_HANDLE_VALUE));
    EXPECT_EQ(0, set.Remove(Handle(1)));
    EXPECT_EQ(0u, Number(set.Find(VOTEXT("text"))));
}

TEST(StringHashSet, GetStringOfWhatIsNoRecordIsAnEmptyPointer)
{
    VOStringHashSet set;
    EXPECT_EQ(nullptr, set.GetString(Handle(0)));
    set.Insert(VOTEXT("text"));
    EXPECT_EQ(nullptr, set.GetString(INVALID_HANDLE_VALUE));
    EXPECT_EQ(nullptr, set.GetString(Handle(1)));
    EXPECT_EQ(VOTEXT("text"), TextOf(set, Handle(0x500000000ull)));
}

TEST(StringHashSet, AnEmptySetCounts0AndHasNoFirstEntry)
{
    const VOStringHashSet set;
    VOStringHashSet::Iterator iterator;
    EXPECT_EQ(0u, set.Count());
    EXPECT_EQ(0, set.GetFirst(iterator));
    EXPECT_EQ(INVALID_HANDLE_VALUE, set.Find(VOTEXT("")));
}

TEST(StringHashSet, AnEmptyPointerIsNeitherInsertedNorFound)
{
    VOStringHashSet set;
    int bExist = kUntouched;
    EXPECT_EQ(INVALID_HANDLE_VALUE, set.Insert(nullptr, &bExist));
    EXPECT_EQ(INVALID_HANDLE_VALUE, set.InsertKey(nullptr, &bExist));
    EXPECT_EQ(INVALID_HANDLE_VALUE, set.Find(nullptr));
    EXPECT_EQ(kUntouched, bExist);
    EXPECT_EQ(0u, set.Count());
}

TEST(StringHashSet, OrdinaryWorkLogsNothing)
{
    const LogCapture log;
    {
        VOStringHashSet set;
        void* hText = set.Insert(VOTEXT("text"));
        set.InsertKey(VOTEXT("key"));
        set.Find(VOTEXT("unknown"));
        set.Remove(hText);
        set.Remove(INVALID_HANDLE_VALUE);
        set.GetString(hText);
        set.ShrinkToFit();
        WalkOf(set);
        ImageOf(set);
        set.SetAlloc(nullptr, 0);
        set.CleanUp();
        VOStringHashSet customer(VOStringHashSet::SHR_Customer);
        customer.Insert(VOTEXT("text"));
        customer.Find(VOTEXT("text"));
        customer.Remove(hText);
        customer.CleanUp();
    }
    EXPECT_EQ(0u, log.Count());
}

TEST(StringHashSet, InHashOnlyModeInsertKeepsNoTextAsInsertKeyDoes)
{
    VOStringHashSet set(VOStringHashSet::SHR_Provider, VOStringHashSet::SHM_HashOnly);
    int bExist = kUntouched;
    void* hText = set.Insert(VOTEXT("text"), &bExist);
    EXPECT_EQ(kUntouched, bExist);
    EXPECT_EQ(hText, set.Find(VOTEXT("text")));
    EXPECT_EQ(nullptr, set.GetString(hText));
    EXPECT_EQ(0u, RecordOf(set, hText).dwState);
    EXPECT_EQ(0u, PoolBytes(set));
    EXPECT_EQ(hText, set.Insert(VOTEXT("text"), &bExist));
    EXPECT_EQ(1, bExist);

    set.Remove(hText);
    bExist = kUntouched;
    EXPECT_EQ(hText, set.Insert(VOTEXT("text"), &bExist));
    EXPECT_EQ(kUntouched, bExist);
    EXPECT_EQ(0u, RecordOf(set, hText).dwState);
    EXPECT_EQ(0u, PoolBytes(set));
}

TEST(StringHashSet, InHashOnlyModeInsertTakesTheTextStateOfALoadedStringAway)
{
    // The wanted state is 0 in this mode, so a record with text counts as one in another state.
    VOStringHashSet source;
    source.Insert(VOTEXT("text"));
    const MisalignedBlock image(ImageOf(source), 1);
    VOStringHashSet set(VOStringHashSet::SHR_Provider, VOStringHashSet::SHM_HashOnly);
    ASSERT_EQ(1, Set(set, image, 1));
    int bExist = kUntouched;
    EXPECT_EQ(0u, Number(set.Insert(VOTEXT("text"), &bExist)));
    EXPECT_EQ(kUntouched, bExist);
    EXPECT_EQ(nullptr, set.GetString(Handle(0)));
    EXPECT_EQ(0u, RecordOf(set, Handle(0)).dwState);
}

TEST(StringHashSet, TheWalkGoesUpTheFirstHashWithPrimaryRecordsFirstAndShowsAllStates)
{
    VOStringHashSet set;
    const std::vector<VOWString> vecGroup = CollidingGroup(0);
    std::vector<std::pair<uint32_t, uint64_t>> vecExpected;
    for (const char* pszText : {"delta", "alpha", "charlie", "bravo", "echo"})
    {
        vecExpected.push_back({ReferenceHash(Wide(pszText), 0), Number(set.Insert(Wide(pszText).c_str()))});
    }
    vecExpected.push_back({ReferenceHash(vecGroup[0], 0), Number(set.InsertKey(vecGroup[0].c_str()))});
    void* hConflict = set.Insert(vecGroup[1].c_str());
    set.Remove(set.Find(VOTEXT("alpha")));

    std::sort(vecExpected.begin(), vecExpected.end());
    std::vector<uint64_t> vecHandle;
    for (const auto& [uHash, ullHandle] : vecExpected)
    {
        vecHandle.push_back(ullHandle);
    }
    vecHandle.push_back(Number(hConflict));
    EXPECT_EQ(vecHandle, WalkOf(set));
}

TEST(StringHashSet, HasNextStopsAtTheEndOfTheConflictMap)
{
    VOStringHashSet set;
    const std::vector<VOWString> vecGroup = CollidingGroup(0);
    set.Insert(vecGroup[0].c_str());
    set.Insert(vecGroup[1].c_str());
    VOStringHashSet::Iterator iterator;
    ASSERT_EQ(1, set.GetFirst(iterator));
    EXPECT_EQ(1u, iterator.uStage);
    EXPECT_EQ(0u, Number(iterator.hString));
    ASSERT_EQ(1, set.HasNext(iterator));
    EXPECT_EQ(2u, iterator.uStage);
    EXPECT_EQ(1u, Number(iterator.hString));
    EXPECT_EQ(0, set.HasNext(iterator));
}

TEST(StringHashSet, HasNextOfACursorInNoStageIs0)
{
    VOStringHashSet set;
    set.Insert(VOTEXT("text"));
    VOStringHashSet::Iterator iterator;
    EXPECT_EQ(0, set.HasNext(iterator));
    ASSERT_EQ(1, set.GetFirst(iterator));
    iterator.uStage = 3;
    EXPECT_EQ(0, set.HasNext(iterator));
}

TEST(StringHashSet, TwoStringsOfOneFirstHashAreToldApartThroughTheConflictMap)
{
    for (size_t uGroup = 0; uGroup < CollidingTexts().size(); ++uGroup)
    {
        const std::vector<VOWString> vecGroup = CollidingGroup(uGroup);
        VOStringHashSet set;
        void* hFirst = set.Insert(vecGroup[0].c_str());
        void* hSecond = set.Insert(vecGroup[1].c_str());
        EXPECT_NE(hFirst, hSecond);
        EXPECT_EQ(2u, set.Count());
        EXPECT_EQ(hFirst, set.Find(vecGroup[0].c_str()));
        EXPECT_EQ(hSecond, set.Find(vecGroup[1].c_str()));
        EXPECT_EQ(vecGroup[0], TextOf(set, hFirst));
        EXPECT_EQ(vecGroup[1], TextOf(set, hSecond));
        EXPECT_EQ(1u, RecordOf(set, hFirst).dwHashMask);
        EXPECT_EQ(3u, RecordOf(set, hSecond).dwHashMask);
        EXPECT_EQ(ReferenceHash(vecGroup[1], 1), RecordOf(set, hSecond).uHash1);
    }
}

TEST(StringHashSet, ADerivedClassSeesItsRecordsMapsAndPool)
{
    const std::vector<VOWString> vecGroup = CollidingGroup(0);
    OpenSet set;
    EXPECT_EQ(VOStringHashSet::SHR_Provider, set.m_eHashRole);
    EXPECT_EQ(VOStringHashSet::SHM_HashAndString, set.m_eHashMode);
    set.Insert(vecGroup[0].c_str());
    set.Insert(vecGroup[1].c_str());
    EXPECT_EQ(2u, set.m_vecHashStringParam.Count());
    EXPECT_EQ(3u, set.m_vecHashStringParam[1].dwHashMask);
    EXPECT_EQ(1u, set.m_mapHashString.Count());
    EXPECT_EQ(1u, set.m_mapHashConflict.Count());
    EXPECT_EQ(2u, set.m_pkStringPool->Count());
}

TEST(StringHashSet, AThirdStringOfOneFirstHashIsTakenForTheSecond)
{
    const std::vector<VOWString> vecGroup = CollidingGroup(1);
    VOStringHashSet set;
    set.Insert(vecGroup[0].c_str());
    void* hSecond = set.Insert(vecGroup[1].c_str());
    const size_t uPool = PoolBytes(set);
    int bExist = kUntouched;
    EXPECT_EQ(hSecond, set.Insert(vecGroup[2].c_str(), &bExist));
    EXPECT_EQ(1, bExist);
    EXPECT_EQ(hSecond, set.Find(vecGroup[2].c_str()));
    EXPECT_EQ(hSecond, set.Find(vecGroup[3].c_str()));
    EXPECT_EQ(hSecond, set.InsertKey(vecGroup[3].c_str()));
    EXPECT_EQ(2u, set.Count());
    EXPECT_EQ(uPool, PoolBytes(set));
    EXPECT_EQ(vecGroup[1], TextOf(set, hSecond));
}

TEST(StringHashSet, AThirdStringThatRevivesTheSecondLeavesItsHashAndTheSecondsText)
{
    const std::vector<VOWString> vecGroup = CollidingGroup(2);
    VOStringHashSet set;
    set.Insert(vecGroup[0].c_str());
    void* hSecond = set.Insert(vecGroup[1].c_str());
    set.Remove(hSecond);
    EXPECT_EQ(INVALID_HANDLE_VALUE, set.Find(vecGroup[2].c_str()));
    EXPECT_EQ(hSecond, set.Insert(vecGroup[2].c_str()));
    EXPECT_EQ(vecGroup[1], TextOf(set, hSecond));
    EXPECT_EQ(ReferenceHash(vecGroup[2], 1), RecordOf(set, hSecond).uHash1);
    EXPECT_EQ(3u, RecordOf(set, hSecond).dwHashMask);
}

TEST(StringHashSet, ARemovedFirstStringKeepsItsPlaceInThePrimaryMap)
{
    const std::vector<VOWString> vecGroup = CollidingGroup(3);
    VOStringHashSet set;
    void* hFirst = set.Insert(vecGroup[0].c_str());
    set.Remove(hFirst);
    void* hSecond = set.Insert(vecGroup[1].c_str());
    EXPECT_NE(hFirst, hSecond);
    EXPECT_EQ(3u, RecordOf(set, hSecond).dwHashMask);
    EXPECT_EQ(hFirst, set.Insert(vecGroup[0].c_str()));
    EXPECT_EQ(hSecond, set.Find(vecGroup[1].c_str()));
}

TEST(StringHashSet, TwoStringsThatAgreeInBothHashesAreOneString)
{
    for (const auto& pair : TwinTexts())
    {
        VOStringHashSet set;
        void* hFirst = set.Insert(Wide(pair[0]).c_str());
        int bExist = kUntouched;
        EXPECT_EQ(hFirst, set.Insert(Wide(pair[1]).c_str(), &bExist));
        EXPECT_EQ(1, bExist);
        EXPECT_EQ(hFirst, set.Find(Wide(pair[1]).c_str()));
        EXPECT_EQ(Wide(pair[0]), TextOf(set, hFirst));
        EXPECT_EQ(1u, set.Count());
    }
}

TEST(StringHashSet, CleanUpForgetsAllAndTheNextStringGetsHandle0)
{
    const std::vector<VOWString> vecGroup = CollidingGroup(4);
    VOStringHashSet set;
    void* hFirst = set.Insert(vecGroup[0].c_str());
    set.Insert(vecGroup[1].c_str());
    EXPECT_EQ(1, set.CleanUp());
    EXPECT_EQ(0u, set.Count());
    EXPECT_EQ(nullptr, set.GetString(hFirst));
    EXPECT_EQ(INVALID_HANDLE_VALUE, set.Find(vecGroup[0].c_str()));
    EXPECT_TRUE(SameBytes(StringSetModel().Image(), ImageOf(set)));
    EXPECT_EQ(0u, Number(set.Insert(vecGroup[1].c_str())));
    EXPECT_EQ(1u, RecordOf(set, Handle(0)).dwHashMask);
}

TEST(StringHashSet, ShrinkToFitChangesNoAnswer)
{
    VOStringHashSet set;
    EXPECT_EQ(1, set.ShrinkToFit());
    void* hText = set.Insert(VOTEXT("text"));
    const Bytes vecImage = ImageOf(set);
    EXPECT_EQ(1, set.ShrinkToFit());
    EXPECT_TRUE(SameBytes(vecImage, ImageOf(set)));
    EXPECT_EQ(hText, set.Find(VOTEXT("text")));
    EXPECT_EQ(1u, Number(set.Insert(VOTEXT("more"))));
}

TEST(StringHashSet, ACustomerWithoutAnImageAnswersAsNotFound)
{
    VOStringHashSet set(VOStringHashSet::SHR_Customer);
    int bExist = kUntouched;
    EXPECT_EQ(INVALID_HANDLE_VALUE, set.Insert(VOTEXT("text"), &bExist));
    EXPECT_EQ(INVALID_HANDLE_VALUE, set.InsertKey(VOTEXT("text"), &bExist));
    EXPECT_EQ(kUntouched, bExist);
    EXPECT_EQ(INVALID_HANDLE_VALUE, set.Find(VOTEXT("text")));
    EXPECT_EQ(0, set.Remove(Handle(0)));
    EXPECT_EQ(0, set.ShrinkToFit());
    EXPECT_EQ(0u, set.Count());
    VOStringHashSet::Iterator iterator;
    EXPECT_EQ(0, set.GetFirst(iterator));
    EXPECT_EQ(1, set.CleanUp());
}

TEST(StringHashSet, FindHashStringTellsHashesAndMaskAndDoesNotLookAtTheState)
{
    const std::vector<VOWString> vecGroup = CollidingGroup(5);
    OpenSet set;
    void* hFirst = set.Insert(vecGroup[0].c_str());
    void* hSecond = set.Insert(vecGroup[1].c_str());
    set.Remove(hFirst);

    unsigned int uHash0 = 0;
    unsigned int uHash1 = 0;
    unsigned int uHash2 = 77;
    VOULONG dwHashMask = 0;
    void* hString = nullptr;
    EXPECT_EQ(1, set._FindHashString_P(vecGroup[0].c_str(), uHash0, uHash1, uHash2, dwHashMask, hString));
    EXPECT_EQ(hFirst, hString);
    EXPECT_EQ(1u, dwHashMask);
    EXPECT_EQ(ReferenceHash(vecGroup[0], 0), uHash0);
    EXPECT_EQ(ReferenceHash(vecGroup[0], 1), uHash1);
    EXPECT_EQ(77u, uHash2);

    dwHashMask = 8;
    EXPECT_EQ(1, set._FindHashString_P(vecGroup[1].c_str(), uHash0, uHash1, uHash2, dwHashMask, hString));
    EXPECT_EQ(hSecond, hString);
    EXPECT_EQ(11u, dwHashMask);

    dwHashMask = 0;
    hString = Handle(5);
    EXPECT_EQ(0, set._FindHashString_P(VOTEXT("unknown"), uHash0, uHash1, uHash2, dwHashMask, hString));
    EXPECT_EQ(1u, dwHashMask);
    EXPECT_EQ(5u, Number(hString));
    EXPECT_EQ(ReferenceHash(VOTEXT("unknown"), 1), uHash1);
}

TEST(StringHashSet, FindHashStringGoesOnToTheConflictMapAlsoWhenThatHasNothing)
{
    const std::vector<VOWString> vecGroup = CollidingGroup(6);
    OpenSet set;
    set.Insert(vecGroup[0].c_str());
    unsigned int uHash0 = 0;
    unsigned int uHash1 = 0;
    unsigned int uHash2 = 0;
    VOULONG dwHashMask = 0;
    void* hString = nullptr;
    EXPECT_EQ(0, set._FindHashString_P(vecGroup[1].c_str(), uHash0, uHash1, uHash2, dwHashMask, hString));
    EXPECT_EQ(3u, dwHashMask);
}

TEST(StringHashSet, AddHashStringParamPushesARecordInState0)
{
    OpenSet set;
    EXPECT_EQ(0u, Number(set._AddHashStringParam_P(Handle(9), 3, 0x11, 0x22, 0x33)));
    EXPECT_EQ(1u, Number(set._AddHashStringParam_P(INVALID_HANDLE_VALUE, 1, 0x44, 0x55, 0x66)));
    EXPECT_EQ(9u, RecordOf(set, Handle(0)).hString);
    EXPECT_EQ(0u, RecordOf(set, Handle(0)).dwState);
    EXPECT_EQ(3u, RecordOf(set, Handle(0)).dwHashMask);
    EXPECT_EQ(0x11u, RecordOf(set, Handle(0)).uHash0);
    EXPECT_EQ(0x22u, RecordOf(set, Handle(0)).uHash1);
    EXPECT_EQ(0x44u, RecordOf(set, Handle(1)).uHash0);
    EXPECT_EQ(0u, set.Count());
}

TEST(StringHashSet, ResetHashStringParamWritesAllFieldsOfTheGivenRecord)
{
    OpenSet set;
    VOStringHashSet::StringHashParam param;
    EXPECT_EQ(0, set._ResetHashStringParam(Handle(9), 3, 4, 0x11, 0x22, 0x33, nullptr));
    EXPECT_EQ(1, set._ResetHashStringParam(Handle(9), 3, 4, 0x11, 0x22, 0x33, &param));
    EXPECT_EQ(9u, Number(param.hString));
    EXPECT_EQ(4u, param.dwState);
    EXPECT_EQ(3u, param.dwHashMask);
    EXPECT_EQ(0x11u, param.uHash0);
    EXPECT_EQ(0x22u, param.uHash1);
}

TEST(StringHashSet, InsertingOneStringAgainAndAgainGivesWhatALookupGives)
{
    const std::vector<VOWString> vecGroup = CollidingGroup(9);
    VOStringHashSet set;
    void* hFirst = set.Insert(vecGroup[0].c_str());
    void* hSecond = set.Insert(vecGroup[1].c_str());
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_EQ(hSecond, set.Insert(vecGroup[1].c_str()));
        EXPECT_EQ(hSecond, set.Insert(vecGroup[2].c_str()));
        EXPECT_EQ(hFirst, set.Insert(vecGroup[0].c_str()));
        EXPECT_EQ(hFirst, set.Insert(vecGroup[0].c_str()));
    }
    set.Remove(hFirst);
    int bExist = kUntouched;
    EXPECT_EQ(hFirst, set.Insert(vecGroup[0].c_str(), &bExist));
    EXPECT_EQ(kUntouched, bExist);
    EXPECT_EQ(hFirst, set.Insert(vecGroup[0].c_str(), &bExist));
    EXPECT_EQ(1, bExist);

    set.CleanUp();
    bExist = kUntouched;
    EXPECT_EQ(0u, Number(set.Insert(VOTEXT("other"), &bExist)));
    EXPECT_EQ(1u, Number(set.Insert(vecGroup[0].c_str(), &bExist)));
    EXPECT_EQ(kUntouched, bExist);
}

TEST(StringHashSet, TextsThatOnlyALanguageTakesForEqualAreDifferentStrings)
{
    // A soft hyphen, a zero-width joiner, one letter in two forms, and digits in two widths. Each text is inserted
    // right behind a second insertion of the one it resembles.
    const std::vector<std::pair<VOWString, VOWString>> vecPair = {
        {VOTEXT("cooperate"), VOTEXT("co\u00ADoperate")},
        {VOTEXT("ab"), VOTEXT("a\u200Db")},
        {VOTEXT("\u00E9"), VOTEXT("e\u0301")},
        {VOTEXT("\u00E4"), VOTEXT("a\u0308")},
        {VOTEXT("co-op"), VOTEXT("coop")},
        {VOTEXT("x\uFEFF"), VOTEXT("x")},
        {VOTEXT("a"), VOTEXT("A")},
        {VOTEXT(""), VOTEXT("\u00AD")},
        {VOTEXT("\uFF11"), VOTEXT("1")},
    };
    for (const auto& [strFirst, strSecond] : vecPair)
    {
        VOStringHashSet set;
        void* hFirst = set.Insert(strFirst.c_str());
        EXPECT_EQ(hFirst, set.Insert(strFirst.c_str()));
        EXPECT_NE(hFirst, set.Insert(strSecond.c_str())) << Shown(strFirst) << " and " << Shown(strSecond);
        EXPECT_EQ(2u, set.Count()) << Shown(strFirst) << " and " << Shown(strSecond);
    }
}
