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
    VOStringHashSet set;
    set.Insert(VOTEXT("first"));
    set.InsertKey(VOTEXT("key"));
    set.Insert(CollidingGroup(0)[0].c_str());
    set.Insert(CollidingGroup(0)[1].c_str());
    return ImageOf(set);
}

void ExpectSetAnswers(const VOStringHashSet& set)
{
    EXPECT_EQ(4u, set.Count());
    EXPECT_EQ(0u, Number(set.Find(VOTEXT("first"))));
    EXPECT_EQ(VOTEXT("first"), ReadText(set.GetString(Handle(0))));
    EXPECT_EQ(3u, Number(set.Find(CollidingGroup(0)[1].c_str())));
    EXPECT_EQ(CollidingGroup(0)[1], ReadText(set.GetString(Handle(3))));
    EXPECT_EQ(4u, WalkOf(set).size());
}
}  // namespace

TEST(ContainerCopies, ACopiedBufferOwnsItsBytes)
{
    auto pSource = std::make_unique<OpenBuffer>();
    pSource->AddBytes({1, 2, 3});
    OpenBuffer constructed(*pSource);
    OpenBuffer assigned;
    assigned.AddBytes({9});
    assigned = *pSource;
    pSource->CleanUp();
    pSource.reset();
    for (OpenBuffer* pCopy : {&constructed, &assigned})
    {
        ASSERT_EQ(1u, pCopy->Count());
        EXPECT_TRUE(SameBytes({1, 2, 3}, CopyBytes(pCopy->Get(0u), 3)));
        EXPECT_EQ(4u, Number(pCopy->AddBytes({4})));
        EXPECT_EQ(2u, pCopy->Count());
    }
}

TEST(ContainerCopies, ACopiedBufferViewIsAViewOfTheSameImage)
{
    OpenBuffer source;
    source.AddBytes({1, 2, 3});
    const Bytes vecImage = ImageOf(source);
    const MisalignedBlock image(vecImage, 1);
    OpenBuffer view;
    ASSERT_EQ(1, view.SetAlloc(image.As<VOBufferContainer::BufferAlloc>(), 0));
    {
        OpenBuffer copy(view);
        EXPECT_EQ(view.Buffer(), copy.Buffer());
        EXPECT_EQ(0u, copy.Capacity());
        copy.AddBytes({4});
        EXPECT_NE(view.Buffer(), copy.Buffer());
    }
    EXPECT_TRUE(SameBytes({1, 2, 3}, CopyBytes(view.Get(0u), 3)));
    EXPECT_TRUE(SameBytes(vecImage, image.Current()));
}

TEST(ContainerCopies, AssigningABufferToItselfChangesNothing)
{
    OpenBuffer buffer;
    buffer.AddBytes({1, 2, 3});
    OpenBuffer& same = buffer;
    buffer = same;
    ASSERT_EQ(1u, buffer.Count());
    EXPECT_TRUE(SameBytes({1, 2, 3}, CopyBytes(buffer.Get(0u), 3)));
}

TEST(ContainerCopies, ACopiedTextPoolOwnsItsTexts)
{
    auto pSource = std::make_unique<VOStringContainer>();
    pSource->Add(VOTEXT("text"));
    VOStringContainer constructed(*pSource);
    VOStringContainer assigned;
    assigned = *pSource;
    pSource.reset();
    EXPECT_EQ(VOTEXT("text"), ReadText(constructed.Get(0u)));
    EXPECT_EQ(VOTEXT("text"), ReadText(assigned.Get(0u)));
    constructed.Add(VOTEXT("more"));
    EXPECT_EQ(1u, assigned.Count());
}

TEST(ContainerCopies, ACopiedProviderLivesOnItsOwn)
{
    const MisalignedBlock image(SetImage(), 1);
    auto pSource = std::make_unique<VOStringHashSet>();
    ASSERT_EQ(1, Set(*pSource, image, 1));
    VOStringHashSet constructed(*pSource);
    VOStringHashSet assigned;
    assigned.Insert(VOTEXT("overwritten"));
    assigned = *pSource;
    pSource->Remove(Handle(0));
    pSource->Insert(VOTEXT("only in the source"));
    ExpectSetAnswers(constructed);
    ExpectSetAnswers(assigned);
    pSource.reset();
    ExpectSetAnswers(constructed);
    ExpectSetAnswers(assigned);
    EXPECT_EQ(4u, Number(constructed.Insert(VOTEXT("new"))));
    EXPECT_EQ(INVALID_HANDLE_VALUE, assigned.Find(VOTEXT("new")));
    EXPECT_EQ(1, assigned.CleanUp());
    EXPECT_EQ(5u, constructed.Count());
}

TEST(ContainerCopies, ACopiedCustomerLivesOnItsOwn)
{
    for (const int bCopy : {0, 1})
    {
        const MisalignedBlock image(SetImage(), 1);
        auto pSource = std::make_unique<VOStringHashSet>(VOStringHashSet::SHR_Customer);
        ASSERT_EQ(1, Set(*pSource, image, bCopy));
        VOStringHashSet constructed(*pSource);
        VOStringHashSet assigned(VOStringHashSet::SHR_Customer);
        assigned = *pSource;
        EXPECT_EQ(1, pSource->CleanUp());
        ExpectSetAnswers(constructed);
        pSource.reset();
        ExpectSetAnswers(constructed);
        ExpectSetAnswers(assigned);
        EXPECT_TRUE(SameBytes(SetImage(), image.Current()));
    }
}

TEST(ContainerCopies, ACopyTakesTheRoleOfItsSource)
{
    const MisalignedBlock image(SetImage(), 1);
    VOStringHashSet customer(VOStringHashSet::SHR_Customer);
    ASSERT_EQ(1, Set(customer, image, 1));
    VOStringHashSet set;
    set = customer;
    EXPECT_EQ(INVALID_HANDLE_VALUE, set.Insert(VOTEXT("new")));
    ExpectSetAnswers(set);
    set = VOStringHashSet();
    EXPECT_EQ(0u, Number(set.Insert(VOTEXT("new"))));
    EXPECT_EQ(1u, set.Count());
}

TEST(ContainerCopies, AssigningASetToItselfChangesNothing)
{
    const MisalignedBlock image(SetImage(), 1);
    for (const VOStringHashSet::StringHashRole eRole : {VOStringHashSet::SHR_Provider, VOStringHashSet::SHR_Customer})
    {
        VOStringHashSet set(eRole);
        ASSERT_EQ(1, Set(set, image, 1));
        VOStringHashSet& same = set;
        set = same;
        ExpectSetAnswers(set);
    }
}

TEST(ContainerCopies, AnImageIsTheWayToDuplicateASet)
{
    const MisalignedBlock image(SetImage(), 1);
    VOStringHashSet source;
    ASSERT_EQ(1, Set(source, image, 0));
    VOStringHashSet duplicate;
    VOStringHashSet::StringHashSetAlloc* pAlloc = source.GetAlloc();
    ASSERT_EQ(1, duplicate.SetAlloc(pAlloc, 1));
    free(pAlloc);
    source.CleanUp();
    ExpectSetAnswers(duplicate);
}

TEST(ContainerCopies, AWalkOfACopiedCursorGoesOnWhereItStood)
{
    const MisalignedBlock image(SetImage(), 1);
    for (const VOStringHashSet::StringHashRole eRole : {VOStringHashSet::SHR_Provider, VOStringHashSet::SHR_Customer})
    {
        VOStringHashSet set(eRole);
        ASSERT_EQ(1, Set(set, image, 0));
        VOStringHashSet::Iterator first;
        ASSERT_EQ(1, set.GetFirst(first));
        VOStringHashSet::Iterator second = first;
        while (set.HasNext(first) != 0)
        {
            ASSERT_EQ(1, set.HasNext(second));
            EXPECT_EQ(first.hString, second.hString);
        }
        EXPECT_EQ(0, set.HasNext(second));
    }
}

TEST(ContainerCopies, ACursorOutlivesACleanUpOfItsSetWithoutHarm)
{
    const MisalignedBlock image(SetImage(), 1);
    for (const VOStringHashSet::StringHashRole eRole : {VOStringHashSet::SHR_Provider, VOStringHashSet::SHR_Customer})
    {
        VOStringHashSet set(eRole);
        ASSERT_EQ(1, Set(set, image, 1));
        VOStringHashSet::Iterator iterator;
        ASSERT_EQ(1, set.GetFirst(iterator));
        set.CleanUp();
        EXPECT_EQ(0, set.HasNext(iterator));
    }
}
