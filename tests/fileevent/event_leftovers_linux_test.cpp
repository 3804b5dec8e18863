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
    std::ifstream maps("/proc/self/maps");
    for (std::string strLine; std::getline(maps, strLine);)
    {
        uFound += strLine.find(strName) != std::string::npos ? 1 : 0;
    }
    return uFound;
}

TEST(EventLeftovers, OfSectionsWithoutContentOneViewRemainsMapped)
{
    const std::string strName = "vo_fileMappingFileEventContainerName_pakv4";
    Publisher publisher;
    LogCapture log;
    StoppingInspector running(AF_PAKV4);
    ASSERT_EQ(1, running.Run());
    for (Time ullTime = 10; ullTime < 13; ++ullTime)
    {
        log.Clear();
        publisher.Publish(AF_PAKV4, Bytes(64, 0), ullTime);
        ASSERT_TRUE(WaitUntil([&] { return log.Count() != 0; }));
        ASSERT_TRUE(WaitUntil([&] { return publisher.Readers(AF_PAKV4, 0) + publisher.Readers(AF_PAKV4, 1) == 0; }));
    }
    publisher.DropData(AF_PAKV4, 0);
    publisher.DropData(AF_PAKV4, 1);
    EXPECT_EQ(1u, MappedSections(strName));
    running.Stop();
    EXPECT_EQ(1u, MappedSections(strName));
    EXPECT_EQ(0u, publisher.Readers(AF_PAKV4, 0) + publisher.Readers(AF_PAKV4, 1));
}

}  // namespace
