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
void RunOnThreads(Body body)
{
    std::vector<std::thread> vecThread;
    for (int nThread = 0; nThread < kThreads; ++nThread)
    {
        vecThread.emplace_back(body, nThread);
    }
    for (std::thread& thread : vecThread)
    {
        thread.join();
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
    const VOStringHash hash;
    const std::vector<VOWString> vecText = Texts();
    std::atomic<int> nWrong = 0;
    RunOnThreads(
        [&](int nThread)
        {
            for (size_t i = 0; i < vecText.size(); ++i)
            {
                const VOULONG dwRow = static_cast<VOULONG>((i + static_cast<size_t>(nThread)) % 5);
                nWrong += hash.HashW(vecText[i].c_str(), dwRow) != ReferenceHash(vecText[i], dwRow) ? 1 : 0;
            }
        });
    EXPECT_EQ(0, nWrong);
}

TEST(ConcurrentReaders, ManyThreadsSearchAndWalkOneCustomer)
{
    const std::vector<VOWString> vecText = Texts();
    VOStringHashSet source;
    for (const VOWString& text : vecText)
    {
        source.Insert(text.c_str());
    }
    for (const int bCopy : {0, 1})
    {
        const MisalignedBlock image(ImageOf(source), 1);
        VOStringHashSet set(VOStringHashSet::SHR_Customer);
        ASSERT_EQ(1, Set(set, image, bCopy));
        std::atomic<int> nWrong = 0;
        RunOnThreads(
            [&](int nThread)
            {
                for (size_t i = 0; i < vecText.size(); ++i)
                {
                    const size_t uText = (i + static_cast<size_t>(nThread) * 37) % vecText.size();
                    nWrong += Number(set.Find(vecText[uText].c_str())) != uText ? 1 : 0;
                    nWrong += ReadText(set.GetString(Handle(uText))) != vecText[uText] ? 1 : 0;
                }
                nWrong += WalkOf(set).size() != vecText.size() ? 1 : 0;
                nWrong += set.Count() != vecText.size() ? 1 : 0;
                free(set.GetAlloc());
            });
        EXPECT_EQ(0, nWrong);
    }
}

TEST(ConcurrentReaders, ManyThreadsSearchAndWalkAProviderThatNobodyChanges)
{
    const std::vector<VOWString> vecText = Texts();
    VOStringHashSet set;
    for (const VOWString& text : vecText)
    {
        set.Insert(text.c_str());
    }
    std::atomic<int> nWrong = 0;
    RunOnThreads(
        [&](int)
        {
            for (size_t i = 0; i < vecText.size(); ++i)
            {
                nWrong += Number(set.Find(vecText[i].c_str())) != i ? 1 : 0;
            }
            nWrong += WalkOf(set).size() != vecText.size() ? 1 : 0;
            free(set.GetAlloc());
        });
    EXPECT_EQ(0, nWrong);
}

TEST(ConcurrentReaders, ManyThreadsReadOneViewOfTexts)
{
    const std::vector<VOWString> vecText = Texts();
    VOStringContainer source;
    for (const VOWString& text : vecText)
    {
        source.Add(text.c_str());
    }
    const MisalignedBlock image(ImageOf(source), 1);
    VOStringContainer strings;
    ASSERT_EQ(1, strings.SetAlloc(image.As<VOStringContainer::StringAlloc>(), 0));
    std::atomic<int> nWrong = 0;
    RunOnThreads(
        [&](int)
        {
            for (unsigned int i = 0; i < strings.Count(); ++i)
            {
                nWrong += ReadText(strings.Get(i)) != vecText[i] ? 1 : 0;
            }
        });
    EXPECT_EQ(0, nWrong);
}
