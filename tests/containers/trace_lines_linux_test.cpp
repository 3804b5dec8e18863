// What the containers show on the trace channel: a line for each check that is part of an operation, and no others.
#include <gmock/gmock.h>

#include "diagnostics/fresh_process.h"
#include "support/trace_lines_linux.h"
#include "vo_string_hash_set.h"

namespace
{
using votest::TraceLines;
typedef std::vector<std::string> Lines;

const Lines kBufferAdd = {TraceLines::Line("pbArr", "VOBufferContainer::Add"),
                          TraceLines::Line("uSize", "VOBufferContainer::Add")};

void AddUnderTrace()
{
    VOBufferContainer kBuffer;
    VOStringContainer kTexts;
    const unsigned char abBytes[4] = {1, 2, 3, 4};
    CHECK_HERE(TraceLines::Of([&] { kBuffer.Add(abBytes, 3); }) == kBufferAdd);
    CHECK_HERE(TraceLines::Of([&] { kTexts.Add(VOTEXT("text")); }) == kBufferAdd);
}

TEST(TraceLinesDeathTest, ATextIsAddedWithTheChecksOfTheBuffer)
{
    EXPECT_IN_FRESH_PROCESS({ AddUnderTrace(); });
}

void SetUnderTrace()
{
    VOStringHashSet kProvider;
    VOStringHash kHash;
    CHECK_HERE(TraceLines::Of([&] { kHash.HashA("a", 0); }).empty());
    CHECK_HERE(TraceLines::Of([&] { kHash.HashW(VOTEXT("a"), 0); }).empty());
    CHECK_HERE(TraceLines::Of([&] { kProvider.Insert(VOTEXT("text")); }) == kBufferAdd);
    CHECK_HERE(TraceLines::Of([&] { kProvider.Insert(VOTEXT("text")); }).empty());
    CHECK_HERE(TraceLines::Of([&] { kProvider.InsertKey(VOTEXT("key")); }).empty());
    CHECK_HERE(TraceLines::Of([&] { kProvider.Find(VOTEXT("key")); }).empty());

    VOStringHashSet::StringHashSetAlloc* pAlloc = kProvider.GetAlloc();
    VOStringHashSet kCustomer(VOStringHashSet::SHR_Customer);
    CHECK_HERE(TraceLines::Of([&] { CHECK_HERE(kCustomer.SetAlloc(pAlloc, 1) == 1); }).empty());
    CHECK_HERE(TraceLines::Of([&] { kCustomer.Find(VOTEXT("key")); }).empty());
    CHECK_HERE(TraceLines::Of([&] { kCustomer.CleanUp(); }).empty());
    free(pAlloc);
    CHECK_HERE(TraceLines::Of([&] { kProvider.CleanUp(); }) ==
               Lines{TraceLines::Line("m_pkStringPool->Release()", "VOStringHashSet::_CleanUp_P")});
}

TEST(TraceLinesDeathTest, ASetChecksTheReleaseOfItsPoolAndNothingElse)
{
    EXPECT_IN_FRESH_PROCESS({ SetUnderTrace(); });
}

}  // namespace
