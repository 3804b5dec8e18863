// The image of the container: every byte, and what SetAlloc takes, refuses and leaves behind.
#include "fileevent/event_test_tools.h"

namespace
{
using namespace eventtest;

const std::string kSetAlloc = kClass + "SetAlloc";

// ---------------------------------------------------------------------------------------------------------------------
// GetAlloc
// ---------------------------------------------------------------------------------------------------------------------

TEST(EventImage, OfAnEmptyContainerHasAnEventBlockOf20Bytes)
{
    // The pool: its head, an empty record vector, an empty text pool, two tables of one free slot.
    const Bytes vecPool = votest::FromHex(R"(
        7665722E312E3100 14000000 3C000000 38000000 38000000 C0000000
        7665722E312E3000 00000000 00000000 00000000
        7665722E312E3000 2C000000
          7665722E312E3000 00000000 14000000 14000000
            7665722E312E3000 00000000 00000000 00000000
          00000000
        00000000
        7665722E312E3000 00000000 24000000
          7665722E312E3000 01000000 10000000 00000000 00000000 00000000 00000000 00000000
        00000000
        7665722E312E3000 00000000 24000000
          7665722E312E3000 01000000 10000000 00000000 00000000 00000000 00000000 00000000
        00000000
        00000000)");
    ASSERT_EQ(224u, vecPool.size());
    const Bytes vecExpected = ByteBuilder()
                                  .Hex("7665722E302E3000 E0000000 14000000 F4000000")
                                  .Append(vecPool)
                                  .Hex("7665722E312E3000 00000000 00000000 00000000")
                                  .Hex("00000000")
                                  .Result();
    ASSERT_EQ(224u + 44u, vecExpected.size());
    VOTSFileEventContainer container;
    EXPECT_TRUE(SameBytes(vecExpected, ImageOf(container)));
    EXPECT_TRUE(SameBytes(vecExpected, EventModel().Image()));
}

TEST(EventImage, HoldsTheRecordsInTheirOrderBehindThePool)
{
    VOTSFileEventContainer container;
    ASSERT_EQ(1, container.AppendEvent({0x11121314, 0x21222324, 0x31323334, VOTEXT("p"), VOTEXT("n"), VOTEXT("x")},
                                       0x4142434445464748ull));
    ASSERT_EQ(1, container.AppendEvent({1, 2, 3, VOTEXT("n"), nullptr, nullptr}, 5));
    const Bytes vecImage = ImageOf(container);
    const uint32_t uPool = ReadU32(vecImage, 8);
    EXPECT_EQ(uPool, ReadU32(vecImage, 20 + 24) + 32) << "the whole image of the pool";
    EXPECT_TRUE(SameBytes(votest::FromHex(R"(
        7665722E312E3000 02000000 58000000
          34333231  00000000 00000000  02000000 00000000  01000000 00000000  24232221  14131211  4847464544434241
          03000000  01000000 00000000  FFFFFFFF FFFFFFFF  FFFFFFFF FFFFFFFF  02000000  01000000  05000000 00000000
        00000000
        00000000)"),
                          Bytes(vecImage.begin() + 20 + static_cast<std::ptrdiff_t>(uPool), vecImage.end())));
    EXPECT_EQ(108u, ReadU32(vecImage, 12));
    EXPECT_EQ(uPool + 108, ReadU32(vecImage, 16));
}

TEST(EventImage, IsTheModelsByteForByte)
{
    const EventModel model = SampleModel();
    VOTSFileEventContainer container;
    ASSERT_EQ(1, container.AppendEvent({1, 2, 3, VOTEXT("dir/a.png"), nullptr, nullptr}, 10));
    ASSERT_EQ(1, container.AppendEvent({4, 5, 6, VOTEXT("dir/b.png"), VOTEXT("c.png"), nullptr}, 20));
    ASSERT_EQ(1,
              container.AppendEvent({7, 8, 0xFFFFFFFFu, VOTEXT("\x4E2D"), VOTEXT(""), VOTEXT("E:\\pak\\x.pak")}, 30));
    EXPECT_TRUE(SameBytes(model.Image(), ImageOf(container)));
    EXPECT_TRUE(SameBytes(model.Image(), ImageOf(container))) << "making one changes nothing";
    ExpectSame(container, model);
}

TEST(EventImage, OfARunAfterRemovingHoldsTheTextsOfRemovedEvents)
{
    EventModel model = SampleModel();
    VOTSFileEventContainer container;
    const MisalignedBlock image(model.Image());
    ASSERT_EQ(1, container.SetAlloc(image.As<EventImage>(), 1));
    EXPECT_EQ(1, container.RemoveEvent(30));
    model.Remove(30);
    EXPECT_TRUE(SameBytes(model.Image(), ImageOf(container)));
}

// ---------------------------------------------------------------------------------------------------------------------
// SetAlloc
// ---------------------------------------------------------------------------------------------------------------------

class SetAlloc : public testing::TestWithParam<std::tuple<enumAssetRole, int>>
{
protected:
    SetAlloc() : m_container(std::get<0>(GetParam())), m_bCopy(std::get<1>(GetParam())) {}

    // Attaches what is to be replaced: one event of the time 77.
    void SetBefore()
    {
        m_before.Append(InfoOf(VOTEXT("before")), 77);
        m_beforeImage = std::make_unique<MisalignedBlock>(m_before.Image(), 2);
        ASSERT_EQ(1, m_container.SetAlloc(m_beforeImage->As<EventImage>(), m_bCopy));
        m_log.Clear();
    }
    int Set(const MisalignedBlock& image) { return m_container.SetAlloc(image.As<EventImage>(), m_bCopy); }
    int SetBounded(const MisalignedBlock& image, size_t uSize)
    {
        return m_container.SetAlloc(image.As<EventImage>(), m_bCopy, uSize);
    }
    void ExpectUntouched() { ExpectSame(m_container, m_before); }

    LogCapture m_log;
    OpenContainer m_container;
    int m_bCopy;
    EventModel m_before;
    std::unique_ptr<MisalignedBlock> m_beforeImage;
};

TEST_P(SetAlloc, TakesEventsAndTextsAtAnyAddress)
{
    const EventModel model = SampleModel();
    for (size_t uMisalignment = 0; uMisalignment < 9; ++uMisalignment)
    {
        const MisalignedBlock image(model.Image(), uMisalignment);
        ASSERT_EQ(1, Set(image)) << uMisalignment;
        ExpectSame(m_container, model);
        EXPECT_EQ(m_bCopy != 0 ? 3u : 0u, m_container.Capacity());
        EXPECT_EQ(m_bCopy == 0,
                  m_container.m_vecFileEvent.Bytes(0) == image.Data() + 20 + ReadU32(model.Image(), 8) + 16);
        ASSERT_EQ(1, m_container.CleanUp());
    }
    EXPECT_EQ(0u, m_log.Count());
}

TEST_P(SetAlloc, ReplacesTheWholeContent)
{
    SetBefore();
    const EventModel model = SampleModel();
    const MisalignedBlock image(model.Image(), 1);
    EXPECT_EQ(1, Set(image));
    ExpectSame(m_container, model);
    const MisalignedBlock empty(EventModel().Image(), 1);
    EXPECT_EQ(1, Set(empty));
    ExpectSame(m_container, EventModel());
}

TEST_P(SetAlloc, GoesRoundThroughAnImage)
{
    const EventModel model = SampleModel();
    const MisalignedBlock image(model.Image(), 5);
    ASSERT_EQ(1, Set(image));
    if (std::get<0>(GetParam()) == AR_Provider)
    {
        EXPECT_TRUE(SameBytes(model.Image(), ImageOf(m_container)));
    }
    else
    {
        // A reader's tables say their slots where a publisher's say their entries.
        const MisalignedBlock again(ImageOf(m_container), 1);
        VOTSFileEventContainer second(AR_Customer);
        ASSERT_EQ(1, second.SetAlloc(again.As<EventImage>(), 1));
        ExpectSame(second, model);
    }
}

TEST_P(SetAlloc, OfNothingIsRefusedWithTheContentUntouched)
{
    SetBefore();
    EXPECT_EQ(0, m_container.SetAlloc(nullptr, m_bCopy));
    EXPECT_THAT(m_log.Lines(), ElementsAre(ProcessError("pAlloc", kSetAlloc)));
    ExpectUntouched();
}

TEST_P(SetAlloc, OfAnotherVersionIsRefusedWithTheContentUntouched)
{
    SetBefore();
    for (size_t uAt = 0; uAt < 8; ++uAt)
    {
        Bytes vecImage = SampleModel().Image();
        vecImage[uAt] ^= 1;
        const MisalignedBlock image(vecImage, 1);
        m_log.Clear();
        EXPECT_EQ(0, Set(image)) << uAt;
        EXPECT_THAT(m_log.Lines(), ElementsAre(ProcessError(
                                       "::strcmp(pAlloc->szVersion, FILEEVENT_CAONTAINER_VERSION) == 0", kSetAlloc)));
        ExpectUntouched();
    }
}

TEST_P(SetAlloc, WithAWrongTotalFailsBeforeAnythingIsCleanedUp)
{
    SetBefore();
    for (const size_t uWord : {8u, 12u, 16u})
    {
        for (const uint32_t uChange : {1u, 0xFFFFFFFFu, 0x80000000u})
        {
            Bytes vecImage = SampleModel().Image();
            WriteU32(vecImage, uWord, ReadU32(vecImage, uWord) + uChange);
            const MisalignedBlock image(vecImage, 1);
            m_log.Clear();
            EXPECT_EQ(0, Set(image)) << uWord;
            EXPECT_THAT(m_log.Lines(),
                        ElementsAre(ProcessError(
                            "pAlloc->uDataBufSize == pAlloc->uStringPoolSize+ pAlloc->uFileEventBufSize", kSetAlloc)));
            ExpectUntouched();
        }
    }
}

TEST_P(SetAlloc, WhoseSizesWrapIsRefusedWithTheContentUntouched)
{
    SetBefore();
    Bytes vecImage = SampleModel().Image();
    WriteU32(vecImage, 8, ReadU32(vecImage, 8) + 0x80000000u);
    WriteU32(vecImage, 12, ReadU32(vecImage, 12) + 0x80000000u);
    const MisalignedBlock image(vecImage, 1);
    EXPECT_EQ(0, Set(image));
    EXPECT_EQ(1u, m_log.Count());
    ExpectUntouched();
}

TEST_P(SetAlloc, WithABadPoolFailsAndLeavesNoEvents)
{
    SetBefore();
    Bytes vecImage = SampleModel().Image();
    vecImage[20] ^= 1;
    const MisalignedBlock image(vecImage, 1);
    EXPECT_EQ(0, Set(image));
    EXPECT_EQ(ProcessError("m_pkStringSet->SetAlloc(pStringPoolAlloc, bCopy)", kSetAlloc), m_log.Lines().back());
    EXPECT_THAT(AllOf(m_container), IsEmpty());
}

TEST_P(SetAlloc, WithAWrongRecordCountFailsAfterThePoolHasBeenReplaced)
{
    const EventModel model = SampleModel();
    const size_t uBlock = 20 + ReadU32(model.Image(), 8);
    for (const size_t uAt : {uBlock + 6, uBlock + 8, uBlock + 12})
    {
        SetBefore();
        Bytes vecImage = model.Image();
        ++vecImage[uAt];
        const MisalignedBlock image(vecImage, 1);
        EXPECT_EQ(0, Set(image));
        EXPECT_THAT(m_log.Lines(),
                    ElementsAre(ProcessError("m_vecFileEvent.SetAlloc(pFileEventAlloc, bCopy)", kSetAlloc)));
        EXPECT_THAT(AllOf(m_container), IsEmpty());
        EXPECT_EQ(VOWString(VOTEXT("dir/a.png")), ReadText(m_container.GetString(nullptr)));
        EXPECT_EQ(1, m_container.CleanUp());
    }
}

TEST_P(SetAlloc, OfAnImageThatIsShorterThanItsHeadSaysIsRefusedWithTheContentUntouched)
{
    SetBefore();
    const Bytes vecWhole = SampleModel().Image();
    for (size_t uSize = 0; uSize < vecWhole.size(); ++uSize)
    {
        m_log.Clear();
        const MisalignedBlock image(Bytes(vecWhole.begin(), vecWhole.begin() + static_cast<std::ptrdiff_t>(uSize)), 1);
        ASSERT_EQ(0, SetBounded(image, uSize)) << uSize;
        ASSERT_EQ(1u, m_log.Count()) << uSize;
    }
    ExpectUntouched();
    const MisalignedBlock image(vecWhole, 1);
    EXPECT_EQ(1, SetBounded(image, vecWhole.size()));
    ExpectSame(m_container, SampleModel());
}

INSTANTIATE_TEST_SUITE_P(EventImage, SetAlloc,
                         testing::Combine(testing::Values(AR_Provider, AR_Customer), testing::Values(0, 1)),
                         [](const testing::TestParamInfo<std::tuple<enumAssetRole, int>>& about)
                         {
                             return std::string(std::get<0>(about.param) == AR_Provider ? "Provider" : "Customer") +
                                    (std::get<1>(about.param) != 0 ? "Copy" : "View");
                         });

TEST(EventView, IsReadOnlyInEffect)
{
    const EventModel model = SampleModel();
    const MisalignedBlock image(model.Image(), 1);
    VOTSFileEventContainer container(AR_Customer);
    ASSERT_EQ(1, container.SetAlloc(image.As<EventImage>(), 0));
    (void)AskEverything(container);
    (void)ImageOf(container);
    (void)container.AppendEvent(InfoOf(VOTEXT("x")), 1);
    (void)container.RemoveEvent(kAllTime);
    (void)container.CleanUp();
    EXPECT_TRUE(SameBytes(model.Image(), image.Current()));
}

TEST(EventView, FollowsItsImageAndACopyDoesNot)
{
    const MisalignedBlock image(SampleModel().Image(), 1);
    VOTSFileEventContainer view(AR_Customer);
    VOTSFileEventContainer copy(AR_Customer);
    ASSERT_EQ(1, view.SetAlloc(image.As<EventImage>(), 0));
    ASSERT_EQ(1, copy.SetAlloc(image.As<EventImage>(), 1));
    // The time of the first record.
    image.Data()[20 + ReadU32(image.Current(), 8) + 16 + 36] = 99;
    EXPECT_THAT(TimesOf(AllOf(view)), ElementsAre(99, 20, 30));
    EXPECT_THAT(TimesOf(AllOf(copy)), ElementsAre(10, 20, 30));
}

}  // namespace
