// What lookups and attaching cost, where that can be counted: allocations, and memory that is touched.
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "assetindex/image_checks.h"
#include "support/allocation_counter.h"

namespace
{
using namespace assettest;
using LUMTrayService::AR_Customer;

constexpr unsigned int kNodes = 4000;

ModelContainer LargeModel()
{
    ModelContainer model;
    model.strRoot = VOTEXT("C:/Root");
    model.strRootName = VOTEXT("Name");
    model.vecTypes = {{7, VOTEXT("Texture"), VOTEXT("png|TGA"), 1, 2}};
    model.Add(VOTEXT("Dir"), true, kNone);
    IDs vecChildren;
    for (unsigned int uID = 1; uID < kNodes; ++uID)
    {
        model.Add(VOTEXT("Dir/Some longer name ") + Wide(std::to_string(uID)) + VOTEXT(".png"), false, kNone);
        vecChildren.push_back(uID);
    }
    model.SetChildren(0, vecChildren);
    return model;
}

TEST(LookupCost, ALookupOnACustomerAllocatesNothing)
{
    const MisalignedBlock image(LargeModel().Image(), 1);
    VOTSAssetNodeContainer customer(AR_Customer);
    ASSERT_NE(0, customer.SetAlloc(image.As<ContainerImage>(), 0));
    structAssetNode tsNode;
    WideBuffer<> path;
    int nType = 0;
    Color color;
    int nFound = 0;
    size_t uAllocations = 0;
    {
        const votest::AllocationCounter counter;
        nFound += customer.FindAssetNode(VOTEXT("dir/SOME longer name 3999.png"), tsNode);
        nFound += customer.FindAssetNode(VOTEXT("c:\\root\\dir"), tsNode);
        nFound += customer.FindAssetNode(VOTEXT("dir/none"), tsNode);
        nFound += customer.FindAssetNode(VOTEXT("D:/none"), tsNode);
        nFound += customer.GetAssetNode(17, tsNode);
        nFound += customer.GetAssetPath(17, MAX_PATH, path.szText);
        nFound += customer.GetAssetAbsolutePath(17, MAX_PATH, path.szText);
        nFound += customer.GetString(tsNode.hStrBaseName) != nullptr ? 1 : 0;
        nFound += customer.GetInfoNumberFromIndex(0, 5) != kNone ? 1 : 0;
        nFound += customer.GetInfoNumberCount(0) != 0 ? 1 : 0;
        nFound += customer.GetClassifyTypeByExtension(VOTEXT("PNG"), nType);
        nFound += customer.GetClassifyTypeColor(7, color);
        uAllocations = counter.Count();
    }
    EXPECT_EQ(10, nFound);
    EXPECT_EQ(0u, uAllocations);
}

TEST(LookupCost, ManyLookupsAtOnceOnACustomerAllocateNothing)
{
    const MisalignedBlock image(LargeModel().Image(), 1);
    VOTSAssetNodeContainer customer(AR_Customer);
    ASSERT_NE(0, customer.SetAlloc(image.As<ContainerImage>(), 0));
    const std::vector<const VOWCHAR*> vecPath(50, VOTEXT("dir/SOME longer name 3999.png"));
    std::vector<structAssetNode> vecNode(vecPath.size());
    std::vector<int> vecFound(vecPath.size());
    unsigned int uFound = 0;
    size_t uAllocations = 0;
    {
        const votest::AllocationCounter counter;
        uFound = customer.FindAssetNodes(vecPath.data(), 50, vecNode.data(), vecFound.data());
        uAllocations = counter.Count();
    }
    EXPECT_EQ(50u, uFound);
    EXPECT_EQ(0u, uAllocations);
}

TEST(LookupCost, TheCounterSeesAnAllocation)
{
    VOTSAssetNodeContainer provider;
    NewNode(provider, VOTEXT("a"));
    const votest::AllocationCounter counter;
    free(provider.GetAlloc());
    EXPECT_NE(0u, counter.Count());
}

// Forbids every page that lies wholly in a range of bytes.
void Forbid(unsigned char* pbBegin, unsigned char* pbEnd)
{
    const uintptr_t uPage = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    const uintptr_t uFrom = (reinterpret_cast<uintptr_t>(pbBegin) + uPage - 1) / uPage * uPage;
    const uintptr_t uTo = reinterpret_cast<uintptr_t>(pbEnd) / uPage * uPage;
    if (uTo <= uFrom || mprotect(reinterpret_cast<void*>(uFrom), uTo - uFrom, PROT_NONE) != 0)
    {
        _exit(3);
    }
}

// In a child process: attaches to an image whose insides can't be touched. The exit code tells how far it came.
int AttachInChild(const Bytes& image, bool bWithSize)
{
    const pid_t nChild = fork();
    if (nChild == 0)
    {
        signal(SIGSEGV, SIG_DFL);
        signal(SIGBUS, SIG_DFL);
        void* pvMemory = mmap(nullptr, image.size() + 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        unsigned char* pbImage = static_cast<unsigned char*>(pvMemory) + 1;
        memcpy(pbImage, image.data(), image.size());

        const BlockOffsets blocks(image);
        const size_t uParams = blocks.uStrings + 28;
        const size_t uPool = uParams + ReadU32(image, blocks.uStrings + 8);
        const size_t uPrimary = uPool + ReadU32(image, blocks.uStrings + 12);
        const size_t uHandles = uPool + 12 + 20 + ReadU32(image, uPool + 12 + 8);
        const size_t uConflict = uPrimary + ReadU32(image, blocks.uStrings + 16);
        // Behind each head, up to the next one.
        Forbid(pbImage + uParams + 16, pbImage + uPool);
        Forbid(pbImage + uPool + 32, pbImage + uHandles);
        Forbid(pbImage + uHandles + 16, pbImage + uPrimary);
        Forbid(pbImage + uPrimary + 32, pbImage + uConflict);
        Forbid(pbImage + blocks.uNodes + 16, pbImage + blocks.uNumbers);
        Forbid(pbImage + blocks.uNumbers + 8, pbImage + blocks.uTable);
        Forbid(pbImage + blocks.uTable + 32, pbImage + blocks.uClassify);

        VOTSAssetNodeContainer customer(AR_Customer);
        ContainerImage* pAlloc = reinterpret_cast<ContainerImage*>(pbImage);
        const int nResult = bWithSize ? customer.SetAlloc(pAlloc, 0, image.size()) : customer.SetAlloc(pAlloc, 0);
        _exit(nResult != 0 && customer.GetAssetNodeCount() == kNodes ? 0 : 1);
    }
    int nStatus = -1;
    waitpid(nChild, &nStatus, 0);
    return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : 1000 + (WIFSIGNALED(nStatus) ? WTERMSIG(nStatus) : 0);
}

TEST(AttachCost, AttachingTouchesTheHeadsOfAnImageOnly)
{
    const Bytes vecImage = LargeModel().Image();
    EXPECT_EQ(0, AttachInChild(vecImage, false)) << "1011 is a memory fault: something was walked";
    EXPECT_EQ(0, AttachInChild(vecImage, true)) << "1011 is a memory fault: something was walked";
}

}  // namespace
