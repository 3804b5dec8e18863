// Large blocks and huge pages.
#include <stdlib.h>

#include <fstream>
#include <sstream>

#include "platform/vo_memory.h"
#include "tests/platform/platform_test_support.h"

namespace
{
// What the system says about the mapping that holds an address: its lines, from the first one on.
std::string DescriptionOfMapping(const void* pAddress)
{
    std::ifstream file("/proc/self/smaps");
    const uintptr_t uAddress = reinterpret_cast<uintptr_t>(pAddress);
    std::string strDescription;
    bool bInside = false;
    for (std::string strLine; std::getline(file, strLine);)
    {
        unsigned long uBegin = 0;
        unsigned long uEnd = 0;
        char cDash = 0;
        std::istringstream line(strLine);
        if (line >> std::hex >> uBegin >> cDash >> uEnd && cDash == '-')
        {
            bInside = uAddress >= uBegin && uAddress < uEnd;
        }
        strDescription += bInside ? strLine + "\n" : "";
    }
    return strDescription;
}

bool HasHugePages()
{
    std::string strMode;
    std::getline(std::ifstream("/sys/kernel/mm/transparent_hugepage/enabled"), strMode);
    return strMode.find("[madvise]") != std::string::npos || strMode.find("[always]") != std::string::npos;
}

// The flags of the mapping that holds an address; "hg" stands for the advice to use huge pages.
bool IsAdvised(const void* pAddress)
{
    const std::string strDescription = DescriptionOfMapping(pAddress);
    const size_t uFlags = strDescription.find("VmFlags:");
    return uFlags != std::string::npos && strDescription.find(" hg", uFlags) != std::string::npos;
}
}  // namespace

TEST(LargeBlocks, AreAdvisedForHugePagesFromTheFirstByteToTheLast)
{
    if (!HasHugePages())
    {
        GTEST_SKIP() << "the system has no huge pages for programs";
    }
    const size_t uSize = size_t{200} << 20;
    char* const pBlock = static_cast<char*>(VOAllocateZeroed(uSize));
    EXPECT_TRUE(IsAdvised(pBlock));
    EXPECT_TRUE(IsAdvised(pBlock + uSize / 2));
    EXPECT_TRUE(IsAdvised(pBlock + uSize - 1));
    free(pBlock);
}

TEST(SmallBlocks, AreNotAdvisedForHugePages)
{
    if (!HasHugePages())
    {
        GTEST_SKIP() << "the system has no huge pages for programs";
    }
    // In a process of its own: here, earlier tests have had large blocks in the same memory.
    ChildProcess child("small-block", "");
    EXPECT_EQ("not advised", child.ReadLine());
}

int DescribeSmallBlock()
{
    const std::unique_ptr<void, void (*)(void*)> pBlock(VOAllocateZeroed(1000), free);
    const bool bKnown = DescriptionOfMapping(pBlock.get()).find("VmFlags:") != std::string::npos;
    SayLine(!bKnown ? "unknown" : IsAdvised(pBlock.get()) ? "advised" : "not advised");
    return 0;
}
