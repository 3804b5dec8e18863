// Copies of the pools and of the string set: each owns what it has, or looks at the same image.
#include <memory>
#include <utility>
#include <vector>

#include "support/colliding_texts.h"
#include "support/opened_containers.h"
#include "support/string_set_model.h"
#include "support/text.h"

using namespace votest;

namespace
{
Bytes SetImage()
{
    VOStringHashSet kSet;
    kSet.Insert(VOTEXT("first"));
    kSet.InsertKey(VOTEXT("key"));
    kSet.Insert(CollidingGroup(0)[0].c_str());
    kSet.Insert(CollidingGroup(0)[1].c_str());
    return ImageOf(kSet);
}

void ExpectSetAnswers(const VOStringHashSet& rkSet)
{
    EXPECT_EQ(4u, rkSet.Count());
    EXPECT_EQ(0u, Number(rkSet.Find(VOTEXT("first"))));
    EXPECT_EQ(VOTEXT("first"), ReadText(rkSet.GetString(Handle(0))));
    EXPECT_EQ(3u, Number(rkSet.Find(CollidingGroup(0)[1].c_str())));
    EXPECT_EQ(CollidingGroup(0)[1], ReadText(rkSet.GetString(Handle(3))));
    EXPECT_EQ(4u, WalkOf(rkSet).size());
}
}  // namespace

TEST(ContainerCopies, ACopiedBufferOwnsItsBytes)
{
    auto pkSource = std::make_unique<OpenBuffer>();
    pkSource->AddBytes({1, 2, 3});
    OpenBuffer kConstructed(*pkSource);
    OpenBuffer kAssigned;
    kAssigned.AddBytes({9});
    kAssigned = *pkSource;
    pkSource->CleanUp();
    pkSource.reset();
    for (OpenBuffer* pkCopy : {&kConstructed, &kAssigned})
    {
        ASSERT_EQ(1u, pkCopy->Count());
        EXPECT_TRUE(SameBytes({1, 2, 3}, CopyBytes(pkCopy->Get(0u), 3)));
        EXPECT_EQ(4u, Number(pkCopy->AddBytes({4})));
        EXPECT_EQ(2u, pkCopy->Count());
    }
}

TEST(ContainerCopies, ACopiedBufferViewIsAViewOfTheSameImage)
{
    OpenBuffer kSource;
    kSource.AddBytes({1, 2, 3});
    const Bytes vecImage = ImageOf(kSource);
    const MisalignedBlock kImage(vecImage, 1);
    OpenBuffer kView;
    ASSERT_EQ(1, kView.SetAlloc(kImage.As<VOBufferContainer::BufferAlloc>(), 0));
    {
        OpenBuffer kCopy(kView);
        EXPECT_EQ(kView.Buffer(), kCopy.Buffer());
        EXPECT_EQ(0u, kCopy.Capacity());
        kCopy.AddBytes({4});
        EXPECT_NE(kView.Buffer(), kCopy.Buffer());
    }
    EXPECT_TRUE(SameBytes({1, 2, 3}, CopyBytes(kView.Get(0u), 3)));
    EXPECT_TRUE(SameBytes(vecImage, kImage.Current()));
}

TEST(ContainerCopies, AssigningABufferToItselfChangesNothing)
{
    OpenBuffer kBuffer;
    kBuffer.AddBytes({1, 2, 3});
    OpenBuffer& rkSame = kBuffer;
    kBuffer = rkSame;
    ASSERT_EQ(1u, kBuffer.Count());
    EXPECT_TRUE(SameBytes({1, 2, 3}, CopyBytes(kBuffer.Get(0u), 3)));
}

TEST(ContainerCopies, ACopiedTextPoolOwnsItsTexts)
{
    auto pkSource = std::make_unique<VOStringContainer>();
    pkSource->Add(VOTEXT("text"));
    VOStringContainer kConstructed(*pkSource);
    VOStringContainer kAssigned;
    kAssigned = *pkSource;
    pkSource.reset();
    EXPECT_EQ(VOTEXT("text"), ReadText(kConstructed.Get(0u)));
    EXPECT_EQ(VOTEXT("text"), ReadText(kAssigned.Get(0u)));
    kConstructed.Add(VOTEXT("more"));
    EXPECT_EQ(1u, kAssigned.Count());
}

TEST(ContainerCopies, ACopiedProviderLivesOnItsOwn)
{
    const MisalignedBlock kImage(SetImage(), 1);
    auto pkSource = std::make_unique<VOStringHashSet>();
    ASSERT_EQ(1, Set(*pkSource, kImage, 1));
    VOStringHashSet kConstructed(*pkSource);
    VOStringHashSet kAssigned;
    kAssigned.Insert(VOTEXT("overwritten"));
    kAssigned = *pkSource;
    pkSource->Remove(Handle(0));
    pkSource->Insert(VOTEXT("only in the source"));
    ExpectSetAnswers(kConstructed);
    ExpectSetAnswers(kAssigned);
    pkSource.reset();
    ExpectSetAnswers(kConstructed);
    ExpectSetAnswers(kAssigned);
    EXPECT_EQ(4u, Number(kConstructed.Insert(VOTEXT("new"))));
    EXPECT_EQ(INVALID_HANDLE_VALUE, kAssigned.Find(VOTEXT("new")));
    EXPECT_EQ(1, kAssigned.CleanUp());
    EXPECT_EQ(5u, kConstructed.Count());
}

TEST(ContainerCopies, ACopiedCustomerLivesOnItsOwn)
{
    for (const int bCopy : {0, 1})
    {
        const MisalignedBlock kImage(SetImage(), 1);
        auto pkSource = std::make_unique<VOStringHashSet>(VOStringHashSet::SHR_Customer);
        ASSERT_EQ(1, Set(*pkSource, kImage, bCopy));
        VOStringHashSet kConstructed(*pkSource);
        VOStringHashSet kAssigned(VOStringHashSet::SHR_Customer);
        kAssigned = *pkSource;
        EXPECT_EQ(1, pkSource->CleanUp());
        ExpectSetAnswers(kConstructed);
        pkSource.reset();
        ExpectSetAnswers(kConstructed);
        ExpectSetAnswers(kAssigned);
        EXPECT_TRUE(SameBytes(SetImage(), kImage.Current()));
    }
}

TEST(ContainerCopies, ACopyTakesTheRoleOfItsSource)
{
    const MisalignedBlock kImage(SetImage(), 1);
    VOStringHashSet kCustomer(VOStringHashSet::SHR_Customer);
    ASSERT_EQ(1, Set(kCustomer, kImage, 1));
    VOStringHashSet kSet;
    kSet = kCustomer;
    EXPECT_EQ(INVALID_HANDLE_VALUE, kSet.Insert(VOTEXT("new")));
    ExpectSetAnswers(kSet);
    kSet = VOStringHashSet();
    EXPECT_EQ(0u, Number(kSet.Insert(VOTEXT("new"))));
    EXPECT_EQ(1u, kSet.Count());
}

TEST(ContainerCopies, AssigningASetToItselfChangesNothing)
{
    const MisalignedBlock kImage(SetImage(), 1);
    for (const VOStringHashSet::StringHashRole eRole : {VOStringHashSet::SHR_Provider, VOStringHashSet::SHR_Customer})
    {
        VOStringHashSet kSet(eRole);
        ASSERT_EQ(1, Set(kSet, kImage, 1));
        VOStringHashSet& rkSame = kSet;
        kSet = rkSame;
        ExpectSetAnswers(kSet);
    }
}

TEST(ContainerCopies, AnImageIsTheWayToDuplicateASet)
{
    const MisalignedBlock kImage(SetImage(), 1);
    VOStringHashSet kSource;
    ASSERT_EQ(1, Set(kSource, kImage, 0));
    VOStringHashSet kDuplicate;
    VOStringHashSet::StringHashSetAlloc* pAlloc = kSource.GetAlloc();
    ASSERT_EQ(1, kDuplicate.SetAlloc(pAlloc, 1));
    free(pAlloc);
    kSource.CleanUp();
    ExpectSetAnswers(kDuplicate);
}

TEST(ContainerCopies, AWalkOfACopiedCursorGoesOnWhereItStood)
{
    const MisalignedBlock kImage(SetImage(), 1);
    for (const VOStringHashSet::StringHashRole eRole : {VOStringHashSet::SHR_Provider, VOStringHashSet::SHR_Customer})
    {
        VOStringHashSet kSet(eRole);
        ASSERT_EQ(1, Set(kSet, kImage, 0));
        VOStringHashSet::Iterator kFirst;
        ASSERT_EQ(1, kSet.GetFirst(kFirst));
        VOStringHashSet::Iterator kSecond = kFirst;
        while (kSet.HasNext(kFirst) != 0)
        {
            ASSERT_EQ(1, kSet.HasNext(kSecond));
            EXPECT_EQ(kFirst.hString, kSecond.hString);
        }
        EXPECT_EQ(0, kSet.HasNext(kSecond));
    }
}

TEST(ContainerCopies, ACursorOutlivesACleanUpOfItsSetWithoutHarm)
{
    const MisalignedBlock kImage(SetImage(), 1);
    for (const VOStringHashSet::StringHashRole eRole : {VOStringHashSet::SHR_Provider, VOStringHashSet::SHR_Customer})
    {
        VOStringHashSet kSet(eRole);
        ASSERT_EQ(1, Set(kSet, kImage, 1));
        VOStringHashSet::Iterator kIterator;
        ASSERT_EQ(1, kSet.GetFirst(kIterator));
        kSet.CleanUp();
        EXPECT_EQ(0, kSet.HasNext(kIterator));
    }
}
