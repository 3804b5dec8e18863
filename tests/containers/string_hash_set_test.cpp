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
StringRecord RecordOf(const VOStringHashSet& rkSet, void* hString)
{
    const Bytes vecImage = ImageOf(rkSet);
    const size_t uAt = 28 + 16 + 24 * static_cast<size_t>(Number(hString));
    return {ReadU64(vecImage, uAt), ReadU32(vecImage, uAt + 8), ReadU32(vecImage, uAt + 12),
            ReadU32(vecImage, uAt + 16), ReadU32(vecImage, uAt + 20)};
}

size_t PoolBytes(const VOStringHashSet& rkSet)
{
    // The text pool is part 2; the byte pool begins 12 bytes into it and says its bytes in use at offset 8.
    const Bytes vecImage = ImageOf(rkSet);
    return ReadU32(vecImage, 28 + ReadU32(vecImage, 8) + 12 + 8);
}

VOWString TextOf(const VOStringHashSet& rkSet, void* hString)
{
    return ReadText(rkSet.GetString(hString));
}
}  // namespace

TEST(StringHashCollisions, TheTextsOfTheseTestsCollideAsTheyHaveTo)
{
    for (size_t uGroup = 0; uGroup < CollidingTexts().size(); ++uGroup)
    {
        const std::vector<VOWString> vecText = CollidingGroup(uGroup);
        std::vector<uint32_t> vecHash1;
        for (const VOWString& rkText : vecText)
        {
            EXPECT_EQ(ReferenceHash(vecText[0], 0), ReferenceHash(rkText, 0)) << uGroup;
            vecHash1.push_back(ReferenceHash(rkText, 1));
        }
        std::sort(vecHash1.begin(), vecHash1.end());
        EXPECT_EQ(vecHash1.end(), std::unique(vecHash1.begin(), vecHash1.end())) << uGroup;
    }
    for (const auto& rkPair : TwinTexts())
    {
        EXPECT_EQ(ReferenceHash(Wide(rkPair[0]), 0), ReferenceHash(Wide(rkPair[1]), 0));
        EXPECT_EQ(ReferenceHash(Wide(rkPair[0]), 1), ReferenceHash(Wide(rkPair[1]), 1));
    }
}

TEST(StringHashSet, InsertOfTheSameStringTwiceGivesTheSameHandleAndExistOnlyTheSecondTime)
{
    VOStringHashSet kSet;
    int bExist = kUntouched;
    void* hFirst = kSet.Insert(VOTEXT("text"), &bExist);
    EXPECT_EQ(kUntouched, bExist);
    EXPECT_EQ(hFirst, kSet.Insert(VOTEXT("text"), &bExist));
    EXPECT_EQ(1, bExist);
    EXPECT_EQ(1u, kSet.Count());
    EXPECT_EQ(hFirst, kSet.Insert(VOTEXT("text")));
}

TEST(StringHashSet, HandlesAreTheIndexesOfTheRecordsInTheOrderOfInsertion)
{
    VOStringHashSet kSet;
    EXPECT_EQ(0u, Number(kSet.Insert(VOTEXT("one"))));
    EXPECT_EQ(1u, Number(kSet.InsertKey(VOTEXT("two"))));
    EXPECT_EQ(2u, Number(kSet.Insert(VOTEXT(""))));
    EXPECT_EQ(3u, kSet.Count());
}

TEST(StringHashSet, CaseIsNotFolded)
{
    VOStringHashSet kSet;
    EXPECT_NE(kSet.Insert(VOTEXT("a")), kSet.Insert(VOTEXT("A")));
    EXPECT_EQ(2u, kSet.Count());
}

TEST(StringHashSet, AnInsertedStringIsFoundAndReadBack)
{
    VOStringHashSet kSet;
    void* hFirst = kSet.Insert(VOTEXT("ab"));
    void* hOdd = kSet.Insert(VOTEXT("lies at an odd place"));
    EXPECT_EQ(hFirst, kSet.Find(VOTEXT("ab")));
    EXPECT_EQ(hOdd, kSet.Find(VOTEXT("lies at an odd place")));
    EXPECT_EQ(VOTEXT("ab"), TextOf(kSet, hFirst));
    EXPECT_EQ(VOTEXT("lies at an odd place"), TextOf(kSet, hOdd));
    EXPECT_EQ(INVALID_HANDLE_VALUE, kSet.Find(VOTEXT("unknown")));
}

TEST(StringHashSet, TextIsTakenFromEveryMisalignment)
{
    VOStringHashSet kSet;
    void* hText = kSet.Insert(VOTEXT("some text \u4E2D"));
    for (size_t uMisalignment = 0; uMisalignment < 16; ++uMisalignment)
    {
        const PlacedText kText(VOTEXT("some text \u4E2D"), uMisalignment);
        EXPECT_EQ(hText, kSet.Find(kText));
        EXPECT_EQ(hText, kSet.Insert(kText));
        EXPECT_EQ(hText, kSet.InsertKey(kText));
    }
    EXPECT_EQ(1u, kSet.Count());
}

TEST(StringHashSet, ARemovedStringIsNeitherFoundNorReadButStillCounted)
{
    VOStringHashSet kSet;
    void* hText = kSet.Insert(VOTEXT("text"));
    EXPECT_EQ(1, kSet.Remove(hText));
    EXPECT_EQ(INVALID_HANDLE_VALUE, kSet.Find(VOTEXT("text")));
    EXPECT_EQ(nullptr, kSet.GetString(hText));
    EXPECT_EQ(1u, kSet.Count());
    EXPECT_EQ(2u, RecordOf(kSet, hText).dwState);
    EXPECT_EQ(0u, RecordOf(kSet, hText).hString);
}

TEST(StringHashSet, RemovingTwiceSucceedsTwice)
{
    VOStringHashSet kSet;
    void* hText = kSet.Insert(VOTEXT("text"));
    EXPECT_EQ(1, kSet.Remove(hText));
    EXPECT_EQ(1, kSet.Remove(hText));
}

TEST(StringHashSet, InsertOfARemovedStringUsesItsHandleAndItsTextOnceMore)
{
    VOStringHashSet kSet;
    void* hText = kSet.Insert(VOTEXT("text"));
    const size_t uPool = PoolBytes(kSet);
    kSet.Remove(hText);
    int bExist = kUntouched;
    EXPECT_EQ(hText, kSet.Insert(VOTEXT("text"), &bExist));
    EXPECT_EQ(kUntouched, bExist);
    EXPECT_EQ(uPool, PoolBytes(kSet));
    EXPECT_EQ(VOTEXT("text"), TextOf(kSet, hText));
    EXPECT_EQ(4u, RecordOf(kSet, hText).dwState);
}

TEST(StringHashSet, AKeyIsFoundAndHasNoTextUntilTheStringIsInserted)
{
    VOStringHashSet kSet;
    int bExist = kUntouched;
    void* hKey = kSet.InsertKey(VOTEXT("key"), &bExist);
    EXPECT_EQ(kUntouched, bExist);
    EXPECT_EQ(hKey, kSet.Find(VOTEXT("key")));
    EXPECT_EQ(nullptr, kSet.GetString(hKey));
    EXPECT_EQ(0u, PoolBytes(kSet));
    EXPECT_EQ(kInvalidHandle, RecordOf(kSet, hKey).hString);
    EXPECT_EQ(0u, RecordOf(kSet, hKey).dwState);

    EXPECT_EQ(hKey, kSet.Insert(VOTEXT("key"), &bExist));
    EXPECT_EQ(kUntouched, bExist);
    EXPECT_EQ(VOTEXT("key"), TextOf(kSet, hKey));
    EXPECT_EQ(4u, RecordOf(kSet, hKey).dwState);
}

TEST(StringHashSet, InsertKeyOfAKeySetsExist)
{
    VOStringHashSet kSet;
    void* hKey = kSet.InsertKey(VOTEXT("key"));
    int bExist = kUntouched;
    EXPECT_EQ(hKey, kSet.InsertKey(VOTEXT("key"), &bExist));
    EXPECT_EQ(1, bExist);
}

TEST(StringHashSet, InsertKeyOfAStringWithTextSetsExistAndTheTextStays)
{
    VOStringHashSet kSet;
    void* hText = kSet.Insert(VOTEXT("text"));
    int bExist = kUntouched;
    EXPECT_EQ(hText, kSet.InsertKey(VOTEXT("text"), &bExist));
    EXPECT_EQ(1, bExist);
    EXPECT_EQ(VOTEXT("text"), TextOf(kSet, hText));
    EXPECT_EQ(4u, RecordOf(kSet, hText).dwState);
}

TEST(StringHashSet, InsertKeyOfARemovedStringHidesItsText)
{
    VOStringHashSet kSet;
    void* hText = kSet.Insert(VOTEXT("text"));
    kSet.Remove(hText);
    int bExist = kUntouched;
    EXPECT_EQ(hText, kSet.InsertKey(VOTEXT("text"), &bExist));
    EXPECT_EQ(kUntouched, bExist);
    EXPECT_EQ(hText, kSet.Find(VOTEXT("text")));
    EXPECT_EQ(nullptr, kSet.GetString(hText));
    EXPECT_EQ(0u, RecordOf(kSet, hText).dwState);
    EXPECT_EQ(0u, RecordOf(kSet, hText).hString);

    // The hidden text comes back without a second copy.
    const size_t uPool = PoolBytes(kSet);
    EXPECT_EQ(hText, kSet.Insert(VOTEXT("text"), &bExist));
    EXPECT_EQ(kUntouched, bExist);
    EXPECT_EQ(uPool, PoolBytes(kSet));
    EXPECT_EQ(VOTEXT("text"), TextOf(kSet, hText));
}

TEST(StringHashSet, InsertOfARemovedKeyAddsItsText)
{
    VOStringHashSet kSet;
    void* hKey = kSet.InsertKey(VOTEXT("key"));
    kSet.Remove(hKey);
    int bExist = kUntouched;
    EXPECT_EQ(hKey, kSet.Insert(VOTEXT("key"), &bExist));
    EXPECT_EQ(kUntouched, bExist);
    EXPECT_EQ(VOTEXT("key"), TextOf(kSet, hKey));
    EXPECT_EQ(9u, PoolBytes(kSet));
}

TEST(StringHashSet, RemoveOfTheInvalidHandleOrOfOneAtTheRecordCountIs0)
{
    VOStringHashSet kSet;
    EXPECT_EQ(0, kSet.Remove(Handle(0)));
    kSet.Insert(VOTEXT("text"));
    EXPECT_EQ(0, kSet.Remove(INVALID_HANDLE_VALUE));
    EXPECT_EQ(0, kSet.Remove(Handle(1)));
    EXPECT_EQ(0u, Number(kSet.Find(VOTEXT("text"))));
}

TEST(StringHashSet, GetStringOfWhatIsNoRecordIsAnEmptyPointer)
{
    VOStringHashSet kSet;
    EXPECT_EQ(nullptr, kSet.GetString(Handle(0)));
    kSet.Insert(VOTEXT("text"));
    EXPECT_EQ(nullptr, kSet.GetString(INVALID_HANDLE_VALUE));
    EXPECT_EQ(nullptr, kSet.GetString(Handle(1)));
    EXPECT_EQ(VOTEXT("text"), TextOf(kSet, Handle(0x500000000ull)));
}

TEST(StringHashSet, AnEmptySetCounts0AndHasNoFirstEntry)
{
    const VOStringHashSet kSet;
    VOStringHashSet::Iterator kIterator;
    EXPECT_EQ(0u, kSet.Count());
    EXPECT_EQ(0, kSet.GetFirst(kIterator));
    EXPECT_EQ(INVALID_HANDLE_VALUE, kSet.Find(VOTEXT("")));
}

TEST(StringHashSet, AnEmptyPointerIsNeitherInsertedNorFound)
{
    VOStringHashSet kSet;
    int bExist = kUntouched;
    EXPECT_EQ(INVALID_HANDLE_VALUE, kSet.Insert(nullptr, &bExist));
    EXPECT_EQ(INVALID_HANDLE_VALUE, kSet.InsertKey(nullptr, &bExist));
    EXPECT_EQ(INVALID_HANDLE_VALUE, kSet.Find(nullptr));
    EXPECT_EQ(kUntouched, bExist);
    EXPECT_EQ(0u, kSet.Count());
}

TEST(StringHashSet, OrdinaryWorkLogsNothing)
{
    const LogCapture kLog;
    {
        VOStringHashSet kSet;
        void* hText = kSet.Insert(VOTEXT("text"));
        kSet.InsertKey(VOTEXT("key"));
        kSet.Find(VOTEXT("unknown"));
        kSet.Remove(hText);
        kSet.Remove(INVALID_HANDLE_VALUE);
        kSet.GetString(hText);
        kSet.ShrinkToFit();
        WalkOf(kSet);
        ImageOf(kSet);
        kSet.SetAlloc(nullptr, 0);
        kSet.CleanUp();
        VOStringHashSet kCustomer(VOStringHashSet::SHR_Customer);
        kCustomer.Insert(VOTEXT("text"));
        kCustomer.Find(VOTEXT("text"));
        kCustomer.Remove(hText);
        kCustomer.CleanUp();
    }
    EXPECT_EQ(0u, kLog.Count());
}

TEST(StringHashSet, InHashOnlyModeInsertKeepsNoTextAsInsertKeyDoes)
{
    VOStringHashSet kSet(VOStringHashSet::SHR_Provider, VOStringHashSet::SHM_HashOnly);
    int bExist = kUntouched;
    void* hText = kSet.Insert(VOTEXT("text"), &bExist);
    EXPECT_EQ(kUntouched, bExist);
    EXPECT_EQ(hText, kSet.Find(VOTEXT("text")));
    EXPECT_EQ(nullptr, kSet.GetString(hText));
    EXPECT_EQ(0u, RecordOf(kSet, hText).dwState);
    EXPECT_EQ(0u, PoolBytes(kSet));
    EXPECT_EQ(hText, kSet.Insert(VOTEXT("text"), &bExist));
    EXPECT_EQ(1, bExist);

    kSet.Remove(hText);
    bExist = kUntouched;
    EXPECT_EQ(hText, kSet.Insert(VOTEXT("text"), &bExist));
    EXPECT_EQ(kUntouched, bExist);
    EXPECT_EQ(0u, RecordOf(kSet, hText).dwState);
    EXPECT_EQ(0u, PoolBytes(kSet));
}

TEST(StringHashSet, InHashOnlyModeInsertTakesTheTextStateOfALoadedStringAway)
{
    // The wanted state is 0 in this mode, so a record with text counts as one in another state.
    VOStringHashSet kSource;
    kSource.Insert(VOTEXT("text"));
    const MisalignedBlock kImage(ImageOf(kSource), 1);
    VOStringHashSet kSet(VOStringHashSet::SHR_Provider, VOStringHashSet::SHM_HashOnly);
    ASSERT_EQ(1, Set(kSet, kImage, 1));
    int bExist = kUntouched;
    EXPECT_EQ(0u, Number(kSet.Insert(VOTEXT("text"), &bExist)));
    EXPECT_EQ(kUntouched, bExist);
    EXPECT_EQ(nullptr, kSet.GetString(Handle(0)));
    EXPECT_EQ(0u, RecordOf(kSet, Handle(0)).dwState);
}

TEST(StringHashSet, TheWalkGoesUpTheFirstHashWithPrimaryRecordsFirstAndShowsAllStates)
{
    VOStringHashSet kSet;
    const std::vector<VOWString> vecGroup = CollidingGroup(0);
    std::vector<std::pair<uint32_t, uint64_t>> vecExpected;
    for (const char* pszText : {"delta", "alpha", "charlie", "bravo", "echo"})
    {
        vecExpected.push_back({ReferenceHash(Wide(pszText), 0), Number(kSet.Insert(Wide(pszText).c_str()))});
    }
    vecExpected.push_back({ReferenceHash(vecGroup[0], 0), Number(kSet.InsertKey(vecGroup[0].c_str()))});
    void* hConflict = kSet.Insert(vecGroup[1].c_str());
    kSet.Remove(kSet.Find(VOTEXT("alpha")));

    std::sort(vecExpected.begin(), vecExpected.end());
    std::vector<uint64_t> vecHandle;
    for (const auto& [uHash, ullHandle] : vecExpected)
    {
        vecHandle.push_back(ullHandle);
    }
    vecHandle.push_back(Number(hConflict));
    EXPECT_EQ(vecHandle, WalkOf(kSet));
}

TEST(StringHashSet, HasNextStopsAtTheEndOfTheConflictMap)
{
    VOStringHashSet kSet;
    const std::vector<VOWString> vecGroup = CollidingGroup(0);
    kSet.Insert(vecGroup[0].c_str());
    kSet.Insert(vecGroup[1].c_str());
    VOStringHashSet::Iterator kIterator;
    ASSERT_EQ(1, kSet.GetFirst(kIterator));
    EXPECT_EQ(1u, kIterator.uStage);
    EXPECT_EQ(0u, Number(kIterator.hString));
    ASSERT_EQ(1, kSet.HasNext(kIterator));
    EXPECT_EQ(2u, kIterator.uStage);
    EXPECT_EQ(1u, Number(kIterator.hString));
    EXPECT_EQ(0, kSet.HasNext(kIterator));
}

TEST(StringHashSet, HasNextOfACursorInNoStageIs0)
{
    VOStringHashSet kSet;
    kSet.Insert(VOTEXT("text"));
    VOStringHashSet::Iterator kIterator;
    EXPECT_EQ(0, kSet.HasNext(kIterator));
    ASSERT_EQ(1, kSet.GetFirst(kIterator));
    kIterator.uStage = 3;
    EXPECT_EQ(0, kSet.HasNext(kIterator));
}

TEST(StringHashSet, TwoStringsOfOneFirstHashAreToldApartThroughTheConflictMap)
{
    for (size_t uGroup = 0; uGroup < CollidingTexts().size(); ++uGroup)
    {
        const std::vector<VOWString> vecGroup = CollidingGroup(uGroup);
        VOStringHashSet kSet;
        void* hFirst = kSet.Insert(vecGroup[0].c_str());
        void* hSecond = kSet.Insert(vecGroup[1].c_str());
        EXPECT_NE(hFirst, hSecond);
        EXPECT_EQ(2u, kSet.Count());
        EXPECT_EQ(hFirst, kSet.Find(vecGroup[0].c_str()));
        EXPECT_EQ(hSecond, kSet.Find(vecGroup[1].c_str()));
        EXPECT_EQ(vecGroup[0], TextOf(kSet, hFirst));
        EXPECT_EQ(vecGroup[1], TextOf(kSet, hSecond));
        EXPECT_EQ(1u, RecordOf(kSet, hFirst).dwHashMask);
        EXPECT_EQ(3u, RecordOf(kSet, hSecond).dwHashMask);
        EXPECT_EQ(ReferenceHash(vecGroup[1], 1), RecordOf(kSet, hSecond).uHash1);
    }
}

TEST(StringHashSet, ADerivedClassSeesItsRecordsMapsAndPool)
{
    const std::vector<VOWString> vecGroup = CollidingGroup(0);
    OpenSet kSet;
    EXPECT_EQ(VOStringHashSet::SHR_Provider, kSet.m_eHashRole);
    EXPECT_EQ(VOStringHashSet::SHM_HashAndString, kSet.m_eHashMode);
    kSet.Insert(vecGroup[0].c_str());
    kSet.Insert(vecGroup[1].c_str());
    EXPECT_EQ(2u, kSet.m_vecHashStringParam.Count());
    EXPECT_EQ(3u, kSet.m_vecHashStringParam[1].dwHashMask);
    EXPECT_EQ(1u, kSet.m_mapHashString.Count());
    EXPECT_EQ(1u, kSet.m_mapHashConflict.Count());
    EXPECT_EQ(2u, kSet.m_pkStringPool->Count());
}

TEST(StringHashSet, AThirdStringOfOneFirstHashIsTakenForTheSecond)
{
    const std::vector<VOWString> vecGroup = CollidingGroup(1);
    VOStringHashSet kSet;
    kSet.Insert(vecGroup[0].c_str());
    void* hSecond = kSet.Insert(vecGroup[1].c_str());
    const size_t uPool = PoolBytes(kSet);
    int bExist = kUntouched;
    EXPECT_EQ(hSecond, kSet.Insert(vecGroup[2].c_str(), &bExist));
    EXPECT_EQ(1, bExist);
    EXPECT_EQ(hSecond, kSet.Find(vecGroup[2].c_str()));
    EXPECT_EQ(hSecond, kSet.Find(vecGroup[3].c_str()));
    EXPECT_EQ(hSecond, kSet.InsertKey(vecGroup[3].c_str()));
    EXPECT_EQ(2u, kSet.Count());
    EXPECT_EQ(uPool, PoolBytes(kSet));
    EXPECT_EQ(vecGroup[1], TextOf(kSet, hSecond));
}

TEST(StringHashSet, AThirdStringThatRevivesTheSecondLeavesItsHashAndTheSecondsText)
{
    const std::vector<VOWString> vecGroup = CollidingGroup(2);
    VOStringHashSet kSet;
    kSet.Insert(vecGroup[0].c_str());
    void* hSecond = kSet.Insert(vecGroup[1].c_str());
    kSet.Remove(hSecond);
    EXPECT_EQ(INVALID_HANDLE_VALUE, kSet.Find(vecGroup[2].c_str()));
    EXPECT_EQ(hSecond, kSet.Insert(vecGroup[2].c_str()));
    EXPECT_EQ(vecGroup[1], TextOf(kSet, hSecond));
    EXPECT_EQ(ReferenceHash(vecGroup[2], 1), RecordOf(kSet, hSecond).uHash1);
    EXPECT_EQ(3u, RecordOf(kSet, hSecond).dwHashMask);
}

TEST(StringHashSet, ARemovedFirstStringKeepsItsPlaceInThePrimaryMap)
{
    const std::vector<VOWString> vecGroup = CollidingGroup(3);
    VOStringHashSet kSet;
    void* hFirst = kSet.Insert(vecGroup[0].c_str());
    kSet.Remove(hFirst);
    void* hSecond = kSet.Insert(vecGroup[1].c_str());
    EXPECT_NE(hFirst, hSecond);
    EXPECT_EQ(3u, RecordOf(kSet, hSecond).dwHashMask);
    EXPECT_EQ(hFirst, kSet.Insert(vecGroup[0].c_str()));
    EXPECT_EQ(hSecond, kSet.Find(vecGroup[1].c_str()));
}

TEST(StringHashSet, TwoStringsThatAgreeInBothHashesAreOneString)
{
    for (const auto& rkPair : TwinTexts())
    {
        VOStringHashSet kSet;
        void* hFirst = kSet.Insert(Wide(rkPair[0]).c_str());
        int bExist = kUntouched;
        EXPECT_EQ(hFirst, kSet.Insert(Wide(rkPair[1]).c_str(), &bExist));
        EXPECT_EQ(1, bExist);
        EXPECT_EQ(hFirst, kSet.Find(Wide(rkPair[1]).c_str()));
        EXPECT_EQ(Wide(rkPair[0]), TextOf(kSet, hFirst));
        EXPECT_EQ(1u, kSet.Count());
    }
}

TEST(StringHashSet, CleanUpForgetsAllAndTheNextStringGetsHandle0)
{
    const std::vector<VOWString> vecGroup = CollidingGroup(4);
    VOStringHashSet kSet;
    void* hFirst = kSet.Insert(vecGroup[0].c_str());
    kSet.Insert(vecGroup[1].c_str());
    EXPECT_EQ(1, kSet.CleanUp());
    EXPECT_EQ(0u, kSet.Count());
    EXPECT_EQ(nullptr, kSet.GetString(hFirst));
    EXPECT_EQ(INVALID_HANDLE_VALUE, kSet.Find(vecGroup[0].c_str()));
    EXPECT_TRUE(SameBytes(StringSetModel().Image(), ImageOf(kSet)));
    EXPECT_EQ(0u, Number(kSet.Insert(vecGroup[1].c_str())));
    EXPECT_EQ(1u, RecordOf(kSet, Handle(0)).dwHashMask);
}

TEST(StringHashSet, ShrinkToFitChangesNoAnswer)
{
    VOStringHashSet kSet;
    EXPECT_EQ(1, kSet.ShrinkToFit());
    void* hText = kSet.Insert(VOTEXT("text"));
    const Bytes vecImage = ImageOf(kSet);
    EXPECT_EQ(1, kSet.ShrinkToFit());
    EXPECT_TRUE(SameBytes(vecImage, ImageOf(kSet)));
    EXPECT_EQ(hText, kSet.Find(VOTEXT("text")));
    EXPECT_EQ(1u, Number(kSet.Insert(VOTEXT("more"))));
}

TEST(StringHashSet, ACustomerWithoutAnImageAnswersAsNotFound)
{
    VOStringHashSet kSet(VOStringHashSet::SHR_Customer);
    int bExist = kUntouched;
    EXPECT_EQ(INVALID_HANDLE_VALUE, kSet.Insert(VOTEXT("text"), &bExist));
    EXPECT_EQ(INVALID_HANDLE_VALUE, kSet.InsertKey(VOTEXT("text"), &bExist));
    EXPECT_EQ(kUntouched, bExist);
    EXPECT_EQ(INVALID_HANDLE_VALUE, kSet.Find(VOTEXT("text")));
    EXPECT_EQ(0, kSet.Remove(Handle(0)));
    EXPECT_EQ(0, kSet.ShrinkToFit());
    EXPECT_EQ(0u, kSet.Count());
    VOStringHashSet::Iterator kIterator;
    EXPECT_EQ(0, kSet.GetFirst(kIterator));
    EXPECT_EQ(1, kSet.CleanUp());
}

TEST(StringHashSet, FindHashStringTellsHashesAndMaskAndDoesNotLookAtTheState)
{
    const std::vector<VOWString> vecGroup = CollidingGroup(5);
    OpenSet kSet;
    void* hFirst = kSet.Insert(vecGroup[0].c_str());
    void* hSecond = kSet.Insert(vecGroup[1].c_str());
    kSet.Remove(hFirst);

    unsigned int uHash0 = 0;
    unsigned int uHash1 = 0;
    unsigned int uHash2 = 77;
    VOULONG dwHashMask = 0;
    void* hString = nullptr;
    EXPECT_EQ(1, kSet._FindHashString_P(vecGroup[0].c_str(), uHash0, uHash1, uHash2, dwHashMask, hString));
    EXPECT_EQ(hFirst, hString);
    EXPECT_EQ(1u, dwHashMask);
    EXPECT_EQ(ReferenceHash(vecGroup[0], 0), uHash0);
    EXPECT_EQ(ReferenceHash(vecGroup[0], 1), uHash1);
    EXPECT_EQ(77u, uHash2);

    dwHashMask = 8;
    EXPECT_EQ(1, kSet._FindHashString_P(vecGroup[1].c_str(), uHash0, uHash1, uHash2, dwHashMask, hString));
    EXPECT_EQ(hSecond, hString);
    EXPECT_EQ(11u, dwHashMask);

    dwHashMask = 0;
    hString = Handle(5);
    EXPECT_EQ(0, kSet._FindHashString_P(VOTEXT("unknown"), uHash0, uHash1, uHash2, dwHashMask, hString));
    EXPECT_EQ(1u, dwHashMask);
    EXPECT_EQ(5u, Number(hString));
    EXPECT_EQ(ReferenceHash(VOTEXT("unknown"), 1), uHash1);
}

TEST(StringHashSet, FindHashStringGoesOnToTheConflictMapAlsoWhenThatHasNothing)
{
    const std::vector<VOWString> vecGroup = CollidingGroup(6);
    OpenSet kSet;
    kSet.Insert(vecGroup[0].c_str());
    unsigned int uHash0 = 0;
    unsigned int uHash1 = 0;
    unsigned int uHash2 = 0;
    VOULONG dwHashMask = 0;
    void* hString = nullptr;
    EXPECT_EQ(0, kSet._FindHashString_P(vecGroup[1].c_str(), uHash0, uHash1, uHash2, dwHashMask, hString));
    EXPECT_EQ(3u, dwHashMask);
}

TEST(StringHashSet, AddHashStringParamPushesARecordInState0)
{
    OpenSet kSet;
    EXPECT_EQ(0u, Number(kSet._AddHashStringParam_P(Handle(9), 3, 0x11, 0x22, 0x33)));
    EXPECT_EQ(1u, Number(kSet._AddHashStringParam_P(INVALID_HANDLE_VALUE, 1, 0x44, 0x55, 0x66)));
    EXPECT_EQ(9u, RecordOf(kSet, Handle(0)).hString);
    EXPECT_EQ(0u, RecordOf(kSet, Handle(0)).dwState);
    EXPECT_EQ(3u, RecordOf(kSet, Handle(0)).dwHashMask);
    EXPECT_EQ(0x11u, RecordOf(kSet, Handle(0)).uHash0);
    EXPECT_EQ(0x22u, RecordOf(kSet, Handle(0)).uHash1);
    EXPECT_EQ(0x44u, RecordOf(kSet, Handle(1)).uHash0);
    EXPECT_EQ(0u, kSet.Count());
}

TEST(StringHashSet, ResetHashStringParamWritesAllFieldsOfTheGivenRecord)
{
    OpenSet kSet;
    VOStringHashSet::StringHashParam kParam;
    EXPECT_EQ(0, kSet._ResetHashStringParam(Handle(9), 3, 4, 0x11, 0x22, 0x33, nullptr));
    EXPECT_EQ(1, kSet._ResetHashStringParam(Handle(9), 3, 4, 0x11, 0x22, 0x33, &kParam));
    EXPECT_EQ(9u, Number(kParam.hString));
    EXPECT_EQ(4u, kParam.dwState);
    EXPECT_EQ(3u, kParam.dwHashMask);
    EXPECT_EQ(0x11u, kParam.uHash0);
    EXPECT_EQ(0x22u, kParam.uHash1);
}

TEST(StringHashSet, InsertingOneStringAgainAndAgainGivesWhatALookupGives)
{
    const std::vector<VOWString> vecGroup = CollidingGroup(9);
    VOStringHashSet kSet;
    void* hFirst = kSet.Insert(vecGroup[0].c_str());
    void* hSecond = kSet.Insert(vecGroup[1].c_str());
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_EQ(hSecond, kSet.Insert(vecGroup[1].c_str()));
        EXPECT_EQ(hSecond, kSet.Insert(vecGroup[2].c_str()));
        EXPECT_EQ(hFirst, kSet.Insert(vecGroup[0].c_str()));
        EXPECT_EQ(hFirst, kSet.Insert(vecGroup[0].c_str()));
    }
    kSet.Remove(hFirst);
    int bExist = kUntouched;
    EXPECT_EQ(hFirst, kSet.Insert(vecGroup[0].c_str(), &bExist));
    EXPECT_EQ(kUntouched, bExist);
    EXPECT_EQ(hFirst, kSet.Insert(vecGroup[0].c_str(), &bExist));
    EXPECT_EQ(1, bExist);

    kSet.CleanUp();
    bExist = kUntouched;
    EXPECT_EQ(0u, Number(kSet.Insert(VOTEXT("other"), &bExist)));
    EXPECT_EQ(1u, Number(kSet.Insert(vecGroup[0].c_str(), &bExist)));
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
        VOStringHashSet kSet;
        void* hFirst = kSet.Insert(strFirst.c_str());
        EXPECT_EQ(hFirst, kSet.Insert(strFirst.c_str()));
        EXPECT_NE(hFirst, kSet.Insert(strSecond.c_str())) << Shown(strFirst) << " and " << Shown(strSecond);
        EXPECT_EQ(2u, kSet.Count()) << Shown(strFirst) << " and " << Shown(strSecond);
    }
}
