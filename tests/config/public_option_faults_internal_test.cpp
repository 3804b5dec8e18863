// Public options: a section that can't be opened or mapped.
#include "platform/vo_section_publisher.h"
#include "support/bytes.h"
#include "support/fault_points.h"
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
    VOPublishedSection section;
    ASSERT_TRUE(section.Replace(VOTEXT("fileMappingPublicOptionName"), vecSection.data(), vecSection.size()));
    VOPublicOption option;
    {
        const LogCapture log;
        VOFaultArm("MapViewOfFile", 1, false);
        option.Sync();
        EXPECT_EQ(1u, VOFaultFired());
        VOFaultDisarm();
        EXPECT_EQ((std::vector<std::string>{CheckLine("VO_PROCESS_ERROR", "pOptionMemory", "VOPublicOption::Sync")}),
                  log.Lines());
        EXPECT_STREQ("", option.GetOptionText1());
    }
    const LogCapture log;
    VOFaultArm("OpenFileMappingW", 1, false);
    option.Sync();
    EXPECT_EQ(1u, VOFaultFired());
    VOFaultDisarm();
    EXPECT_EQ(0u, log.Count());
    option.Sync();
    EXPECT_STREQ("text", option.GetOptionText1());
}
