// Readers of sections that are wrong, cut or hostile: a message and exit code 2, or a consistent answer, and never a
// crash.
#include "tests/lum_support/lum_test_support.h"

namespace
{

void ExpectRefusal(const std::string& strWhat)
{
    for (const std::vector<std::string>& vecArguments : kReaderCommands)
    {
        const LumResult result = RunLum(vecArguments);
        EXPECT_EQ(result.nExitCode, 2) << strWhat << " " << vecArguments[0];
        EXPECT_NE(result.strErr, "") << strWhat << " " << vecArguments[0];
    }
}

}  // namespace

TEST(LumDamage, AGoodHandMadeSectionIsRead)
{
    HandMadePublisher publisher;
    ASSERT_TRUE(publisher.PublishImage(SmallImage()));
    EXPECT_EQ(RunLum({"find"}).strOut, "README\nShip\nShip/Hull.png\n");
    for (const std::vector<std::string>& vecArguments : kReaderCommands)
    {
        EXPECT_EQ(RunLum(vecArguments).nExitCode, 0) << vecArguments[0];
    }
}

TEST(LumDamage, AStateSectionOfAnotherVersionIsRefused)
{
    HandMadePublisher publisher;
    ASSERT_TRUE(publisher.PublishImage(SmallImage()));
    std::string strState = GoodState();
    strState[10] = '5';
    ASSERT_TRUE(publisher.PublishState(strState));
    ExpectRefusal("another version");
    EXPECT_EQ(RunLum({"image", "--state"}).nExitCode, 2);
}

TEST(LumDamage, AnEnabledSourceWithoutItsDataSectionIsRefused)
{
    HandMadePublisher publisher;
    ExpectRefusal("no data section");
}

TEST(LumDamage, ABlockWhoseHeaderLiesIsRefused)
{
    HandMadePublisher publisher;
    const std::string strGood = BlockOf(SmallImage());
    for (const uint32_t uValue : {0u, 1u, 0x7FFFFFFFu, 0xFFFFFFFFu})
    {
        for (const size_t uAt : {size_t{0}, size_t{4}, size_t{8}, size_t{12}})
        {
            std::string strBlock = strGood;
            SetWord(&strBlock, uAt, uValue);
            if (strBlock == strGood)
            {
                continue;
            }
            ASSERT_TRUE(publisher.PublishBlock(strBlock));
            EXPECT_EQ(RunLum({"image"}).nExitCode, 2) << uAt << " " << uValue;
            // An announced size that is larger than the stream's own is a bound that does no harm to a reader.
            const bool bBound = uAt == 0 && uValue > WordAt(strGood, 0);
            EXPECT_EQ(RunLum({"find"}).nExitCode, bBound ? 0 : 2) << uAt << " " << uValue;
        }
    }
}

TEST(LumDamage, ABlockWhoseStreamIsDamagedIsRefused)
{
    HandMadePublisher publisher;
    std::string strBlock = BlockOf(SmallImage());
    strBlock.replace(16, 64, std::string(64, '\xff'));
    ASSERT_TRUE(publisher.PublishBlock(strBlock));
    ExpectRefusal("damaged stream");
}

TEST(LumDamage, AnImageOfAnotherVersionIsRefused)
{
    HandMadePublisher publisher;
    std::string strImage = SmallImage();
    strImage[6] = '9';
    ASSERT_TRUE(publisher.PublishImage(strImage));
    ExpectRefusal("another image version");
}

TEST(LumDamage, AnImageWhoseInnerSizesLieIsRefused)
{
    HandMadePublisher publisher;
    const std::string strGood = SmallImage();
    // The sizes and counts of the outer head and of the first heads inside.
    for (const size_t uAt :
         {8u, 12u, 16u, 20u, 24u, 48u, 52u + 8, 52u + 12, 52u + 16, 52u + 24, 52u + 28 + 8, 52u + 28 + 12})
    {
        for (const uint32_t uValue : {0u, WordAt(strGood, uAt) + 4, 0xFFFFFF00u})
        {
            std::string strImage = strGood;
            SetWord(&strImage, uAt, uValue);
            ASSERT_TRUE(publisher.PublishImage(strImage));
            EXPECT_EQ(RunLum({"find"}).nExitCode, 2) << uAt << " " << uValue;
        }
    }
}

TEST(LumDamage, AnImageOfNothingIsRefused)
{
    HandMadePublisher publisher;
    ASSERT_TRUE(publisher.PublishImage("x"));
    ExpectRefusal("one byte");
    ASSERT_TRUE(publisher.PublishImage("ver.1.4"));
    ExpectRefusal("a version alone");
}

TEST(LumDamage, AFolderThatLiesInItselfEndsTheWalkWithAnError)
{
    HandMadePublisher publisher;
    std::string strImage = SmallImage();
    // Every number that is node 1, the folder, or node 2, its file, leads to the root or to the folder itself.
    const size_t uNodes = 52 + WordAt(strImage, 8);
    const size_t uNumbers = uNodes + WordAt(strImage, 12);
    for (uint32_t i = 0; i < WordAt(strImage, uNumbers); ++i)
    {
        if (WordAt(strImage, uNumbers + 8 + 4 * i) == 2)
        {
            SetWord(&strImage, uNumbers + 8 + 4 * i, 1);
        }
    }
    // The folder's list of files becomes its list of folders.
    const size_t uFolder = uNodes + 16 + 120;
    SetWord(&strImage, uFolder + 20, WordAt(strImage, uFolder + 16));
    ASSERT_TRUE(publisher.PublishImage(strImage));
    EXPECT_EQ(RunLum({"tree"}).nExitCode, 2);
    EXPECT_EQ(RunLum({"tree", "--json"}).nExitCode, 2);
    EXPECT_EQ(RunLum({"find"}).nExitCode, 2);
    EXPECT_EQ(RunLum({"image"}).nExitCode, 2);
}

TEST(LumDamage, AChildThatDoesntExistIsAnError)
{
    HandMadePublisher publisher;
    std::string strImage = SmallImage();
    const size_t uNumbers = 52 + WordAt(strImage, 8) + WordAt(strImage, 12);
    SetWord(&strImage, uNumbers + 8, 1000000);
    ASSERT_TRUE(publisher.PublishImage(strImage));
    EXPECT_EQ(RunLum({"tree"}).nExitCode, 2);
    EXPECT_EQ(RunLum({"find"}).nExitCode, 2);
}
