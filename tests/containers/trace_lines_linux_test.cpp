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
    VOBufferContainer buffer;
    VOStringContainer texts;
    const unsigned char abBytes[4] = {1, 2, 3, 4};
    CHECK_HERE(TraceLines::Of([&] { buffer.Add(abBytes, 3); }) == kBufferAdd);
    CHECK_HERE(TraceLines::Of([&] { texts.Add(VOTEXT("text")); }) == kBufferAdd);
}

TEST(TraceLinesDeathTest, ATextIsAddedWithTheChecksOfTheBuffer)
{
    EXPECT_IN_FRESH_PROCESS({ AddUnderTrace(); });
}

void SetUnderTrace()
{
    VOStringHashSet provider;
    VOStringHash hash;
    CHECK_HERE(TraceLines::Of([&] { hash.HashA("a", 0); }).empty());
    CHECK_HERE(TraceLines::Of([&] { hash.HashW(VOTEXT("a"), 0); }).empty());
    CHECK_HERE(TraceLines::Of([&] { provider.Insert(VOTEXT("text")); }) == kBufferAdd);
    CHECK_HERE(TraceLines::Of([&] { provider.Insert(VOTEXT("text")); }).empty());
    CHECK_HERE(TraceLines::Of([&] { provider.InsertKey(VOTEXT("key")); }).empty());
    CHECK_HERE(TraceLines::Of([&] { provider.Find(VOTEXT("key")); }).empty());

    VOStringHashSet::StringHashSetAlloc* pAlloc = provider.GetAlloc();
    VOStringHashSet customer(VOStringHashSet::SHR_Customer);
    CHECK_HERE(TraceLines::Of([&] { CHECK_HERE(customer.SetAlloc(pAlloc, 1) == 1); }).empty());
    CHECK_HERE(TraceLines::Of([&] { customer.Find(VOTEXT("key")); }).empty());
    CHECK_HERE(TraceLines::Of([&] { customer.CleanUp(); }).empty());
    free(pAlloc);
    CHECK_HERE(TraceLines::Of([&] { provider.CleanUp(); }) ==
               Lines{TraceLines::Line("m_pkStringPool->Release()", "VOStringHashSet::_CleanUp_P")});
}

TEST(TraceLinesDeathTest, ASetChecksTheReleaseOfItsPoolAndNothingElse)
{
    EXPECT_IN_FRESH_PROCESS({ SetUnderTrace(); });
}

}  // namespace
