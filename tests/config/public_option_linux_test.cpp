// Public options: what only Linux shows, where a section has its exact size and an over-long key ends nothing.
#include "platform/vo_section_publisher.h"
#include "support/bytes.h"
#include "support/log_capture.h"
#include "vo_public_option.h"

using namespace votest;

namespace
{
typedef std::vector<std::string> Texts;

// The log lines of a Sync with a section of so many bytes.
Texts LinesOfSync(size_t uSize, const std::string& strStart)
{
    Bytes vecSection(1536, 'x');
    std::copy(strStart.begin(), strStart.end(), vecSection.begin());
    VOPublishedSection section;
    EXPECT_TRUE(section.Replace(VOTEXT("fileMappingPublicOptionName"), vecSection.data(), uSize));
    const LogCapture log;
    VOPublicOption option;
    option.Sync();
    EXPECT_EQ(uSize == 1536 && log.Count() == 0, option.GetOptionText1()[0] == 'x');
    return log.Lines();
}
}  // namespace

TEST(PublicOptionOnLinux, ASectionThatIsTooShortIsRefusedWithOneLogLine)
{
    const std::string strVersion("version.0.4\0", 12);
    const std::string strShort =
        CheckLine("VO_PROCESS_ERROR", "uViewSize >= sizeof(kPublished)", "VOPublicOption::Sync");
    EXPECT_EQ(Texts{}, LinesOfSync(1536, strVersion));
    for (const size_t uSize : {12u, 13u, 100u, 1528u, 1535u})
    {
        EXPECT_EQ(Texts{strShort}, LinesOfSync(uSize, strVersion)) << uSize;
    }
    EXPECT_EQ(1u, LinesOfSync(1, strVersion).size());
    EXPECT_EQ(1u, LinesOfSync(11, strVersion).size());
}

TEST(PublicOptionOnLinux, TheVersionOfAShortSectionIsLookedAtFirst)
{
    EXPECT_EQ(Texts{"VO_PROCESS_ERROR_FALSE at line # in VOPublicOption::Sync\n"},
              LinesOfSync(12, std::string("version.0.3\0", 12)));
}

TEST(PublicOptionOnLinux, AnOverLongKeyBecomesTheEmptyKey)
{
    VOPublicOption option;
    option.SetOptionKey("before");
    EXPECT_EQ(1, option.SetOptionKey(std::string(100, 'k').c_str()));
    EXPECT_STREQ("", option.GetOptionKey());
}
