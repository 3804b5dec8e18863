// The library in a process that wasn't linked with it.
#include "loading/loading_tools.h"

using namespace loadingtest;

TEST(Loading, AProgramInPlainCLoadsItLogsAndUnloadsIt)
{
    EXPECT_EQ(0, RunHost("log " + Native(LOADING_LIBRARY) + " 1"));
}

TEST(Loading, ItIsLoadedAndUnloadedAgainAndAgainBetweenThreadsThatLogged)
{
    EXPECT_EQ(0, RunHost("log " + Native(LOADING_LIBRARY) + " 50"));
}

TEST(Loading, APlugInThatUsesItIsLoadedAndTakesItAlongWhenItGoes)
{
    const votest::TemporaryFiles files;
    EXPECT_EQ(0, RunHost("plugin " + Native(LOADING_PLUGIN) + " " + Native(LOADING_LIBRARY) + " 2 " +
                         Native(files.Folder().string())));
}
