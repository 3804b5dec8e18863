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
    ModelContainer kModel;
    kModel.strRoot = VOTEXT("C:/Root");
    kModel.strRootName = VOTEXT("Name");
    kModel.vecTypes = {{7, VOTEXT("Texture"), VOTEXT("png|TGA"), 1, 2}};
    kModel.Add(VOTEXT("Dir"), true, kNone);
    IDs vecChildren;
    for (unsigned int uID = 1; uID < kNodes; ++uID)
    {
        kModel.Add(VOTEXT("Dir/Some longer name ") + Wide(std::to_string(uID)) + VOTEXT(".png"), false, kNone);
        vecChildren.push_back(uID);
    }
    kModel.SetChildren(0, vecChildren);
    return kModel;
}

TEST(LookupCost, ALookupOnACustomerAllocatesNothing)
{
    const MisalignedBlock kImage(LargeModel().Image(), 1);
    VOTSAssetNodeContainer kCustomer(AR_Customer);
    ASSERT_NE(0, kCustomer.SetAlloc(kImage.As<ContainerImage>(), 0));
    structAssetNode tsNode;
    WideBuffer<> kPath;
    int nType = 0;
    Color kColor;
    int nFound = 0;
    size_t uAllocations = 0;
    {
        const votest::AllocationCounter kCounter;
        nFound += kCustomer.FindAssetNode(VOTEXT("dir/SOME longer name 3999.png"), tsNode);
        nFound += kCustomer.FindAssetNode(VOTEXT("c:\\root\\dir"), tsNode);
        nFound += kCustomer.FindAssetNode(VOTEXT("dir/none"), tsNode);
        nFound += kCustomer.FindAssetNode(VOTEXT("D:/none"), tsNode);
        nFound += kCustomer.GetAssetNode(17, tsNode);
        nFound += kCustomer.GetAssetPath(17, MAX_PATH, kPath.szText);
        nFound += kCustomer.GetAssetAbsolutePath(17, MAX_PATH, kPath.szText);
        nFound += kCustomer.GetString(tsNode.hStrBaseName) != nullptr ? 1 : 0;
        nFound += kCustomer.GetInfoNumberFromIndex(0, 5) != kNone ? 1 : 0;
        nFound += kCustomer.GetInfoNumberCount(0) != 0 ? 1 : 0;
        nFound += kCustomer.GetClassifyTypeByExtension(VOTEXT("PNG"), nType);
        nFound += kCustomer.GetClassifyTypeColor(7, kColor);
        uAllocations = kCounter.Count();
    }
    EXPECT_EQ(10, nFound);
    EXPECT_EQ(0u, uAllocations);
}

TEST(LookupCost, TheCounterSeesAnAllocation)
{
    VOTSAssetNodeContainer kProvider;
    NewNode(kProvider, VOTEXT("a"));
    const votest::AllocationCounter kCounter;
    free(kProvider.GetAlloc());
    EXPECT_NE(0u, kCounter.Count());
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
int AttachInChild(const Bytes& rkImage, bool bWithSize)
{
    const pid_t nChild = fork();
    if (nChild == 0)
    {
        signal(SIGSEGV, SIG_DFL);
        signal(SIGBUS, SIG_DFL);
        void* pvMemory =
            mmap(nullptr, rkImage.size() + 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        unsigned char* pbImage = static_cast<unsigned char*>(pvMemory) + 1;
        memcpy(pbImage, rkImage.data(), rkImage.size());

        const BlockOffsets kBlocks(rkImage);
        const size_t uParams = kBlocks.uStrings + 28;
        const size_t uPool = uParams + ReadU32(rkImage, kBlocks.uStrings + 8);
        const size_t uPrimary = uPool + ReadU32(rkImage, kBlocks.uStrings + 12);
        const size_t uHandles = uPool + 12 + 20 + ReadU32(rkImage, uPool + 12 + 8);
        const size_t uConflict = uPrimary + ReadU32(rkImage, kBlocks.uStrings + 16);
        // Behind each head, up to the next one.
        Forbid(pbImage + uParams + 16, pbImage + uPool);
        Forbid(pbImage + uPool + 32, pbImage + uHandles);
        Forbid(pbImage + uHandles + 16, pbImage + uPrimary);
        Forbid(pbImage + uPrimary + 32, pbImage + uConflict);
        Forbid(pbImage + kBlocks.uNodes + 16, pbImage + kBlocks.uNumbers);
        Forbid(pbImage + kBlocks.uNumbers + 8, pbImage + kBlocks.uTable);
        Forbid(pbImage + kBlocks.uTable + 32, pbImage + kBlocks.uClassify);

        VOTSAssetNodeContainer kCustomer(AR_Customer);
        ContainerImage* pAlloc = reinterpret_cast<ContainerImage*>(pbImage);
        const int nResult = bWithSize ? kCustomer.SetAlloc(pAlloc, 0, rkImage.size()) : kCustomer.SetAlloc(pAlloc, 0);
        _exit(nResult != 0 && kCustomer.GetAssetNodeCount() == kNodes ? 0 : 1);
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
