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
    VOTSFileEventContainer kContainer;
    EXPECT_TRUE(SameBytes(vecExpected, ImageOf(kContainer)));
    EXPECT_TRUE(SameBytes(vecExpected, EventModel().Image()));
}

TEST(EventImage, HoldsTheRecordsInTheirOrderBehindThePool)
{
    VOTSFileEventContainer kContainer;
    ASSERT_EQ(1, kContainer.AppendEvent({0x11121314, 0x21222324, 0x31323334, VOTEXT("p"), VOTEXT("n"), VOTEXT("x")},
                                        0x4142434445464748ull));
    ASSERT_EQ(1, kContainer.AppendEvent({1, 2, 3, VOTEXT("n"), nullptr, nullptr}, 5));
    const Bytes vecImage = ImageOf(kContainer);
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
    const EventModel kModel = SampleModel();
    VOTSFileEventContainer kContainer;
    ASSERT_EQ(1, kContainer.AppendEvent({1, 2, 3, VOTEXT("dir/a.png"), nullptr, nullptr}, 10));
    ASSERT_EQ(1, kContainer.AppendEvent({4, 5, 6, VOTEXT("dir/b.png"), VOTEXT("c.png"), nullptr}, 20));
    ASSERT_EQ(1,
              kContainer.AppendEvent({7, 8, 0xFFFFFFFFu, VOTEXT("\x4E2D"), VOTEXT(""), VOTEXT("E:\\pak\\x.pak")}, 30));
    EXPECT_TRUE(SameBytes(kModel.Image(), ImageOf(kContainer)));
    EXPECT_TRUE(SameBytes(kModel.Image(), ImageOf(kContainer))) << "making one changes nothing";
    ExpectSame(kContainer, kModel);
}

TEST(EventImage, OfARunAfterRemovingHoldsTheTextsOfRemovedEvents)
{
    EventModel kModel = SampleModel();
    VOTSFileEventContainer kContainer;
    const MisalignedBlock kImage(kModel.Image());
    ASSERT_EQ(1, kContainer.SetAlloc(kImage.As<EventImage>(), 1));
    EXPECT_EQ(1, kContainer.RemoveEvent(30));
    kModel.Remove(30);
    EXPECT_TRUE(SameBytes(kModel.Image(), ImageOf(kContainer)));
}

// ---------------------------------------------------------------------------------------------------------------------
// SetAlloc
// ---------------------------------------------------------------------------------------------------------------------

class SetAlloc : public testing::TestWithParam<std::tuple<enumAssetRole, int>>
{
protected:
    SetAlloc() : m_kContainer(std::get<0>(GetParam())), m_bCopy(std::get<1>(GetParam())) {}

    // Attaches what is to be replaced: one event of the time 77.
    void SetBefore()
    {
        m_kBefore.Append(InfoOf(VOTEXT("before")), 77);
        m_kBeforeImage = std::make_unique<MisalignedBlock>(m_kBefore.Image(), 2);
        ASSERT_EQ(1, m_kContainer.SetAlloc(m_kBeforeImage->As<EventImage>(), m_bCopy));
        m_kLog.Clear();
    }
    int Set(const MisalignedBlock& rkImage) { return m_kContainer.SetAlloc(rkImage.As<EventImage>(), m_bCopy); }
    int SetBounded(const MisalignedBlock& rkImage, size_t uSize)
    {
        return m_kContainer.SetAlloc(rkImage.As<EventImage>(), m_bCopy, uSize);
    }
    void ExpectUntouched() { ExpectSame(m_kContainer, m_kBefore); }

    LogCapture m_kLog;
    OpenContainer m_kContainer;
    int m_bCopy;
    EventModel m_kBefore;
    std::unique_ptr<MisalignedBlock> m_kBeforeImage;
};

TEST_P(SetAlloc, TakesEventsAndTextsAtAnyAddress)
{
    const EventModel kModel = SampleModel();
    for (size_t uMisalignment = 0; uMisalignment < 9; ++uMisalignment)
    {
        const MisalignedBlock kImage(kModel.Image(), uMisalignment);
        ASSERT_EQ(1, Set(kImage)) << uMisalignment;
        ExpectSame(m_kContainer, kModel);
        EXPECT_EQ(m_bCopy != 0 ? 3u : 0u, m_kContainer.Capacity());
        EXPECT_EQ(m_bCopy == 0,
                  m_kContainer.m_vecFileEvent.Bytes(0) == kImage.Data() + 20 + ReadU32(kModel.Image(), 8) + 16);
        ASSERT_EQ(1, m_kContainer.CleanUp());
    }
    EXPECT_EQ(0u, m_kLog.Count());
}

TEST_P(SetAlloc, ReplacesTheWholeContent)
{
    SetBefore();
    const EventModel kModel = SampleModel();
    const MisalignedBlock kImage(kModel.Image(), 1);
    EXPECT_EQ(1, Set(kImage));
    ExpectSame(m_kContainer, kModel);
    const MisalignedBlock kEmpty(EventModel().Image(), 1);
    EXPECT_EQ(1, Set(kEmpty));
    ExpectSame(m_kContainer, EventModel());
}

TEST_P(SetAlloc, GoesRoundThroughAnImage)
{
    const EventModel kModel = SampleModel();
    const MisalignedBlock kImage(kModel.Image(), 5);
    ASSERT_EQ(1, Set(kImage));
    if (std::get<0>(GetParam()) == AR_Provider)
    {
        EXPECT_TRUE(SameBytes(kModel.Image(), ImageOf(m_kContainer)));
    }
    else
    {
        // A reader's tables say their slots where a publisher's say their entries.
        const MisalignedBlock kAgain(ImageOf(m_kContainer), 1);
        VOTSFileEventContainer kSecond(AR_Customer);
        ASSERT_EQ(1, kSecond.SetAlloc(kAgain.As<EventImage>(), 1));
        ExpectSame(kSecond, kModel);
    }
}

TEST_P(SetAlloc, OfNothingIsRefusedWithTheContentUntouched)
{
    SetBefore();
    EXPECT_EQ(0, m_kContainer.SetAlloc(nullptr, m_bCopy));
    EXPECT_THAT(m_kLog.Lines(), ElementsAre(ProcessError("pAlloc", kSetAlloc)));
    ExpectUntouched();
}

TEST_P(SetAlloc, OfAnotherVersionIsRefusedWithTheContentUntouched)
{
    SetBefore();
    for (size_t uAt = 0; uAt < 8; ++uAt)
    {
        Bytes vecImage = SampleModel().Image();
        vecImage[uAt] ^= 1;
        const MisalignedBlock kImage(vecImage, 1);
        m_kLog.Clear();
        EXPECT_EQ(0, Set(kImage)) << uAt;
        EXPECT_THAT(m_kLog.Lines(), ElementsAre(ProcessError(
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
            const MisalignedBlock kImage(vecImage, 1);
            m_kLog.Clear();
            EXPECT_EQ(0, Set(kImage)) << uWord;
            EXPECT_THAT(m_kLog.Lines(),
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
    const MisalignedBlock kImage(vecImage, 1);
    EXPECT_EQ(0, Set(kImage));
    EXPECT_EQ(1u, m_kLog.Count());
    ExpectUntouched();
}

TEST_P(SetAlloc, WithABadPoolFailsAndLeavesNoEvents)
{
    SetBefore();
    Bytes vecImage = SampleModel().Image();
    vecImage[20] ^= 1;
    const MisalignedBlock kImage(vecImage, 1);
    EXPECT_EQ(0, Set(kImage));
    EXPECT_EQ(ProcessError("m_pkStringSet->SetAlloc(pStringPoolAlloc, bCopy)", kSetAlloc), m_kLog.Lines().back());
    EXPECT_THAT(AllOf(m_kContainer), IsEmpty());
}

TEST_P(SetAlloc, WithAWrongRecordCountFailsAfterThePoolHasBeenReplaced)
{
    const EventModel kModel = SampleModel();
    const size_t uBlock = 20 + ReadU32(kModel.Image(), 8);
    for (const size_t uAt : {uBlock + 6, uBlock + 8, uBlock + 12})
    {
        SetBefore();
        Bytes vecImage = kModel.Image();
        ++vecImage[uAt];
        const MisalignedBlock kImage(vecImage, 1);
        EXPECT_EQ(0, Set(kImage));
        EXPECT_THAT(m_kLog.Lines(),
                    ElementsAre(ProcessError("m_vecFileEvent.SetAlloc(pFileEventAlloc, bCopy)", kSetAlloc)));
        EXPECT_THAT(AllOf(m_kContainer), IsEmpty());
        EXPECT_EQ(VOWString(VOTEXT("dir/a.png")), ReadText(m_kContainer.GetString(nullptr)));
        EXPECT_EQ(1, m_kContainer.CleanUp());
    }
}

TEST_P(SetAlloc, OfAnImageThatIsShorterThanItsHeadSaysIsRefusedWithTheContentUntouched)
{
    SetBefore();
    const Bytes vecWhole = SampleModel().Image();
    for (size_t uSize = 0; uSize < vecWhole.size(); ++uSize)
    {
        m_kLog.Clear();
        const MisalignedBlock kImage(Bytes(vecWhole.begin(), vecWhole.begin() + static_cast<std::ptrdiff_t>(uSize)), 1);
        ASSERT_EQ(0, SetBounded(kImage, uSize)) << uSize;
        ASSERT_EQ(1u, m_kLog.Count()) << uSize;
    }
    ExpectUntouched();
    const MisalignedBlock kImage(vecWhole, 1);
    EXPECT_EQ(1, SetBounded(kImage, vecWhole.size()));
    ExpectSame(m_kContainer, SampleModel());
}

INSTANTIATE_TEST_SUITE_P(EventImage, SetAlloc,
                         testing::Combine(testing::Values(AR_Provider, AR_Customer), testing::Values(0, 1)),
                         [](const testing::TestParamInfo<std::tuple<enumAssetRole, int>>& rkInfo)
                         {
                             return std::string(std::get<0>(rkInfo.param) == AR_Provider ? "Provider" : "Customer") +
                                    (std::get<1>(rkInfo.param) != 0 ? "Copy" : "View");
                         });

TEST(EventView, IsReadOnlyInEffect)
{
    const EventModel kModel = SampleModel();
    const MisalignedBlock kImage(kModel.Image(), 1);
    VOTSFileEventContainer kContainer(AR_Customer);
    ASSERT_EQ(1, kContainer.SetAlloc(kImage.As<EventImage>(), 0));
    (void)AskEverything(kContainer);
    (void)ImageOf(kContainer);
    (void)kContainer.AppendEvent(InfoOf(VOTEXT("x")), 1);
    (void)kContainer.RemoveEvent(kAllTime);
    (void)kContainer.CleanUp();
    EXPECT_TRUE(SameBytes(kModel.Image(), kImage.Current()));
}

TEST(EventView, FollowsItsImageAndACopyDoesNot)
{
    const MisalignedBlock kImage(SampleModel().Image(), 1);
    VOTSFileEventContainer kView(AR_Customer);
    VOTSFileEventContainer kCopy(AR_Customer);
    ASSERT_EQ(1, kView.SetAlloc(kImage.As<EventImage>(), 0));
    ASSERT_EQ(1, kCopy.SetAlloc(kImage.As<EventImage>(), 1));
    // The time of the first record.
    kImage.Data()[20 + ReadU32(kImage.Current(), 8) + 16 + 36] = 99;
    EXPECT_THAT(TimesOf(AllOf(kView)), ElementsAre(99, 20, 30));
    EXPECT_THAT(TimesOf(AllOf(kCopy)), ElementsAre(10, 20, 30));
}

}  // namespace
