// Every seed of the fuzz targets, and everything that they ever found, runs through its target in every build.
#include <algorithm>
#include <filesystem>
#include <vector>

#include "fuzz/seeds.h"
#include "fuzz/targets.h"
#include "gtest/gtest.h"
#include "support/random.h"
#include "support/stdout_capture.h"
#include "support/temporary_files.h"

using namespace votest;

namespace
{
typedef void (*Target)(const uint8_t*, size_t);

// The inputs of a target.
std::vector<std::string> Corpus(const std::string& strTarget)
{
    std::vector<std::string> vecInput;
    for (const auto& entry : std::filesystem::directory_iterator(VOBASE_FUZZ_CORPUS "/" + strTarget))
    {
        vecInput.push_back(TemporaryFiles::Read(entry.path().generic_string()));
    }
    return vecInput;
}

void Run(Target pfnTarget, const std::string& strInput)
{
    // Exactly its bytes, so that a read behind them is seen.
    const std::vector<uint8_t> vecInput(strInput.begin(), strInput.end());
    pfnTarget(vecInput.data(), vecInput.size());
}

// Every target has seeds of its own.
constexpr size_t kFewestSeeds = 3;

// The corpus as it is, every input cut at many places, and with many bytes changed: a target ends the process on a
// fault. How many seeds went through.
size_t RunCorpus(const std::string& strTarget, Target pfnTarget)
{
    const std::vector<std::string> vecCorpus = Corpus(strTarget);
    Random random(99000);
    for (const std::string& input : vecCorpus)
    {
        // Thousands of log lines that nobody reads.
        const StdoutCapture quiet;
        Run(pfnTarget, input);
        for (int i = 0; i < 40; ++i)
        {
            Run(pfnTarget, input.substr(0, random.Below(input.size() + 1)));
            std::string strChanged = input;
            for (size_t uLeft = 1 + random.Below(4); uLeft > 0 && !strChanged.empty(); --uLeft)
            {
                strChanged[random.Below(strChanged.size())] = static_cast<char>(random.Word());
            }
            Run(pfnTarget, strChanged);
        }
    }
    return vecCorpus.size();
}
}  // namespace

TEST(FuzzCorpus, TheIniReaderTakesAllOfIt)
{
    EXPECT_LE(kFewestSeeds, RunCorpus("IniReader", FuzzIniReader));
}

TEST(FuzzCorpus, ThePathListFileTakesAllOfIt)
{
    EXPECT_LE(kFewestSeeds, RunCorpus("PathListFile", FuzzPathListFile));
}

TEST(FuzzCorpus, ThePathListBufferTakesAllOfIt)
{
    EXPECT_LE(kFewestSeeds, RunCorpus("PathListBuffer", FuzzPathListBuffer));
}

TEST(FuzzCorpus, GetBufferLineTakesAllOfIt)
{
    EXPECT_LE(kFewestSeeds, RunCorpus("BufferLine", FuzzBufferLine));
}

TEST(FuzzCorpus, TheOptionSectionTakesAllOfIt)
{
    EXPECT_LE(kFewestSeeds, RunCorpus("OptionSection", FuzzOptionSection));
}

TEST(FuzzCorpus, TheDecompressorTakesAllOfIt)
{
    EXPECT_LE(kFewestSeeds, RunCorpus("Decompressor", FuzzDecompressor));
}

TEST(FuzzCorpus, AViewOfAnAssetImageTakesAllOfIt)
{
    EXPECT_LE(kFewestSeeds, RunCorpus("AssetImage", FuzzAssetImage));
}

TEST(FuzzCorpus, APublishersCopyOfAnAssetImageTakesAllOfIt)
{
    EXPECT_LE(kFewestSeeds, RunCorpus("AssetProvider", FuzzAssetProvider));
}

TEST(FuzzCorpus, ABaseAndItsLogTakeAllOfIt)
{
    EXPECT_LE(kFewestSeeds, RunCorpus("Road", FuzzRoad));
}

TEST(FuzzCorpus, TheEventImageTakesAllOfIt)
{
    EXPECT_LE(kFewestSeeds, RunCorpus("EventImage", FuzzEventImage));
}

TEST(FuzzCorpus, TheStringSetTakesAllOfIt)
{
    EXPECT_LE(kFewestSeeds, RunCorpus("StringSet", FuzzStringSet));
}

TEST(FuzzCorpus, ThePublishedSectionTakesAllOfIt)
{
    EXPECT_LE(kFewestSeeds, RunCorpus("Section", FuzzSection));
}

#ifdef VOBASE_FUZZ_LUM
TEST(FuzzCorpus, TheLookIntoAnImageTakesAllOfIt)
{
    EXPECT_LE(kFewestSeeds, RunCorpus("LumImage", FuzzLumImage));
}

TEST(FuzzCorpus, TheListOfAnImagesValuesTakesAllOfIt)
{
    EXPECT_LE(kFewestSeeds, RunCorpus("LumDump", FuzzLumDump));
}

TEST(FuzzCorpus, TheTableOfTypesTakesAllOfIt)
{
    EXPECT_LE(kFewestSeeds, RunCorpus("LumTypes", FuzzLumTypes));
}

TEST(FuzzCorpus, TheListOfPathsTakesAllOfIt)
{
    EXPECT_LE(kFewestSeeds, RunCorpus("LumPaths", FuzzLumPaths));
}

TEST(FuzzCorpus, TheOptionFileTakesAllOfIt)
{
    EXPECT_LE(kFewestSeeds, RunCorpus("LumOptions", FuzzLumOptions));
}
#endif

TEST(FuzzCorpus, TheSeedsThatTheLibraryMakesAreThoseOfTheCorpus)
{
    for (const auto& [strName, strBytes] : FuzzSeeds())
    {
        EXPECT_EQ(strBytes, TemporaryFiles::Read(VOBASE_FUZZ_CORPUS "/" + strName)) << strName;
    }
}
