// Public options: a section that can't be opened or mapped.
#include "platform/fault_points.h"
#include "platform/vo_section_publisher.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include "vo_public_option.h"

using namespace votest;

TEST(PublicOptionFaults, AViewThatCantBeMadeLogsAndKeepsTheRecord)
{
    if (!VO_SYSTEM_CALLS_HAVE_FAULT_POINTS)
    {
        GTEST_SKIP() << "the calls are the system's own here";
    }
    Bytes vecSection(1536, 0);
    memcpy(vecSection.data(), "version.0.4", 11);
    memcpy(vecSection.data() + 112, "text", 4);
    VOPublishedSection kSection;
    ASSERT_TRUE(kSection.Replace(VOTEXT("fileMappingPublicOptionName"), vecSection.data(), vecSection.size()));
    VOPublicOption kOption;
    {
        const LogCapture kLog;
        VOFaultArm("MapViewOfFile", 1, false);
        kOption.Sync();
        EXPECT_EQ(1u, VOFaultFired());
        VOFaultDisarm();
        EXPECT_EQ((std::vector<std::string>{CheckLine("VO_PROCESS_ERROR", "pOptionMemory", "VOPublicOption::Sync")}),
                  kLog.Lines());
        EXPECT_STREQ("", kOption.GetOptionText1());
    }
    const LogCapture kLog;
    VOFaultArm("OpenFileMappingW", 1, false);
    kOption.Sync();
    EXPECT_EQ(1u, VOFaultFired());
    VOFaultDisarm();
    EXPECT_EQ(0u, kLog.Count());
    kOption.Sync();
    EXPECT_STREQ("text", kOption.GetOptionText1());
}
