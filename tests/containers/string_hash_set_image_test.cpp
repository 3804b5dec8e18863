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
    VOStringHashSet set;
    StringSetModel model;
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
            for (const VOWString& text : CollidingGroup(uGroup))
            {
                Insert(text);
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
        set.Insert(strText.c_str());
        model.Insert(strText, bExist);
        vecText.push_back(strText);
    }

    void InsertKey(const VOWString& strText)
    {
        bool bExist = false;
        set.InsertKey(strText.c_str());
        model.InsertKey(strText, bExist);
        vecText.push_back(strText);
    }

    void Remove(const VOWString& strText)
    {
        set.Remove(set.Find(strText.c_str()));
        model.Remove(model.Find(strText));
    }
};
}  // namespace

TEST(StringSetImage, OfAnEmptySetIsExactlyTheFormatAndIsLoaded)
{
    const VOStringHashSet source;
    EXPECT_TRUE(SameBytes(FromHex(kEmptySet), ImageOf(source)));
    EXPECT_EQ(FromHex(kEmptySet).size(), source.AllocSize());
    for (const int bCopy : {0, 1})
    {
        const MisalignedBlock image(FromHex(kEmptySet), 1);
        VOStringHashSet set(kCustomer);
        ASSERT_EQ(1, Set(set, image, bCopy));
        VOStringHashSet::Iterator iterator;
        EXPECT_EQ(0u, set.Count());
        EXPECT_EQ(0, set.GetFirst(iterator));
        EXPECT_EQ(INVALID_HANDLE_VALUE, set.Find(VOTEXT("")));
    }
}

TEST(StringSetImage, OfTwoStringsIsExactlyTheFormat)
{
    VOStringHashSet set;
    set.Insert(VOTEXT("abc"));
    set.InsertKey(VOTEXT("a"));
    EXPECT_TRUE(SameBytes(FromHex(kTwoStrings), ImageOf(set)));
}

TEST(StringSetImage, OfEveryKindOfRecordIsExactlyThatOfTheModel)
{
    const Filled filled;
    EXPECT_TRUE(SameBytes(filled.model.Image(), ImageOf(filled.set)));
}

TEST(StringSetImage, MakingOneLeavesTheSetAsItWas)
{
    const Filled filled;
    ImageOf(filled.set);
    ExpectSame(filled.model, filled.set, false, filled.vecText);
}

TEST(StringSetImage, WriteAllocWritesTheImageIntoZeroedMemory)
{
    const Filled filled;
    const MisalignedBlock block(Bytes(static_cast<size_t>(filled.set.AllocSize()), 0), 3);
    EXPECT_EQ(1, filled.set.WriteAlloc(block.Data()));
    EXPECT_TRUE(SameBytes(filled.model.Image(), block.Current()));
}

TEST(StringSetImage, ACustomerGivesAllAnswersFromItAtEveryMisalignment)
{
    const Filled filled;
    const Bytes vecImage = ImageOf(filled.set);
    for (size_t uMisalignment = 0; uMisalignment < 16; ++uMisalignment)
    {
        for (const int bCopy : {0, 1})
        {
            const MisalignedBlock image(vecImage, uMisalignment);
            VOStringHashSet set(kCustomer);
            ASSERT_EQ(1, Set(set, image, bCopy));
            ExpectSame(filled.model, set, true, filled.vecText);
            EXPECT_TRUE(SameBytes(vecImage, image.Current()));
        }
    }
}

TEST(StringSetImage, AProviderGivesAllAnswersFromItAtEveryMisalignment)
{
    const Filled filled;
    const Bytes vecImage = ImageOf(filled.set);
    for (size_t uMisalignment = 0; uMisalignment < 16; ++uMisalignment)
    {
        for (const int bCopy : {0, 1})
        {
            const MisalignedBlock image(vecImage, uMisalignment);
            VOStringHashSet set(kProvider);
            ASSERT_EQ(1, Set(set, image, bCopy));
            ExpectSame(filled.model, set, false, filled.vecText);
            EXPECT_TRUE(SameBytes(vecImage, ImageOf(set)));
        }
    }
}

TEST(StringSetImage, StringsOfOneFirstHashAreToldApartOnACustomerAsOnTheProvider)
{
    const std::vector<VOWString> vecGroup = CollidingGroup(7);
    VOStringHashSet source;
    source.Insert(vecGroup[0].c_str());
    source.Insert(vecGroup[1].c_str());
    const MisalignedBlock image(ImageOf(source), 1);
    VOStringHashSet set(kCustomer);
    ASSERT_EQ(1, Set(set, image, 0));
    EXPECT_EQ(0u, Number(set.Find(vecGroup[0].c_str())));
    EXPECT_EQ(1u, Number(set.Find(vecGroup[1].c_str())));
    EXPECT_EQ(1u, Number(set.Find(vecGroup[2].c_str())));
    EXPECT_EQ(vecGroup[1], ReadText(set.GetString(Handle(1))));
    EXPECT_EQ(2u, set.Count());
}

TEST(StringSetImage, ARemovedStringIsNotFoundOnACustomerButCountedAndShownByTheWalk)
{
    VOStringHashSet source;
    source.Insert(VOTEXT("kept"));
    void* hGone = source.Insert(VOTEXT("gone"));
    source.Remove(hGone);
    const MisalignedBlock image(ImageOf(source), 1);
    VOStringHashSet set(kCustomer);
    ASSERT_EQ(1, Set(set, image, 0));
    EXPECT_EQ(INVALID_HANDLE_VALUE, set.Find(VOTEXT("gone")));
    EXPECT_EQ(2u, set.Count());
    EXPECT_EQ(2u, WalkOf(set).size());
    EXPECT_EQ(nullptr, set.GetString(hGone));
}

TEST(StringSetImage, ACustomerHasNoInsertNoRemoveAndNoShrinkToFit)
{
    const Filled filled;
    const MisalignedBlock image(ImageOf(filled.set), 1);
    VOStringHashSet set(kCustomer);
    ASSERT_EQ(1, Set(set, image, 0));
    int bExist = 5;
    EXPECT_EQ(INVALID_HANDLE_VALUE, set.Insert(VOTEXT("a"), &bExist));
    EXPECT_EQ(INVALID_HANDLE_VALUE, set.InsertKey(VOTEXT("new"), &bExist));
    EXPECT_EQ(5, bExist);
    EXPECT_EQ(0, set.Remove(Handle(0)));
    EXPECT_EQ(0, set.ShrinkToFit());
    ExpectSame(filled.model, set, true, filled.vecText);
}

TEST(StringSetImage, AfterCleanUpACustomerFindsNothingAndStillReadsTexts)
{
    const Filled filled;
    const Bytes vecImage = ImageOf(filled.set);
    for (const int bCopy : {0, 1})
    {
        const MisalignedBlock image(vecImage, 1);
        VOStringHashSet set(kCustomer);
        ASSERT_EQ(1, Set(set, image, bCopy));
        EXPECT_EQ(1, set.CleanUp());
        EXPECT_EQ(0u, set.Count());
        EXPECT_EQ(INVALID_HANDLE_VALUE, set.Find(VOTEXT("a")));
        EXPECT_EQ(VOTEXT("models/hero.mesh"), ReadText(set.GetString(Handle(0))));
        ASSERT_EQ(1, Set(set, image, bCopy));
        ExpectSame(filled.model, set, true, filled.vecText);
    }
}

TEST(StringSetImage, ASecondImageReplacesTheFirst)
{
    const Filled filled;
    const Bytes vecFirst = ImageOf(filled.set);
    for (const VOStringHashSet::StringHashRole eRole : {kProvider, kCustomer})
    {
        for (const int bCopy : {0, 1})
        {
            const MisalignedBlock first(vecFirst, 1);
            const MisalignedBlock second(FromHex(kTwoStrings), 2);
            VOStringHashSet set(eRole);
            ASSERT_EQ(1, Set(set, first, bCopy));
            ASSERT_EQ(1, Set(set, second, 1 - bCopy));
            EXPECT_EQ(2u, set.Count());
            EXPECT_EQ(0u, Number(set.Find(VOTEXT("abc"))));
            EXPECT_EQ(VOTEXT("abc"), ReadText(set.GetString(Handle(0))));
            EXPECT_EQ(nullptr, set.GetString(Handle(1)));
            EXPECT_EQ(nullptr, set.GetString(Handle(2)));
            EXPECT_EQ(INVALID_HANDLE_VALUE, set.Find(VOTEXT("models/hero.mesh")));
        }
    }
}

TEST(StringSetImage, ACopyOutlivesItsImage)
{
    const Filled filled;
    for (const VOStringHashSet::StringHashRole eRole : {kProvider, kCustomer})
    {
        VOStringHashSet set(eRole);
        {
            const MisalignedBlock image(ImageOf(filled.set), 1);
            ASSERT_EQ(1, Set(set, image, 1));
        }
        ExpectSame(filled.model, set, eRole == kCustomer, filled.vecText);
    }
}

TEST(StringSetImage, AViewedImageIsReleasedNeitherByCleanUpNorByTheDestructor)
{
    const Filled filled;
    const Bytes vecImage = ImageOf(filled.set);
    const MisalignedBlock image(vecImage, 1);
    for (const VOStringHashSet::StringHashRole eRole : {kProvider, kCustomer})
    {
        VOStringHashSet set(eRole);
        ASSERT_EQ(1, Set(set, image, 0));
        EXPECT_EQ(1, set.CleanUp());
        ASSERT_EQ(1, Set(set, image, 0));
    }
    EXPECT_TRUE(SameBytes(vecImage, image.Current()));
}

TEST(StringSetImage, AProviderGoesOnInsertingBehindTheLoadedRecords)
{
    for (const int bCopy : {0, 1})
    {
        Filled filled;
        const Bytes vecImage = ImageOf(filled.set);
        const MisalignedBlock image(vecImage, 1);
        VOStringHashSet set;
        ASSERT_EQ(1, Set(set, image, bCopy));
        int bExist = 0;
        EXPECT_EQ(0u, Number(set.Insert(VOTEXT("models/hero.mesh"), &bExist)));
        EXPECT_EQ(1, bExist);
        bool bModelExist = false;
        const uint64_t ullNew = filled.model.Insert(VOTEXT("a new one"), bModelExist);
        EXPECT_EQ(filled.model.RecordCount() - 1u, ullNew);
        EXPECT_EQ(ullNew, Number(set.Insert(VOTEXT("a new one"))));
        filled.vecText.push_back(VOTEXT("a new one"));
        ExpectSame(filled.model, set, false, filled.vecText);
        EXPECT_TRUE(SameBytes(filled.model.Image(), ImageOf(set)));
        EXPECT_TRUE(SameBytes(vecImage, image.Current()));
    }
}

TEST(StringSetImage, AProvidersViewIsWrittenByRemoveAndByARevivalUntilItGrows)
{
    const MisalignedBlock image(FromHex(kTwoStrings), 1);
    VOStringHashSet set;
    ASSERT_EQ(1, Set(set, image, 0));
    const size_t uState = 28 + 16 + 8;
    EXPECT_EQ(1, set.Remove(Handle(0)));
    EXPECT_EQ(2u, ReadU32(image.Current(), uState));
    EXPECT_EQ(0u, Number(set.Insert(VOTEXT("abc"))));
    EXPECT_EQ(4u, ReadU32(image.Current(), uState));

    set.Insert(VOTEXT("growth"));
    EXPECT_EQ(1, set.Remove(Handle(0)));
    EXPECT_EQ(4u, ReadU32(image.Current(), uState));
    EXPECT_EQ(INVALID_HANDLE_VALUE, set.Find(VOTEXT("abc")));
}

TEST(StringSetImage, ACopyingProviderNeverWritesTheImage)
{
    const MisalignedBlock image(FromHex(kTwoStrings), 1);
    VOStringHashSet set;
    ASSERT_EQ(1, Set(set, image, 1));
    EXPECT_EQ(1, set.Remove(Handle(0)));
    EXPECT_TRUE(SameBytes(FromHex(kTwoStrings), image.Current()));
}

TEST(StringSetImage, AReExportedCustomerSaysItsSlotTotalsAsElementCounts)
{
    const MisalignedBlock image(FromHex(kTwoStrings), 1);
    VOStringHashSet set(kCustomer);
    ASSERT_EQ(1, Set(set, image, 0));
    EXPECT_EQ(2u, set.Count());
    Bytes vecExpected = FromHex(kTwoStrings);
    WriteU32(vecExpected, 28 + 0x44 + 0x4D + 8, 4);
    WriteU32(vecExpected, 28 + 0x44 + 0x4D + 0x68 + 8, 1);
    const Bytes vecAgain = ImageOf(set);
    EXPECT_TRUE(SameBytes(vecExpected, vecAgain));

    const MisalignedBlock again(vecAgain, 1);
    VOStringHashSet second(kCustomer);
    ASSERT_EQ(1, Set(second, again, 0));
    EXPECT_EQ(5u, second.Count());
    EXPECT_EQ(0u, Number(second.Find(VOTEXT("abc"))));
    EXPECT_EQ(2u, WalkOf(second).size());
}

TEST(StringSetImage, TheRoleDecidesWhichFormOfSetAllocServes)
{
    const MisalignedBlock image(FromHex(kTwoStrings), 1);
    auto* pAlloc = image.As<VOStringHashSet::StringHashSetAlloc>();
    OpenImageSet writer(kProvider);
    OpenImageSet reader(kCustomer);
    EXPECT_EQ(0, writer._SetAlloc_C(pAlloc, 1));
    EXPECT_EQ(0, reader._SetAlloc_P(pAlloc, 1));
    EXPECT_EQ(0u, writer.Count());
    EXPECT_EQ(0u, reader.Count());
    EXPECT_EQ(1, writer._SetAlloc_P(pAlloc, 1));
    EXPECT_EQ(1, reader._SetAlloc_C(pAlloc, 1));
    EXPECT_EQ(2u, writer.Count());
    EXPECT_EQ(2u, reader.Count());
}

TEST(StringSetImage, AHeaderThatIsWrongIsRefusedInSilenceBeforeTheSetIsCleaned)
{
    const std::vector<std::function<void(Bytes&)>> vecDamage = {
        [](Bytes& bytes) { bytes[4] ^= 1; },
        [](Bytes& bytes) { bytes[7] = ' '; },
        [](Bytes& bytes) { WriteU32(bytes, 24, ReadU32(bytes, 24) + 1); },
        [](Bytes& bytes) { WriteU32(bytes, 24, ReadU32(bytes, 24) - 1); },
        [](Bytes& bytes) { WriteU32(bytes, 8, ReadU32(bytes, 8) + 1); },
        [](Bytes& bytes) { WriteU32(bytes, 20, ReadU32(bytes, 20) - 1); },
        [](Bytes& bytes) { std::fill(bytes.begin() + 8, bytes.begin() + 28, static_cast<unsigned char>(0)); },
        // A sum that agrees only after a 32-bit overflow.
        [](Bytes& bytes)
        {
            WriteU32(bytes, 8, ReadU32(bytes, 8) + 0x80000000u);
            WriteU32(bytes, 12, ReadU32(bytes, 12) + 0x80000000u);
        },
    };
    const LogCapture log;
    const Filled filled;
    const MisalignedBlock good(ImageOf(filled.set), 1);
    for (const VOStringHashSet::StringHashRole eRole : {kProvider, kCustomer})
    {
        for (const auto& fnDamage : vecDamage)
        {
            for (const int bCopy : {0, 1})
            {
                Bytes vecImage = FromHex(kTwoStrings);
                fnDamage(vecImage);
                const MisalignedBlock image(vecImage, 1);
                VOStringHashSet set(eRole);
                ASSERT_EQ(1, Set(set, good, 0));
                EXPECT_EQ(0, Set(set, image, bCopy));
                EXPECT_EQ(0, set.SetAlloc(nullptr, bCopy));
                ExpectSame(filled.model, set, eRole == kCustomer, filled.vecText);
            }
        }
    }
    EXPECT_EQ(0u, log.Count());
}

TEST(StringSetImage, APartThatIsWrongIsRefusedInSilenceAndTheSetCanBeCleanedAndUsedAgain)
{
    const size_t uRecords = 28;
    const size_t uPool = uRecords + 0x44;
    const size_t uPrimary = uPool + 0x4D;
    const size_t uConflict = uPrimary + 0x68;
    const LogCapture log;
    for (const VOStringHashSet::StringHashRole eRole : {kProvider, kCustomer})
    {
        for (const size_t uPart : {uRecords, uPool, uPool + 12, uPrimary, uPrimary + 16, uConflict, uConflict + 16})
        {
            Bytes vecImage = FromHex(kTwoStrings);
            vecImage[uPart] ^= 1;
            const MisalignedBlock image(vecImage, 1);
            const MisalignedBlock good(FromHex(kTwoStrings), 1);
            VOStringHashSet set(eRole);
            EXPECT_EQ(0, Set(set, image, 0)) << uPart;
            EXPECT_EQ(1, set.CleanUp());
            EXPECT_EQ(INVALID_HANDLE_VALUE, set.Find(VOTEXT("abc")));
            ASSERT_EQ(1, Set(set, good, 0));
            EXPECT_EQ(0u, Number(set.Find(VOTEXT("abc"))));
        }
    }
    EXPECT_EQ(0u, log.Count());
}

TEST(StringSetImage, ACustomersLookupReportsHashesAndMaskFromTheTables)
{
    const std::vector<VOWString> vecGroup = CollidingGroup(8);
    VOStringHashSet source;
    source.Insert(vecGroup[0].c_str());
    void* hSecond = source.Insert(vecGroup[1].c_str());
    source.Remove(hSecond);
    const MisalignedBlock image(ImageOf(source), 1);
    OpenImageSet set(kCustomer);
    ASSERT_EQ(1, Set(set, image, 0));
    unsigned int uHash0 = 0;
    unsigned int uHash1 = 0;
    unsigned int uHash2 = 77;
    VOULONG dwHashMask = 0;
    void* hString = nullptr;
    EXPECT_EQ(1, set._FindHashString_C(vecGroup[1].c_str(), uHash0, uHash1, uHash2, dwHashMask, hString));
    EXPECT_EQ(hSecond, hString);
    EXPECT_EQ(3u, dwHashMask);
    EXPECT_EQ(77u, uHash2);
    dwHashMask = 4;
    EXPECT_EQ(0, set._FindHashString_C(VOTEXT("unknown"), uHash0, uHash1, uHash2, dwHashMask, hString));
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
    const MisalignedBlock image(vecImage, 1);
    VOStringHashSet set(kCustomer);
    ASSERT_EQ(1, Set(set, image, 0));
    VOStringHashSet::Iterator iterator;
    iterator.hString = Handle(99);
    iterator.uStage = 7;
    EXPECT_EQ(0, set.GetFirst(iterator));
    EXPECT_EQ(99u, Number(iterator.hString));
    EXPECT_EQ(7u, iterator.uStage);
    EXPECT_EQ(INVALID_HANDLE_VALUE, set.Find(VOTEXT("abc")));
    EXPECT_EQ(INVALID_HANDLE_VALUE, set.Find(VOTEXT("a")));
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
    const MisalignedBlock image(vecImage, 1);
    VOStringHashSet set(kProvider);
    ASSERT_EQ(1, Set(set, image, 0));
    EXPECT_EQ(1u, set.Count());
    EXPECT_EQ(0u, Number(set.Find(VOTEXT("abc"))));
}

TEST(StringSetImage, OfTwoSetsThatWereFilledAlikeIsTheSame)
{
    const Filled first;
    const std::vector<char> vecElsewhere(100000);
    const Filled second;
    EXPECT_TRUE(SameBytes(ImageOf(first.set), ImageOf(second.set))) << "no address is in it";
}
