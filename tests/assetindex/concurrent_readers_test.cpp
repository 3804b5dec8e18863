// Many threads read one Customer at the same time; each also reads one that it attached itself to the same image.
#include <atomic>
#include <thread>

#include "assetindex/image_checks.h"

namespace
{
using namespace assettest;

TEST(ConcurrentReaders, ManyThreadsReadOneCustomerAndOneImage)
{
    ModelContainer kModel = SampleModel(VOTEXT("C:/Root"), VOTEXT("Root Name"));
    const MisalignedBlock kImage(kModel.Image(), 1);
    VOTSAssetNodeContainer kShared(LUMTrayService::AR_Customer);
    ASSERT_NE(0, kShared.SetAlloc(kImage.As<ContainerImage>(), 0));
    votest::StdoutCapture kQuiet;
    std::vector<std::thread> vecThreads;
    std::atomic<int> nWrong{0};
    const size_t uExpected = AskEverything(kShared);
    for (int nThread = 0; nThread < 4; ++nThread)
    {
        vecThreads.emplace_back(
            [&]
            {
                for (int i = 0; i < 20; ++i)
                {
                    VOTSAssetNodeContainer kOwn(LUMTrayService::AR_Customer);
                    nWrong += kOwn.SetAlloc(kImage.As<ContainerImage>(), i % 2) != 0 ? 0 : 1;
                    nWrong += AskEverything(kOwn) == uExpected ? 0 : 1;
                    nWrong += AskEverything(kShared) == uExpected ? 0 : 1;
                    nWrong += FoundID(kShared, VOTEXT("c:\\root\\dir\\foo.png")) == 1 ? 0 : 1;
                }
            });
    }
    for (std::thread& rkThread : vecThreads)
    {
        rkThread.join();
    }
    EXPECT_EQ(0, nWrong.load());
}

}  // namespace
