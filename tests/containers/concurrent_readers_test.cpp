// Any number of threads may read one Customer, one view, one hash. Made for the thread sanitizer.
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "support/opened_containers.h"
#include "support/reference_hash.h"
#include "support/string_set_model.h"
#include "support/text.h"

using namespace votest;

namespace
{
constexpr int kThreads = 8;

template <typename Body>
void RunOnThreads(Body kBody)
{
    std::vector<std::thread> vecThread;
    for (int nThread = 0; nThread < kThreads; ++nThread)
    {
        vecThread.emplace_back(kBody, nThread);
    }
    for (std::thread& rkThread : vecThread)
    {
        rkThread.join();
    }
}

std::vector<VOWString> Texts()
{
    std::vector<VOWString> vecText;
    for (int i = 0; i < 300; ++i)
    {
        vecText.push_back(Wide("assets/file_" + std::to_string(i) + ".dds"));
    }
    return vecText;
}
}  // namespace

TEST(ConcurrentReaders, ManyThreadsHashWithOneObject)
{
    const VOStringHash kHash;
    const std::vector<VOWString> vecText = Texts();
    std::atomic<int> nWrong = 0;
    RunOnThreads(
        [&](int nThread)
        {
            for (size_t i = 0; i < vecText.size(); ++i)
            {
                const VOULONG dwRow = static_cast<VOULONG>((i + static_cast<size_t>(nThread)) % 5);
                nWrong += kHash.HashW(vecText[i].c_str(), dwRow) != ReferenceHash(vecText[i], dwRow) ? 1 : 0;
            }
        });
    EXPECT_EQ(0, nWrong);
}

TEST(ConcurrentReaders, ManyThreadsSearchAndWalkOneCustomer)
{
    const std::vector<VOWString> vecText = Texts();
    VOStringHashSet kSource;
    for (const VOWString& rkText : vecText)
    {
        kSource.Insert(rkText.c_str());
    }
    for (const int bCopy : {0, 1})
    {
        const MisalignedBlock kImage(ImageOf(kSource), 1);
        VOStringHashSet kSet(VOStringHashSet::SHR_Customer);
        ASSERT_EQ(1, Set(kSet, kImage, bCopy));
        std::atomic<int> nWrong = 0;
        RunOnThreads(
            [&](int nThread)
            {
                for (size_t i = 0; i < vecText.size(); ++i)
                {
                    const size_t uText = (i + static_cast<size_t>(nThread) * 37) % vecText.size();
                    nWrong += Number(kSet.Find(vecText[uText].c_str())) != uText ? 1 : 0;
                    nWrong += ReadText(kSet.GetString(Handle(uText))) != vecText[uText] ? 1 : 0;
                }
                nWrong += WalkOf(kSet).size() != vecText.size() ? 1 : 0;
                nWrong += kSet.Count() != vecText.size() ? 1 : 0;
                free(kSet.GetAlloc());
            });
        EXPECT_EQ(0, nWrong);
    }
}

TEST(ConcurrentReaders, ManyThreadsSearchAndWalkAProviderThatNobodyChanges)
{
    const std::vector<VOWString> vecText = Texts();
    VOStringHashSet kSet;
    for (const VOWString& rkText : vecText)
    {
        kSet.Insert(rkText.c_str());
    }
    std::atomic<int> nWrong = 0;
    RunOnThreads(
        [&](int)
        {
            for (size_t i = 0; i < vecText.size(); ++i)
            {
                nWrong += Number(kSet.Find(vecText[i].c_str())) != i ? 1 : 0;
            }
            nWrong += WalkOf(kSet).size() != vecText.size() ? 1 : 0;
            free(kSet.GetAlloc());
        });
    EXPECT_EQ(0, nWrong);
}

TEST(ConcurrentReaders, ManyThreadsReadOneViewOfTexts)
{
    const std::vector<VOWString> vecText = Texts();
    VOStringContainer kSource;
    for (const VOWString& rkText : vecText)
    {
        kSource.Add(rkText.c_str());
    }
    const MisalignedBlock kImage(ImageOf(kSource), 1);
    VOStringContainer kStrings;
    ASSERT_EQ(1, kStrings.SetAlloc(kImage.As<VOStringContainer::StringAlloc>(), 0));
    std::atomic<int> nWrong = 0;
    RunOnThreads(
        [&](int)
        {
            for (unsigned int i = 0; i < kStrings.Count(); ++i)
            {
                nWrong += ReadText(kStrings.Get(i)) != vecText[i] ? 1 : 0;
            }
        });
    EXPECT_EQ(0, nWrong);
}
