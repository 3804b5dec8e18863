// Threads whose first searches of an image come at the same time.
#include <thread>

#include "mapping/search_check.h"

namespace
{
using namespace mappingtest;

struct Counted
{
    size_t uFound = 0;
    static int Visit(const structAssetNode&, void* pvCounted, int&)
    {
        ++static_cast<Counted*>(pvCounted)->uFound;
        return 0;
    }
};

TEST(ConcurrentSearch, FirstSearchesOfFourThreadsFindTheSame)
{
    ModelContainer model;
    model.Add(VOTEXT("top"), true, kNone);
    std::vector<unsigned int> vecFiles;
    for (unsigned int uFile = 0; uFile < 2000; ++uFile)
    {
        vecFiles.push_back(model.Add(VOTEXT("top/f") + Wide(std::to_string(uFile)) + VOTEXT(".x"), false, kNone));
        model.vecNodes.back().uParent = 0;
    }
    model.SetChildren(0, vecFiles);
    const Bytes bytes = model.Image();
    const MisalignedBlock image(bytes, 0);
    SearchedInspector inspector;
    for (int nRound = 0; nRound < 20; ++nRound)
    {
        ASSERT_NE(0, inspector.Container().SetAlloc(image.As<ContainerImage>(), 0, bytes.size()));
        std::vector<std::thread> vecThreads;
        Counted aName[4];
        Counted aExtension[4];
        for (int nThread = 0; nThread < 4; ++nThread)
        {
            vecThreads.emplace_back(
                [&, nThread]
                {
                    for (int nSearch = 0; nSearch < 3; ++nSearch)
                    {
                        inspector.TraverseAssetNode_FileName(0, VOTEXT("F19"), 0, 3, 1, &Counted::Visit,
                                                             &aName[nThread]);
                        inspector.TraverseAssetNode_Extension(0, VOTEXT("X|y"), 0, 1, &Counted::Visit,
                                                              &aExtension[nThread]);
                    }
                });
        }
        for (std::thread& thread : vecThreads)
        {
            thread.join();
        }
        for (int nThread = 0; nThread < 4; ++nThread)
        {
            EXPECT_EQ(3u * 111, aName[nThread].uFound);
            EXPECT_EQ(3u * 2000, aExtension[nThread].uFound);
        }
    }
}

}  // namespace
