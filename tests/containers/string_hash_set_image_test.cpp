// The image of VOStringHashSet: exact bytes, the Customer's side, a Provider that takes an image up again.
#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "support/colliding_texts.h"
#include "support/log_capture.h"
#include "support/opened_containers.h"
#include "support/string_set_model.h"
#include "support/text.h"

using namespace votest;

namespace
{
class OpenImageSet : public VOStringHashSet
{
public:
    using VOStringHashSet::_FindHashString_C;
    using VOStringHashSet::_SetAlloc_C;
    using VOStringHashSet::_SetAlloc_P;
    using VOStringHashSet::VOStringHashSet;
};

constexpr VOStringHashSet::StringHashRole kProvider = VOStringHashSet::SHR_Provider;
constexpr VOStringHashSet::StringHashRole kCustomer = VOStringHashSet::SHR_Customer;

const char* const kEmptySet = R"(
    76 65 72 2e 31 2e 31 00                                # ver.1.1
    14 00 00 00  3c 00 00 00  38 00 00 00  38 00 00 00     # 20, 60, 56 and 56 bytes
    c0 00 00 00                                            # 192
      76 65 72 2e 31 2e 30 00  00 00 00 00  00 00 00 00  00 00 00 00
      76 65 72 2e 31 2e 30 00  2c 00 00 00
        76 65 72 2e 31 2e 30 00  00 00 00 00  14 00 00 00  14 00 00 00
          76 65 72 2e 31 2e 30 00  00 00 00 00  00 00 00 00  00 00 00 00
        00 00 00 00
      00 00 00 00
      76 65 72 2e 31 2e 30 00  00 00 00 00  24 00 00 00
        76 65 72 2e 31 2e 30 00  01 00 00 00  10 00 00 00
        00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00
        00 00 00 00
      00 00 00 00
      76 65 72 2e 31 2e 30 00  00 00 00 00  24 00 00 00
        76 65 72 2e 31 2e 30 00  01 00 00 00  10 00 00 00
        00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00
        00 00 00 00
      00 00 00 00
    00 00 00 00
)";

// "abc" with text (handle 0) and "a" as key only (handle 1), from the published hash values. The primary table has 4
// slots; FNV-1a over the bytes ea c6 39 d8 and 68 3d c6 7d of the two keys ends in the bits 00 and 11.
const char* const kTwoStrings = R"(
    76 65 72 2e 31 2e 31 00
    44 00 00 00  4d 00 00 00  68 00 00 00  38 00 00 00     # 20 + 2 * 24, 60 + 9 + 8, 40 + 4 * 16, 56
    31 01 00 00
      76 65 72 2e 31 2e 30 00  02 00 00 00  30 00 00 00
        00 00 00 00 00 00 00 00  04 00 00 00  01 00 00 00  ea c6 39 d8  a4 fc f5 ba
        ff ff ff ff ff ff ff ff  00 00 00 00  01 00 00 00  68 3d c6 7d  f4 f6 bb b0
        00 00 00 00
      76 65 72 2e 31 2e 30 00  3d 00 00 00
        76 65 72 2e 31 2e 30 00  09 00 00 00  1c 00 00 00  25 00 00 00
          61 00 62 00 63 00 00 00 00
          76 65 72 2e 31 2e 30 00  01 00 00 00  08 00 00 00
          00 00 00 00 00 00 00 00
          00 00 00 00
        00 00 00 00
      00 00 00 00
      76 65 72 2e 31 2e 30 00  02 00 00 00  54 00 00 00
        76 65 72 2e 31 2e 30 00  04 00 00 00  40 00 00 00
        ea c6 39 d8  00 00 00 00 00 00 00 00  01 00 00 00
        00 00 00 00  00 00 00 00 00 00 00 00  00 00 00 00
        00 00 00 00  00 00 00 00 00 00 00 00  00 00 00 00
        68 3d c6 7d  01 00 00 00 00 00 00 00  01 00 00 00
        00 00 00 00
      00 00 00 00
      76 65 72 2e 31 2e 30 00  00 00 00 00  24 00 00 00
        76 65 72 2e 31 2e 30 00  01 00 00 00  10 00 00 00
        00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00
        00 00 00 00
      00 00 00 00
    00 00 00 00
)";

// A set with every kind of record, its model, and the texts that were used.
struct Filled
{
    VOStringHashSet kSet;
    StringSetModel kModel;
    std::vector<VOWString> vecText;

    Filled()
    {
        for (const char* pszText : {"models/hero.mesh", "models", "a", "", "textures/wall_01.dds", "zz"})
        {
            Insert(Wide(pszText));
        }
        Insert(VOTEXT("\u4E2D\u0100\u00E4"));
        InsertKey(VOTEXT("key only"));
        for (size_t uGroup = 0; uGroup < 3; ++uGroup)
        {
            for (const VOWString& rkText : CollidingGroup(uGroup))
            {
                Insert(rkText);
            }
        }
        Remove(VOTEXT("models"));
        Remove(CollidingGroup(1)[1]);
        InsertKey(VOTEXT("a removed key"));
        Remove(VOTEXT("a removed key"));
        vecText.push_back(VOTEXT("unknown"));
    }

    void Insert(const VOWString& strText)
    {
        bool bExist = false;
        kSet.Insert(strText.c_str());
        kModel.Insert(strText, bExist);
        vecText.push_back(strText);
    }

    void InsertKey(const VOWString& strText)
    {
        bool bExist = false;
        kSet.InsertKey(strText.c_str());
        kModel.InsertKey(strText, bExist);
        vecText.push_back(strText);
    }

    void Remove(const VOWString& strText)
    {
        kSet.Remove(kSet.Find(strText.c_str()));
        kModel.Remove(kModel.Find(strText));
    }
};
}  // namespace

TEST(StringSetImage, OfAnEmptySetIsExactlyTheFormatAndIsLoaded)
{
    const VOStringHashSet kSource;
    EXPECT_TRUE(SameBytes(FromHex(kEmptySet), ImageOf(kSource)));
    EXPECT_EQ(FromHex(kEmptySet).size(), kSource.AllocSize());
    for (const int bCopy : {0, 1})
    {
        const MisalignedBlock kImage(FromHex(kEmptySet), 1);
        VOStringHashSet kSet(kCustomer);
        ASSERT_EQ(1, Set(kSet, kImage, bCopy));
        VOStringHashSet::Iterator kIterator;
        EXPECT_EQ(0u, kSet.Count());
        EXPECT_EQ(0, kSet.GetFirst(kIterator));
        EXPECT_EQ(INVALID_HANDLE_VALUE, kSet.Find(VOTEXT("")));
    }
}

TEST(StringSetImage, OfTwoStringsIsExactlyTheFormat)
{
    VOStringHashSet kSet;
    kSet.Insert(VOTEXT("abc"));
    kSet.InsertKey(VOTEXT("a"));
    EXPECT_TRUE(SameBytes(FromHex(kTwoStrings), ImageOf(kSet)));
}

TEST(StringSetImage, OfEveryKindOfRecordIsExactlyThatOfTheModel)
{
    const Filled kFilled;
    EXPECT_TRUE(SameBytes(kFilled.kModel.Image(), ImageOf(kFilled.kSet)));
}

TEST(StringSetImage, MakingOneLeavesTheSetAsItWas)
{
    const Filled kFilled;
    ImageOf(kFilled.kSet);
    ExpectSame(kFilled.kModel, kFilled.kSet, false, kFilled.vecText);
}

TEST(StringSetImage, WriteAllocWritesTheImageIntoZeroedMemory)
{
    const Filled kFilled;
    const MisalignedBlock kBlock(Bytes(static_cast<size_t>(kFilled.kSet.AllocSize()), 0), 3);
    EXPECT_EQ(1, kFilled.kSet.WriteAlloc(kBlock.Data()));
    EXPECT_TRUE(SameBytes(kFilled.kModel.Image(), kBlock.Current()));
}

TEST(StringSetImage, ACustomerGivesAllAnswersFromItAtEveryMisalignment)
{
    const Filled kFilled;
    const Bytes vecImage = ImageOf(kFilled.kSet);
    for (size_t uMisalignment = 0; uMisalignment < 16; ++uMisalignment)
    {
        for (const int bCopy : {0, 1})
        {
            const MisalignedBlock kImage(vecImage, uMisalignment);
            VOStringHashSet kSet(kCustomer);
            ASSERT_EQ(1, Set(kSet, kImage, bCopy));
            ExpectSame(kFilled.kModel, kSet, true, kFilled.vecText);
            EXPECT_TRUE(SameBytes(vecImage, kImage.Current()));
        }
    }
}

TEST(StringSetImage, AProviderGivesAllAnswersFromItAtEveryMisalignment)
{
    const Filled kFilled;
    const Bytes vecImage = ImageOf(kFilled.kSet);
    for (size_t uMisalignment = 0; uMisalignment < 16; ++uMisalignment)
    {
        for (const int bCopy : {0, 1})
        {
            const MisalignedBlock kImage(vecImage, uMisalignment);
            VOStringHashSet kSet(kProvider);
            ASSERT_EQ(1, Set(kSet, kImage, bCopy));
            ExpectSame(kFilled.kModel, kSet, false, kFilled.vecText);
            EXPECT_TRUE(SameBytes(vecImage, ImageOf(kSet)));
        }
    }
}

TEST(StringSetImage, StringsOfOneFirstHashAreToldApartOnACustomerAsOnTheProvider)
{
    const std::vector<VOWString> vecGroup = CollidingGroup(7);
    VOStringHashSet kSource;
    kSource.Insert(vecGroup[0].c_str());
    kSource.Insert(vecGroup[1].c_str());
    const MisalignedBlock kImage(ImageOf(kSource), 1);
    VOStringHashSet kSet(kCustomer);
    ASSERT_EQ(1, Set(kSet, kImage, 0));
    EXPECT_EQ(0u, Number(kSet.Find(vecGroup[0].c_str())));
    EXPECT_EQ(1u, Number(kSet.Find(vecGroup[1].c_str())));
    EXPECT_EQ(1u, Number(kSet.Find(vecGroup[2].c_str())));
    EXPECT_EQ(vecGroup[1], ReadText(kSet.GetString(Handle(1))));
    EXPECT_EQ(2u, kSet.Count());
}

TEST(StringSetImage, ARemovedStringIsNotFoundOnACustomerButCountedAndShownByTheWalk)
{
    VOStringHashSet kSource;
    kSource.Insert(VOTEXT("kept"));
    void* hGone = kSource.Insert(VOTEXT("gone"));
    kSource.Remove(hGone);
    const MisalignedBlock kImage(ImageOf(kSource), 1);
    VOStringHashSet kSet(kCustomer);
    ASSERT_EQ(1, Set(kSet, kImage, 0));
    EXPECT_EQ(INVALID_HANDLE_VALUE, kSet.Find(VOTEXT("gone")));
    EXPECT_EQ(2u, kSet.Count());
    EXPECT_EQ(2u, WalkOf(kSet).size());
    EXPECT_EQ(nullptr, kSet.GetString(hGone));
}

TEST(StringSetImage, ACustomerHasNoInsertNoRemoveAndNoShrinkToFit)
{
    const Filled kFilled;
    const MisalignedBlock kImage(ImageOf(kFilled.kSet), 1);
    VOStringHashSet kSet(kCustomer);
    ASSERT_EQ(1, Set(kSet, kImage, 0));
    int bExist = 5;
    EXPECT_EQ(INVALID_HANDLE_VALUE, kSet.Insert(VOTEXT("a"), &bExist));
    EXPECT_EQ(INVALID_HANDLE_VALUE, kSet.InsertKey(VOTEXT("new"), &bExist));
    EXPECT_EQ(5, bExist);
    EXPECT_EQ(0, kSet.Remove(Handle(0)));
    EXPECT_EQ(0, kSet.ShrinkToFit());
    ExpectSame(kFilled.kModel, kSet, true, kFilled.vecText);
}

TEST(StringSetImage, AfterCleanUpACustomerFindsNothingAndStillReadsTexts)
{
    const Filled kFilled;
    const Bytes vecImage = ImageOf(kFilled.kSet);
    for (const int bCopy : {0, 1})
    {
        const MisalignedBlock kImage(vecImage, 1);
        VOStringHashSet kSet(kCustomer);
        ASSERT_EQ(1, Set(kSet, kImage, bCopy));
        EXPECT_EQ(1, kSet.CleanUp());
        EXPECT_EQ(0u, kSet.Count());
        EXPECT_EQ(INVALID_HANDLE_VALUE, kSet.Find(VOTEXT("a")));
        EXPECT_EQ(VOTEXT("models/hero.mesh"), ReadText(kSet.GetString(Handle(0))));
        ASSERT_EQ(1, Set(kSet, kImage, bCopy));
        ExpectSame(kFilled.kModel, kSet, true, kFilled.vecText);
    }
}

TEST(StringSetImage, ASecondImageReplacesTheFirst)
{
    const Filled kFilled;
    const Bytes vecFirst = ImageOf(kFilled.kSet);
    for (const VOStringHashSet::StringHashRole eRole : {kProvider, kCustomer})
    {
        for (const int bCopy : {0, 1})
        {
            const MisalignedBlock kFirst(vecFirst, 1);
            const MisalignedBlock kSecond(FromHex(kTwoStrings), 2);
            VOStringHashSet kSet(eRole);
            ASSERT_EQ(1, Set(kSet, kFirst, bCopy));
            ASSERT_EQ(1, Set(kSet, kSecond, 1 - bCopy));
            EXPECT_EQ(2u, kSet.Count());
            EXPECT_EQ(0u, Number(kSet.Find(VOTEXT("abc"))));
            EXPECT_EQ(VOTEXT("abc"), ReadText(kSet.GetString(Handle(0))));
            EXPECT_EQ(nullptr, kSet.GetString(Handle(1)));
            EXPECT_EQ(nullptr, kSet.GetString(Handle(2)));
            EXPECT_EQ(INVALID_HANDLE_VALUE, kSet.Find(VOTEXT("models/hero.mesh")));
        }
    }
}

TEST(StringSetImage, ACopyOutlivesItsImage)
{
    const Filled kFilled;
    for (const VOStringHashSet::StringHashRole eRole : {kProvider, kCustomer})
    {
        VOStringHashSet kSet(eRole);
        {
            const MisalignedBlock kImage(ImageOf(kFilled.kSet), 1);
            ASSERT_EQ(1, Set(kSet, kImage, 1));
        }
        ExpectSame(kFilled.kModel, kSet, eRole == kCustomer, kFilled.vecText);
    }
}

TEST(StringSetImage, AViewedImageIsReleasedNeitherByCleanUpNorByTheDestructor)
{
    const Filled kFilled;
    const Bytes vecImage = ImageOf(kFilled.kSet);
    const MisalignedBlock kImage(vecImage, 1);
    for (const VOStringHashSet::StringHashRole eRole : {kProvider, kCustomer})
    {
        VOStringHashSet kSet(eRole);
        ASSERT_EQ(1, Set(kSet, kImage, 0));
        EXPECT_EQ(1, kSet.CleanUp());
        ASSERT_EQ(1, Set(kSet, kImage, 0));
    }
    EXPECT_TRUE(SameBytes(vecImage, kImage.Current()));
}

TEST(StringSetImage, AProviderGoesOnInsertingBehindTheLoadedRecords)
{
    for (const int bCopy : {0, 1})
    {
        Filled kFilled;
        const Bytes vecImage = ImageOf(kFilled.kSet);
        const MisalignedBlock kImage(vecImage, 1);
        VOStringHashSet kSet;
        ASSERT_EQ(1, Set(kSet, kImage, bCopy));
        int bExist = 0;
        EXPECT_EQ(0u, Number(kSet.Insert(VOTEXT("models/hero.mesh"), &bExist)));
        EXPECT_EQ(1, bExist);
        bool bModelExist = false;
        const uint64_t ullNew = kFilled.kModel.Insert(VOTEXT("a new one"), bModelExist);
        EXPECT_EQ(kFilled.kModel.RecordCount() - 1u, ullNew);
        EXPECT_EQ(ullNew, Number(kSet.Insert(VOTEXT("a new one"))));
        kFilled.vecText.push_back(VOTEXT("a new one"));
        ExpectSame(kFilled.kModel, kSet, false, kFilled.vecText);
        EXPECT_TRUE(SameBytes(kFilled.kModel.Image(), ImageOf(kSet)));
        EXPECT_TRUE(SameBytes(vecImage, kImage.Current()));
    }
}

TEST(StringSetImage, AProvidersViewIsWrittenByRemoveAndByARevivalUntilItGrows)
{
    const MisalignedBlock kImage(FromHex(kTwoStrings), 1);
    VOStringHashSet kSet;
    ASSERT_EQ(1, Set(kSet, kImage, 0));
    const size_t uState = 28 + 16 + 8;
    EXPECT_EQ(1, kSet.Remove(Handle(0)));
    EXPECT_EQ(2u, ReadU32(kImage.Current(), uState));
    EXPECT_EQ(0u, Number(kSet.Insert(VOTEXT("abc"))));
    EXPECT_EQ(4u, ReadU32(kImage.Current(), uState));

    kSet.Insert(VOTEXT("growth"));
    EXPECT_EQ(1, kSet.Remove(Handle(0)));
    EXPECT_EQ(4u, ReadU32(kImage.Current(), uState));
    EXPECT_EQ(INVALID_HANDLE_VALUE, kSet.Find(VOTEXT("abc")));
}

TEST(StringSetImage, ACopyingProviderNeverWritesTheImage)
{
    const MisalignedBlock kImage(FromHex(kTwoStrings), 1);
    VOStringHashSet kSet;
    ASSERT_EQ(1, Set(kSet, kImage, 1));
    EXPECT_EQ(1, kSet.Remove(Handle(0)));
    EXPECT_TRUE(SameBytes(FromHex(kTwoStrings), kImage.Current()));
}

TEST(StringSetImage, AReExportedCustomerSaysItsSlotTotalsAsElementCounts)
{
    const MisalignedBlock kImage(FromHex(kTwoStrings), 1);
    VOStringHashSet kSet(kCustomer);
    ASSERT_EQ(1, Set(kSet, kImage, 0));
    EXPECT_EQ(2u, kSet.Count());
    Bytes vecExpected = FromHex(kTwoStrings);
    WriteU32(vecExpected, 28 + 0x44 + 0x4D + 8, 4);
    WriteU32(vecExpected, 28 + 0x44 + 0x4D + 0x68 + 8, 1);
    const Bytes vecAgain = ImageOf(kSet);
    EXPECT_TRUE(SameBytes(vecExpected, vecAgain));

    const MisalignedBlock kAgain(vecAgain, 1);
    VOStringHashSet kSecond(kCustomer);
    ASSERT_EQ(1, Set(kSecond, kAgain, 0));
    EXPECT_EQ(5u, kSecond.Count());
    EXPECT_EQ(0u, Number(kSecond.Find(VOTEXT("abc"))));
    EXPECT_EQ(2u, WalkOf(kSecond).size());
}

TEST(StringSetImage, TheRoleDecidesWhichFormOfSetAllocServes)
{
    const MisalignedBlock kImage(FromHex(kTwoStrings), 1);
    auto* pAlloc = kImage.As<VOStringHashSet::StringHashSetAlloc>();
    OpenImageSet kWriter(kProvider);
    OpenImageSet kReader(kCustomer);
    EXPECT_EQ(0, kWriter._SetAlloc_C(pAlloc, 1));
    EXPECT_EQ(0, kReader._SetAlloc_P(pAlloc, 1));
    EXPECT_EQ(0u, kWriter.Count());
    EXPECT_EQ(0u, kReader.Count());
    EXPECT_EQ(1, kWriter._SetAlloc_P(pAlloc, 1));
    EXPECT_EQ(1, kReader._SetAlloc_C(pAlloc, 1));
    EXPECT_EQ(2u, kWriter.Count());
    EXPECT_EQ(2u, kReader.Count());
}

TEST(StringSetImage, AHeaderThatIsWrongIsRefusedInSilenceBeforeTheSetIsCleaned)
{
    const std::vector<std::function<void(Bytes&)>> vecDamage = {
        [](Bytes& rBytes) { rBytes[4] ^= 1; },
        [](Bytes& rBytes) { rBytes[7] = ' '; },
        [](Bytes& rBytes) { WriteU32(rBytes, 24, ReadU32(rBytes, 24) + 1); },
        [](Bytes& rBytes) { WriteU32(rBytes, 24, ReadU32(rBytes, 24) - 1); },
        [](Bytes& rBytes) { WriteU32(rBytes, 8, ReadU32(rBytes, 8) + 1); },
        [](Bytes& rBytes) { WriteU32(rBytes, 20, ReadU32(rBytes, 20) - 1); },
        [](Bytes& rBytes) { std::fill(rBytes.begin() + 8, rBytes.begin() + 28, static_cast<unsigned char>(0)); },
        // A sum that agrees only after a 32-bit overflow.
        [](Bytes& rBytes)
        {
            WriteU32(rBytes, 8, ReadU32(rBytes, 8) + 0x80000000u);
            WriteU32(rBytes, 12, ReadU32(rBytes, 12) + 0x80000000u);
        },
    };
    const LogCapture kLog;
    const Filled kFilled;
    const MisalignedBlock kGood(ImageOf(kFilled.kSet), 1);
    for (const VOStringHashSet::StringHashRole eRole : {kProvider, kCustomer})
    {
        for (const auto& fnDamage : vecDamage)
        {
            for (const int bCopy : {0, 1})
            {
                Bytes vecImage = FromHex(kTwoStrings);
                fnDamage(vecImage);
                const MisalignedBlock kImage(vecImage, 1);
                VOStringHashSet kSet(eRole);
                ASSERT_EQ(1, Set(kSet, kGood, 0));
                EXPECT_EQ(0, Set(kSet, kImage, bCopy));
                EXPECT_EQ(0, kSet.SetAlloc(nullptr, bCopy));
                ExpectSame(kFilled.kModel, kSet, eRole == kCustomer, kFilled.vecText);
            }
        }
    }
    EXPECT_EQ(0u, kLog.Count());
}

TEST(StringSetImage, APartThatIsWrongIsRefusedInSilenceAndTheSetCanBeCleanedAndUsedAgain)
{
    const size_t uRecords = 28;
    const size_t uPool = uRecords + 0x44;
    const size_t uPrimary = uPool + 0x4D;
    const size_t uConflict = uPrimary + 0x68;
    const LogCapture kLog;
    for (const VOStringHashSet::StringHashRole eRole : {kProvider, kCustomer})
    {
        for (const size_t uPart : {uRecords, uPool, uPool + 12, uPrimary, uPrimary + 16, uConflict, uConflict + 16})
        {
            Bytes vecImage = FromHex(kTwoStrings);
            vecImage[uPart] ^= 1;
            const MisalignedBlock kImage(vecImage, 1);
            const MisalignedBlock kGood(FromHex(kTwoStrings), 1);
            VOStringHashSet kSet(eRole);
            EXPECT_EQ(0, Set(kSet, kImage, 0)) << uPart;
            EXPECT_EQ(1, kSet.CleanUp());
            EXPECT_EQ(INVALID_HANDLE_VALUE, kSet.Find(VOTEXT("abc")));
            ASSERT_EQ(1, Set(kSet, kGood, 0));
            EXPECT_EQ(0u, Number(kSet.Find(VOTEXT("abc"))));
        }
    }
    EXPECT_EQ(0u, kLog.Count());
}

TEST(StringSetImage, ACustomersLookupReportsHashesAndMaskFromTheTables)
{
    const std::vector<VOWString> vecGroup = CollidingGroup(8);
    VOStringHashSet kSource;
    kSource.Insert(vecGroup[0].c_str());
    void* hSecond = kSource.Insert(vecGroup[1].c_str());
    kSource.Remove(hSecond);
    const MisalignedBlock kImage(ImageOf(kSource), 1);
    OpenImageSet kSet(kCustomer);
    ASSERT_EQ(1, Set(kSet, kImage, 0));
    unsigned int uHash0 = 0;
    unsigned int uHash1 = 0;
    unsigned int uHash2 = 77;
    VOULONG dwHashMask = 0;
    void* hString = nullptr;
    EXPECT_EQ(1, kSet._FindHashString_C(vecGroup[1].c_str(), uHash0, uHash1, uHash2, dwHashMask, hString));
    EXPECT_EQ(hSecond, hString);
    EXPECT_EQ(3u, dwHashMask);
    EXPECT_EQ(77u, uHash2);
    dwHashMask = 4;
    EXPECT_EQ(0, kSet._FindHashString_C(VOTEXT("unknown"), uHash0, uHash1, uHash2, dwHashMask, hString));
    EXPECT_EQ(5u, dwHashMask);
}

TEST(StringSetImage, GetFirstOfATableValueBehindTheRecordsIs0AndLeavesTheCursorAlone)
{
    Bytes vecImage = FromHex(kTwoStrings);
    const size_t uSlots = 28 + 0x44 + 0x4D + 32;
    for (size_t uSlot = 0; uSlot < 4; ++uSlot)
    {
        if (ReadU32(vecImage, uSlots + uSlot * 16 + 12) == 1)
        {
            WriteU64(vecImage, uSlots + uSlot * 16 + 4, 2);
        }
    }
    const MisalignedBlock kImage(vecImage, 1);
    VOStringHashSet kSet(kCustomer);
    ASSERT_EQ(1, Set(kSet, kImage, 0));
    VOStringHashSet::Iterator kIterator;
    kIterator.hString = Handle(99);
    kIterator.uStage = 7;
    EXPECT_EQ(0, kSet.GetFirst(kIterator));
    EXPECT_EQ(99u, Number(kIterator.hString));
    EXPECT_EQ(7u, kIterator.uStage);
    EXPECT_EQ(INVALID_HANDLE_VALUE, kSet.Find(VOTEXT("abc")));
    EXPECT_EQ(INVALID_HANDLE_VALUE, kSet.Find(VOTEXT("a")));
}

TEST(StringSetImage, ADuplicateKeyInAnImagesTableKeepsItsFirstValueOnAProvider)
{
    // Two used slots with the key of "abc": the first in slot order counts.
    Bytes vecImage = FromHex(kTwoStrings);
    const size_t uSlots = 28 + 0x44 + 0x4D + 32;
    std::vector<size_t> vecUsed;
    for (size_t uSlot = 0; uSlot < 4; ++uSlot)
    {
        if (ReadU32(vecImage, uSlots + uSlot * 16 + 12) == 1)
        {
            vecUsed.push_back(uSlots + uSlot * 16);
        }
    }
    ASSERT_EQ(2u, vecUsed.size());
    WriteU32(vecImage, vecUsed[0], 0xD839C6EA);
    WriteU64(vecImage, vecUsed[0] + 4, 0);
    WriteU32(vecImage, vecUsed[1], 0xD839C6EA);
    WriteU64(vecImage, vecUsed[1] + 4, 1);
    const MisalignedBlock kImage(vecImage, 1);
    VOStringHashSet kSet(kProvider);
    ASSERT_EQ(1, Set(kSet, kImage, 0));
    EXPECT_EQ(1u, kSet.Count());
    EXPECT_EQ(0u, Number(kSet.Find(VOTEXT("abc"))));
}

TEST(StringSetImage, OfTwoSetsThatWereFilledAlikeIsTheSame)
{
    const Filled kFirst;
    const std::vector<char> vecElsewhere(100000);
    const Filled kSecond;
    EXPECT_TRUE(SameBytes(ImageOf(kFirst.kSet), ImageOf(kSecond.kSet))) << "no address is in it";
}
