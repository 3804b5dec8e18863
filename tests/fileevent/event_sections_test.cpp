// The names of the event sections and the bytes of the update state section.
#include "fileevent/event_section_tools.h"

namespace
{
using namespace eventtest;

TEST(EventSections, EverySourceHasItsNameAndNoSourceHasNone)
{
    EXPECT_EQ(nullptr, FILEEVENT_MAPPING_VIEW_STRING(AF_ERROR));
    for (unsigned int uSource = 1; uSource < ASSETTYPE_COUNT; ++uSource)
    {
        EXPECT_EQ(DataName(uSource, 1),
                  ReadText(FILEEVENT_MAPPING_VIEW_STRING(static_cast<enumAssetFrom>(uSource))) + VOTEXT("1"));
    }
    for (const unsigned int uSource : {10u, 0x7FFFFFFFu, 0xFFFFFFFFu})
    {
        EXPECT_EQ(nullptr, FILEEVENT_MAPPING_VIEW_STRING(static_cast<enumAssetFrom>(uSource)));
    }
}

TEST(EventSections, TheStateSectionHas336BytesARecordOf32ForEachSource)
{
    EXPECT_EQ(336u, sizeof(FileEventUpdateState));
    EXPECT_EQ(32u, sizeof(FileEventStateInfo));
    EXPECT_EQ(12u, sizeof(FILEMAPPING_FILEEVENT_UPDATESTATE_VERSION)) << "with its terminator it fills the field";
    EXPECT_EQ(VOWString(kpszStateName), VOWString(FILEMAPPING_FILEEVENT_UPDATESTATE_NAME));
}

TEST(EventSections, TheStateSectionIsWrittenByteForByte)
{
    FileEventUpdateState kState = {};
    memcpy(kState.szVersion, FILEMAPPING_FILEEVENT_UPDATESTATE_VERSION, 12);
    ByteBuilder expected;
    expected.Hex("76657273696F6E2E312E3500 00000000");
    for (unsigned int uSource = 0; uSource < 10; ++uSource)
    {
        kState.arrStateInfo[uSource] = {0x01000000 + uSource,
                                        0x02000000 + uSource,
                                        {0x0300000000000000ull + uSource, 0x0400000000000000ull + uSource},
                                        {0x05000000 + uSource, 0x06000000 + uSource}};
        expected.U32(0x01000000 + uSource).U32(0x02000000 + uSource);
        expected.U64(0x0300000000000000ull + uSource).U64(0x0400000000000000ull + uSource);
        expected.U32(0x05000000 + uSource).U32(0x06000000 + uSource);
    }
    EXPECT_TRUE(SameBytes(expected.Result(), votest::CopyBytes(&kState, sizeof(kState))));
}

}  // namespace
