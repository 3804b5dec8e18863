// Many threads read one Customer at the same time; each also reads one that it attached itself to the same image.
#include <atomic>
#include <thread>

#include "assetindex/image_checks.h"

namespace
{
using namespace assettest;

TEST(ConcurrentReaders, ManyThreadsReadOneCustomerAndOneImage)
{
    ModelContainer model = SampleModel(VOTEXT("C:/Root"), VOTEXT("Root Name"));
    const MisalignedBlock image(model.Image(), 1);
    VOTSAssetNodeContainer shared(LUMTrayService::AR_Customer);
    ASSERT_NE(0, shared.SetAlloc(image.As<ContainerImage>(), 0));
    votest::StdoutCapture quiet;
    std::vector<std::thread> vecThreads;
    std::atomic<int> nWrong{0};
    const size_t uExpected = AskEverything(shared);
    for (int nThread = 0; nThread < 4; ++nThread)
    {
        vecThreads.emplace_back(
            [&]
            {
                for (int i = 0; i < 20; ++i)
                {
                    VOTSAssetNodeContainer own(LUMTrayService::AR_Customer);
                    nWrong += own.SetAlloc(image.As<ContainerImage>(), i % 2) != 0 ? 0 : 1;
                    nWrong += AskEverything(own) == uExpected ? 0 : 1;
                    nWrong += AskEverything(shared) == uExpected ? 0 : 1;
                    nWrong += FoundID(shared, VOTEXT("c:\\root\\dir\\foo.png")) == 1 ? 0 : 1;
                }
            });
    }
    for (std::thread& thread : vecThreads)
    {
        thread.join();
    }
    EXPECT_EQ(0, nWrong.load());
}

}  // namespace
