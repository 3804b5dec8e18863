// What stays mapped after a section without content was met, seen in the process's list of mappings.
#include <fstream>

#include "fileevent/event_section_tools.h"

namespace
{
using namespace eventtest;

// Mappings of the data sections of a source.
size_t MappedSections(const std::string& strName)
{
    size_t uFound = 0;
    std::ifstream kMaps("/proc/self/maps");
    for (std::string strLine; std::getline(kMaps, strLine);)
    {
        uFound += strLine.find(strName) != std::string::npos ? 1 : 0;
    }
    return uFound;
}

TEST(EventLeftovers, OfSectionsWithoutContentOneViewRemainsMapped)
{
    const std::string strName = "vo_fileMappingFileEventContainerName_pakv4";
    Publisher kPublisher;
    LogCapture kLog;
    StoppingInspector kRunning(AF_PAKV4);
    ASSERT_EQ(1, kRunning.Run());
    for (Time ullTime = 10; ullTime < 13; ++ullTime)
    {
        kLog.Clear();
        kPublisher.Publish(AF_PAKV4, Bytes(64, 0), ullTime);
        ASSERT_TRUE(WaitUntil([&] { return kLog.Count() != 0; }));
        ASSERT_TRUE(WaitUntil([&] { return kPublisher.Readers(AF_PAKV4, 0) + kPublisher.Readers(AF_PAKV4, 1) == 0; }));
    }
    kPublisher.DropData(AF_PAKV4, 0);
    kPublisher.DropData(AF_PAKV4, 1);
    EXPECT_EQ(1u, MappedSections(strName));
    kRunning.Stop();
    EXPECT_EQ(1u, MappedSections(strName));
    EXPECT_EQ(0u, kPublisher.Readers(AF_PAKV4, 0) + kPublisher.Readers(AF_PAKV4, 1));
}

}  // namespace
