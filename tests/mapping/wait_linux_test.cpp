// What a wait costs, which a system shows that counts a thread's time.
#include <time.h>

#include <chrono>

#include "mapping/mapping_test_tools.h"

namespace
{

using namespace mappingtest;

std::chrono::nanoseconds ProcessorTime()
{
    timespec now = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
}

}  // namespace

TEST(WaitForChange, LeavesTheProcessorToOthersWithABaseAndWithoutOne)
{
    for (const bool bBase : {false, true})
    {
        Publisher publisher;
        if (bBase)
        {
            publisher.OfferBase(AF_SOURCE, SourceModel().Image());
        }
        publisher.PublishImage(AF_SOURCE, SourceModel());
        ClosingInspector reader;
        reader.Load();
        const std::chrono::nanoseconds before = ProcessorTime();
        EXPECT_EQ(0, reader.WaitForChange(300));
        EXPECT_GT(std::chrono::milliseconds(50), ProcessorTime() - before) << bBase;
    }
}
