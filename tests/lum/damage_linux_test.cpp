// Sections that are cut short, which only a system that can replace them shows; files that can't be written or read to
// their end; and random damage, which takes more processes than start in a short time elsewhere.
#include <signal.h>
#include <sys/resource.h>

#include <optional>
#include <random>

#include "tests/lum_support/lum_test_support.h"

namespace
{

void ExpectNoCrash(const std::string& strWhat)
{
    for (const std::vector<std::string>& vecArguments : kReaderCommands)
    {
        const LumResult result = RunLum(vecArguments);
        EXPECT_TRUE(result.nExitCode >= 0 && result.nExitCode <= 2)
            << strWhat << " " << vecArguments[0] << " " << result.nExitCode << " " << result.strErr;
    }
}

// No file of a process that is started meanwhile gets any larger, as on a full disk.
class FileSizeLimit
{
public:
    explicit FileSizeLimit(size_t uBytes) : m_pfnEarlier(signal(SIGXFSZ, SIG_IGN))
    {
        EXPECT_EQ(getrlimit(RLIMIT_FSIZE, &m_earlier), 0);
        const rlimit limit = {uBytes, m_earlier.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    }
    ~FileSizeLimit()
    {
        EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &m_earlier), 0);
        signal(SIGXFSZ, m_pfnEarlier);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    sighandler_t m_pfnEarlier;
    rlimit m_earlier = {};
};

}  // namespace

TEST(LumFullDisk, ASavedImageThatDoesntFitIsAnErrorAndLeavesNoFile)
{
    const TemporaryFolder folder;
    HandMadePublisher publisher;
    const std::string strImage = SmallImage();
    ASSERT_TRUE(publisher.PublishImage(strImage));
    std::optional<FileSizeLimit> limit(strImage.size() - 1);
    LumProcess process({"image", "--save", folder.Name("saved")});
    limit.reset();
    EXPECT_EQ(process.Wait(), 2);
    EXPECT_EQ(process.Err(), "lum: " + folder.Name("saved") + ": can't be written\n");
    EXPECT_FALSE(std::filesystem::exists(folder.Path() / "saved"));
}

TEST(LumFile, OneThatCantBeReadToItsEndIsAnError)
{
    // A file of the system's whose first bytes are nobody's.
    const LumResult result = RunLum({"image", "--file", "/proc/self/mem"});
    EXPECT_EQ(result.nExitCode, 2);
    EXPECT_EQ(result.strErr, "lum: /proc/self/mem: can't be read\n");
}

TEST(LumFile, ATextIsReadUpTo256MiB)
{
    const TemporaryFolder folder;
    const std::string strText = folder.Write("types", "");
    for (const auto& [uSize, strWanted] : {std::pair<size_t, std::string>{256u << 20, ":1: isn't UTF-8 text\n"},
                                           {(256u << 20) + 1, ": is larger than 268435456 bytes\n"}})
    {
        std::filesystem::resize_file(strText, uSize);
        const LumResult result = RunLum({"serve", "--source", folder.Name(), "--types", strText});
        EXPECT_EQ(result.nExitCode, 2);
        EXPECT_EQ(result.strErr, "lum: " + strText + strWanted);
    }
}

TEST(LumFullDisk, TheDemonstrationSaysThatItsFilesDontFit)
{
    // What it says is a file here too, and is cut.
    const std::string strWanted = "lum: the demons";
    std::optional<FileSizeLimit> limit(strWanted.size());
    LumProcess process({"demo"});
    limit.reset();
    EXPECT_EQ(process.Wait(), 2);
    EXPECT_EQ(process.Err(), strWanted);
}

TEST(LumDamage, ACutDataSectionIsRefused)
{
    HandMadePublisher publisher;
    const std::string strBlock = BlockOf(SmallImage());
    for (const size_t uSize :
         {size_t{1}, size_t{8}, size_t{15}, size_t{16}, size_t{17}, strBlock.size() / 2, strBlock.size() - 9})
    {
        ASSERT_TRUE(publisher.PublishBlock(strBlock.substr(0, uSize)));
        EXPECT_EQ(RunLum({"find"}).nExitCode, 2) << uSize;
        EXPECT_EQ(RunLum({"status"}).nExitCode, 2) << uSize;
        EXPECT_EQ(RunLum({"image"}).nExitCode, 2) << uSize;
    }
}

TEST(LumDamage, ACutStateSectionIsRefused)
{
    HandMadePublisher publisher;
    ASSERT_TRUE(publisher.PublishImage(SmallImage()));
    for (const size_t uSize : {1u, 11u, 12u, 24u, 131u})
    {
        ASSERT_TRUE(publisher.PublishState(GoodState().substr(0, uSize)));
        EXPECT_EQ(RunLum({"find"}).nExitCode, 2) << uSize;
        EXPECT_EQ(RunLum({"status"}).nExitCode, 2) << uSize;
        EXPECT_EQ(RunLum({"image", "--state"}).nExitCode, 2) << uSize;
    }
    ASSERT_TRUE(publisher.PublishState(GoodState() + std::string(4000, '\xff')));
    EXPECT_EQ(RunLum({"find"}).nExitCode, 0);
}

TEST(LumDamage, RandomDamageOfAnImageNeverCrashesAReader)
{
    HandMadePublisher publisher;
    const std::string strGood = SmallImage();
    std::mt19937 random(4711);
    for (unsigned i = 0; i < 40; ++i)
    {
        std::string strImage = strGood;
        for (unsigned j = random() % 4 + 1; j != 0; --j)
        {
            strImage[random() % strImage.size()] = static_cast<char>(random());
        }
        ASSERT_TRUE(publisher.PublishImage(strImage));
        ExpectNoCrash("round " + std::to_string(i));
    }
}

TEST(LumDamage, RandomDamageOfABlockNeverCrashesAReader)
{
    HandMadePublisher publisher;
    const std::string strGood = BlockOf(SmallImage());
    std::mt19937 random(1174);
    for (unsigned i = 0; i < 60; ++i)
    {
        std::string strBlock = strGood;
        for (unsigned j = random() % 3 + 1; j != 0; --j)
        {
            strBlock[random() % strBlock.size()] = static_cast<char>(random());
        }
        ASSERT_TRUE(publisher.PublishBlock(strBlock));
        const LumResult result = RunLum({"tree"});
        EXPECT_TRUE(result.nExitCode >= 0 && result.nExitCode <= 2) << i << " " << result.strErr;
    }
}

TEST(LumDamage, RandomDamageOfAnImageFileNeverCrashesTheInspector)
{
    TemporaryFolder folder;
    const std::string strGood = SmallImage();
    std::mt19937 random(99);
    for (unsigned i = 0; i < 150; ++i)
    {
        std::string strImage = strGood;
        for (unsigned j = random() % 4 + 1; j != 0; --j)
        {
            SetWord(&strImage, random() % (strImage.size() - 3), random() >> (random() % 32));
        }
        const LumResult result =
            RunLum({"image", "--file", folder.Write("image", strImage), "--dump", "--records", "50"});
        EXPECT_TRUE(result.nExitCode == 0 || result.nExitCode == 2) << i << " " << result.strErr;
    }
}
