// VOTSNumberContainer: lists, holes, moves.
#include "containers/vots_number_container.h"

#include <functional>
#include <string>
#include <vector>

#include "support/bytes.h"
#include "support/log_capture.h"
#include "support/reference_images.h"

using namespace votest;

namespace
{
typedef std::vector<unsigned int> Numbers;

constexpr unsigned int kListEnd = 0xFFFFFFFFu;
constexpr unsigned int kListHole = 0xFFFFFFFEu;

std::string Line(const char* pszExpression, const char* pszFunction)
{
    return CheckLine("VO_PROCESS_ERROR", pszExpression, std::string("VOTSNumberContainer::") + pszFunction);
}

unsigned int Add(VOTSNumberContainer& numbers, const Numbers& vecNumber)
{
    unsigned int uIndex = 0;
    EXPECT_EQ(1, numbers.InsertNumber(vecNumber, uIndex));
    return uIndex;
}

Numbers ListOf(const VOTSNumberContainer& numbers, unsigned int uIndex)
{
    Numbers vecNumber;
    EXPECT_EQ(1, numbers.GetNumberList(uIndex, vecNumber));
    return vecNumber;
}

Bytes NumberImageOf(const VOTSNumberContainer& numbers)
{
    unsigned char* pbAlloc = reinterpret_cast<unsigned char*>(numbers.GetAlloc());
    return TakeBytes(pbAlloc, pbAlloc == nullptr ? 0 : ReadU32(CopyBytes(pbAlloc, 8), 4) + 12);
}

int SetNumbers(VOTSNumberContainer& numbers, const MisalignedBlock& image, int bCopy)
{
    return numbers.SetAlloc(image.As<VOTSNumberContainer::NumberAlloc>(), bCopy, image.Size());
}

// The array as the image shows it.
Numbers ArrayOf(const VOTSNumberContainer& numbers)
{
    const Bytes vecImage = NumberImageOf(numbers);
    Numbers vecNumber;
    for (size_t uAt = 8; uAt + 4 < vecImage.size(); uAt += 4)
    {
        vecNumber.push_back(ReadU32(vecImage, uAt));
    }
    return vecNumber;
}
}  // namespace

TEST(NumberContainer, AnEmptyListHasAnIndexAndNoNumbers)
{
    VOTSNumberContainer numbers;
    unsigned int uCount = 77;
    EXPECT_EQ(0u, Add(numbers, {}));
    EXPECT_EQ(1, numbers.GetNumberCount(0, uCount));
    EXPECT_EQ(0u, uCount);
    EXPECT_EQ(Numbers(), ListOf(numbers, 0));
    EXPECT_EQ((Numbers{kListEnd}), ArrayOf(numbers));
}

TEST(NumberContainer, ListsLieBackToBackEachWithItsTerminator)
{
    VOTSNumberContainer numbers;
    EXPECT_EQ(0u, Add(numbers, {1, 2, 3}));
    EXPECT_EQ(4u, Add(numbers, {}));
    EXPECT_EQ(5u, Add(numbers, {7}));
    EXPECT_EQ((Numbers{1, 2, 3, kListEnd, kListEnd, 7, kListEnd}), ArrayOf(numbers));
    EXPECT_EQ(7u, numbers.GetValueCount());
    EXPECT_EQ((Numbers{1, 2, 3}), ListOf(numbers, 0));
    EXPECT_EQ((Numbers{7}), ListOf(numbers, 5));
}

TEST(NumberContainer, GrowthDoublesWhatIsNeeded)
{
    VOTSNumberContainer numbers;
    Add(numbers, {1, 2, 3});
    EXPECT_EQ(8u, numbers.Capacity());
    Add(numbers, {4, 5, 6});
    EXPECT_EQ(8u, numbers.Capacity());
    Add(numbers, {7, 8});
    EXPECT_EQ(22u, numbers.Capacity());
    EXPECT_EQ((Numbers{4, 5, 6}), ListOf(numbers, 4));
}

TEST(NumberContainer, GetNumberListAppendsToWhatTheCallerHas)
{
    VOTSNumberContainer numbers;
    Add(numbers, {1, 2});
    Numbers vecNumber = {9};
    EXPECT_EQ(1, numbers.GetNumberList(0, vecNumber));
    EXPECT_EQ((Numbers{9, 1, 2}), vecNumber);
}

TEST(NumberContainer, AListCanBeReadFromItsMiddle)
{
    VOTSNumberContainer numbers;
    Add(numbers, {1, 2, 3});
    EXPECT_EQ((Numbers{2, 3}), ListOf(numbers, 1));
    EXPECT_EQ(Numbers(), ListOf(numbers, 3));
}

TEST(NumberContainer, RemovingANumberLeavesAHoleThatReadersSkip)
{
    VOTSNumberContainer numbers;
    Add(numbers, {1, 2, 3});
    EXPECT_EQ(1, numbers.RemoveNumber(0, 2));
    EXPECT_EQ((Numbers{1, 3}), ListOf(numbers, 0));
    EXPECT_EQ((Numbers{1, kListHole, 3, kListEnd}), ArrayOf(numbers));
    unsigned int uCount = 0;
    EXPECT_EQ(1, numbers.GetNumberCount(0, uCount));
    EXPECT_EQ(2u, uCount);
    unsigned int uNumber = 0;
    EXPECT_EQ(1, numbers.GetNumber(0, 1, uNumber));
    EXPECT_EQ(3u, uNumber);
}

TEST(NumberContainer, AnInsertedNumberFillsTheHoleAndTheListStays)
{
    VOTSNumberContainer numbers;
    Add(numbers, {1, 2, 3});
    numbers.RemoveNumber(0, 2);
    unsigned int uResult = 77;
    EXPECT_EQ(1, numbers.InsertNumber(0, 9, uResult));
    EXPECT_EQ(0u, uResult);
    EXPECT_EQ((Numbers{1, 9, 3}), ListOf(numbers, 0));
    EXPECT_EQ(4u, numbers.GetValueCount());
}

TEST(NumberContainer, TheFirstHoleIsFilledAlsoWhenTheNumberStandsBehindIt)
{
    VOTSNumberContainer numbers;
    Add(numbers, {1, 2, 3});
    numbers.RemoveNumber(0, 1);
    unsigned int uResult = 77;
    EXPECT_EQ(1, numbers.InsertNumber(0, 3, uResult));
    EXPECT_EQ(0u, uResult);
    EXPECT_EQ((Numbers{3, 2, 3}), ListOf(numbers, 0));
}

TEST(NumberContainer, InsertingAFurtherNumberMovesTheListToTheEnd)
{
    VOTSNumberContainer numbers;
    Add(numbers, {1, 2, 3});
    Add(numbers, {8});
    unsigned int uResult = 77;
    EXPECT_EQ(1, numbers.InsertNumber(0, 4, uResult));
    EXPECT_EQ(6u, uResult);
    EXPECT_EQ((Numbers{1, 2, 3, 4}), ListOf(numbers, uResult));
    EXPECT_EQ((Numbers{1, 2, 3, kListEnd, 8, kListEnd, 1, 2, 3, 4, kListEnd}), ArrayOf(numbers));
}

TEST(NumberContainer, InsertingANumberThatIsThereMovesAShortenedList)
{
    VOTSNumberContainer numbers;
    Add(numbers, {1, 2, 3});
    unsigned int uResult = 77;
    EXPECT_EQ(1, numbers.InsertNumber(0, 2, uResult));
    EXPECT_EQ(4u, uResult);
    EXPECT_EQ((Numbers{1, 2}), ListOf(numbers, uResult));
    EXPECT_EQ((Numbers{1, 2, 3}), ListOf(numbers, 0));
}

TEST(NumberContainer, AHoleBehindTheNumberThatIsThereIsNotReached)
{
    VOTSNumberContainer numbers;
    Add(numbers, {1, 2, 3});
    numbers.RemoveNumber(0, 3);
    unsigned int uResult = 77;
    EXPECT_EQ(1, numbers.InsertNumber(0, 1, uResult));
    EXPECT_EQ(4u, uResult);
    EXPECT_EQ((Numbers{1}), ListOf(numbers, uResult));
}

TEST(NumberContainer, InsertingIntoAnEmptyListMovesIt)
{
    VOTSNumberContainer numbers;
    Add(numbers, {});
    unsigned int uResult = 77;
    EXPECT_EQ(1, numbers.InsertNumber(0, 5, uResult));
    EXPECT_EQ(1u, uResult);
    EXPECT_EQ((Numbers{5}), ListOf(numbers, uResult));
}

TEST(NumberContainer, InsertingAtTheCountIsRefusedWithALogLine)
{
    VOTSNumberContainer numbers;
    Add(numbers, {1});
    const LogCapture log;
    unsigned int uResult = 77;
    EXPECT_EQ(0, numbers.InsertNumber(2, 5, uResult));
    EXPECT_EQ(std::vector<std::string>{Line("uIndex < m_uCount", "InsertNumber")}, log.Lines());
    EXPECT_EQ(77u, uResult);
    EXPECT_EQ((Numbers{1, kListEnd}), ArrayOf(numbers));
}

TEST(NumberContainer, EveryListFunctionRefusesAnIndexAtTheCountWithItsLogLine)
{
    VOTSNumberContainer numbers;
    Add(numbers, {1});
    const LogCapture log;
    unsigned int uNumber = 77;
    Numbers vecNumber = {9};
    EXPECT_EQ(0, numbers.GetNumber(2, 0, uNumber));
    EXPECT_EQ(0, numbers.GetNumberList(2, vecNumber));
    EXPECT_EQ(0, numbers.GetNumberCount(2, uNumber));
    EXPECT_EQ(0, numbers.RemoveNumber(2, 1));
    EXPECT_EQ((std::vector<std::string>{
                  Line("uIndex < m_uCount", "GetNumber"), Line("uIndex < m_uCount", "GetNumberList"),
                  Line("uIndex < m_uCount", "GetNumberCount"), Line("uIndex < m_uCount", "RemoveNumber")}),
              log.Lines());
    EXPECT_EQ(77u, uNumber);
    EXPECT_EQ((Numbers{9}), vecNumber);
}

TEST(NumberContainer, OnAnEmptyContainerEveryListFunctionFails)
{
    VOTSNumberContainer numbers;
    const LogCapture log;
    unsigned int uNumber = 77;
    Numbers vecNumber;
    EXPECT_EQ(0, numbers.GetNumber(0, 0, uNumber));
    EXPECT_EQ(0, numbers.GetNumberList(0, vecNumber));
    EXPECT_EQ(0, numbers.GetNumberCount(0, uNumber));
    EXPECT_EQ(0, numbers.RemoveNumber(0, 1));
    EXPECT_EQ(0, numbers.InsertNumber(0, 1, uNumber));
    EXPECT_EQ(5u, log.Count());
}

TEST(NumberContainer, GetNumberGivesTheNumberAtAPosition)
{
    VOTSNumberContainer numbers;
    Add(numbers, {10, 20, 30});
    unsigned int uNumber = 0;
    for (int nPosition = 0; nPosition < 3; ++nPosition)
    {
        EXPECT_EQ(1, numbers.GetNumber(0, nPosition, uNumber));
        EXPECT_EQ(static_cast<unsigned int>(10 * (nPosition + 1)), uNumber);
    }
}

TEST(NumberContainer, GetNumberBehindTheEndIs0InSilenceAndWritesNothing)
{
    VOTSNumberContainer numbers;
    Add(numbers, {1});
    Add(numbers, {2, 3});
    const LogCapture log;
    unsigned int uNumber = 77;
    EXPECT_EQ(0, numbers.GetNumber(0, 1, uNumber));
    EXPECT_EQ(0, numbers.GetNumber(0, 2, uNumber));
    EXPECT_EQ(0, numbers.GetNumber(2, 2, uNumber));
    EXPECT_EQ(0, numbers.GetNumber(0, 0x7FFFFFFF, uNumber));
    EXPECT_EQ(0, numbers.GetNumber(0, -1, uNumber));
    EXPECT_EQ(77u, uNumber);
    EXPECT_EQ(0u, log.Count());
}

TEST(NumberContainer, RemovingANumberThatIsNotThereSucceeds)
{
    VOTSNumberContainer numbers;
    Add(numbers, {1, 2});
    Add(numbers, {5});
    EXPECT_EQ(1, numbers.RemoveNumber(0, 5));
    EXPECT_EQ((Numbers{1, 2, kListEnd, 5, kListEnd}), ArrayOf(numbers));
}

TEST(NumberContainer, OnlyTheFirstOfEqualNumbersIsRemoved)
{
    VOTSNumberContainer numbers;
    Add(numbers, {4, 4});
    EXPECT_EQ(1, numbers.RemoveNumber(0, 4));
    EXPECT_EQ((Numbers{4}), ListOf(numbers, 0));
}

TEST(NumberContainer, CleanUpReleasesAndTheNextListBeginsAt0)
{
    VOTSNumberContainer numbers;
    Add(numbers, {1, 2});
    EXPECT_EQ(1, numbers.CleanUp());
    EXPECT_EQ(0u, numbers.GetValueCount());
    EXPECT_EQ(0u, numbers.Capacity());
    EXPECT_EQ(1, numbers.CleanUp());
    EXPECT_EQ(0u, Add(numbers, {3}));
}

TEST(NumberContainer, ShrinkToFitCutsTheCapacityToTheCount)
{
    VOTSNumberContainer numbers;
    EXPECT_EQ(1, numbers.ShrinkToFit());
    Add(numbers, {1, 2});
    EXPECT_EQ(1, numbers.ShrinkToFit());
    EXPECT_EQ(3u, numbers.Capacity());
    EXPECT_EQ((Numbers{1, 2}), ListOf(numbers, 0));
}

TEST(NumberContainer, OrdinaryWorkLogsNothing)
{
    const LogCapture log;
    VOTSNumberContainer numbers;
    unsigned int uResult = 0;
    Add(numbers, {1, 2});
    numbers.InsertNumber(0, 3, uResult);
    numbers.RemoveNumber(uResult, 9);
    ListOf(numbers, uResult);
    NumberImageOf(numbers);
    numbers.ShrinkToFit();
    numbers.CleanUp();
    EXPECT_EQ(0u, log.Count());
}

TEST(NumberImage, ItsBytesAreExactlyTheFormats)
{
    VOTSNumberContainer numbers;
    Add(numbers, {1, 0x04030201, 3});
    Add(numbers, {});
    numbers.RemoveNumber(0, 3);
    const Bytes vecExpected = FromHex(R"(
        05 00 00 00  14 00 00 00
        01 00 00 00  01 02 03 04  fe ff ff ff  ff ff ff ff  ff ff ff ff
        00 00 00 00)");
    EXPECT_TRUE(SameBytes(vecExpected, NumberImageOf(numbers)));
    EXPECT_EQ(vecExpected.size(), numbers.AllocSize());
}

TEST(NumberImage, OfNoNumbersIs12BytesAndLoadingItLeavesTheContainerEmpty)
{
    VOTSNumberContainer numbers;
    EXPECT_TRUE(SameBytes(Bytes(12, 0), NumberImageOf(numbers)));
    Add(numbers, {1});
    const MisalignedBlock image(Bytes(12, 0), 1);
    for (const int bCopy : {1, 0})
    {
        EXPECT_EQ(1, SetNumbers(numbers, image, bCopy));
        EXPECT_EQ(0u, numbers.GetValueCount());
    }
    EXPECT_EQ(0u, Add(numbers, {1}));
}

TEST(NumberImage, IsTakenAtEveryMisalignmentAsACopyAndAsAView)
{
    VOTSNumberContainer source;
    Add(source, {1, 2, 3});
    Add(source, {0x10000000});
    const Bytes vecImage = NumberImageOf(source);
    for (size_t uMisalignment = 0; uMisalignment < 16; ++uMisalignment)
    {
        for (const int bCopy : {0, 1})
        {
            const MisalignedBlock image(vecImage, uMisalignment);
            VOTSNumberContainer numbers;
            ASSERT_EQ(1, SetNumbers(numbers, image, bCopy));
            EXPECT_EQ(bCopy != 0 ? 6u : 0u, numbers.Capacity());
            EXPECT_EQ((Numbers{1, 2, 3}), ListOf(numbers, 0));
            EXPECT_EQ((Numbers{0x10000000}), ListOf(numbers, 4));
            EXPECT_TRUE(SameBytes(vecImage, NumberImageOf(numbers)));
        }
    }
}

TEST(NumberImage, AMovingInsertionOnAViewCopiesBeforeItWrites)
{
    const Bytes vecImage = NumberImage({1, 2, kListEnd});
    const MisalignedBlock image(vecImage, 1);
    VOTSNumberContainer numbers;
    ASSERT_EQ(1, SetNumbers(numbers, image, 0));
    unsigned int uResult = 0;
    EXPECT_EQ(1, numbers.InsertNumber(0, 3, uResult));
    EXPECT_EQ((Numbers{1, 2, 3}), ListOf(numbers, uResult));
    EXPECT_EQ((Numbers{1, 2}), ListOf(numbers, 0));
    EXPECT_GT(numbers.Capacity(), 0u);
    EXPECT_TRUE(SameBytes(vecImage, image.Current()));
}

TEST(NumberImage, RemovalAndAFilledHoleOnAViewAreWrittenInPlace)
{
    const MisalignedBlock image(NumberImage({1, 2, kListEnd}), 1);
    VOTSNumberContainer numbers;
    ASSERT_EQ(1, SetNumbers(numbers, image, 0));
    EXPECT_EQ(1, numbers.RemoveNumber(0, 1));
    EXPECT_TRUE(SameBytes(NumberImage({kListHole, 2, kListEnd}), image.Current()));
    unsigned int uResult = 77;
    EXPECT_EQ(1, numbers.InsertNumber(0, 9, uResult));
    EXPECT_EQ(0u, uResult);
    EXPECT_TRUE(SameBytes(NumberImage({9, 2, kListEnd}), image.Current()));
}

TEST(NumberImage, CleanUpOfAViewDoesNotReleaseTheImage)
{
    const Bytes vecImage = NumberImage({1, 2, kListEnd});
    const MisalignedBlock image(vecImage, 1);
    VOTSNumberContainer numbers;
    ASSERT_EQ(1, SetNumbers(numbers, image, 0));
    EXPECT_EQ(1, numbers.CleanUp());
    EXPECT_EQ(0u, numbers.GetValueCount());
    ASSERT_EQ(1, SetNumbers(numbers, image, 0));
    numbers.DropView();
    EXPECT_EQ(0u, numbers.GetValueCount());
    EXPECT_TRUE(SameBytes(vecImage, image.Current()));
}

TEST(NumberImage, AnEmptyPointerOrAByteSizeThatIsNotTheCounts4FoldIsRefusedWithALogLine)
{
    VOTSNumberContainer numbers;
    Add(numbers, {1, 2});
    const LogCapture log;
    EXPECT_EQ(0, numbers.SetAlloc(nullptr, 1));
    Bytes vecImage = NumberImage({1, kListEnd});
    WriteU32(vecImage, 4, 9);
    const MisalignedBlock image(vecImage);
    EXPECT_EQ(0, SetNumbers(numbers, image, 1));
    EXPECT_EQ(0, SetNumbers(numbers, image, 0));
    const std::string strSize = Line("uDataBufSize == pAlloc->uDataBufSize", "SetAlloc");
    EXPECT_EQ((std::vector<std::string>{Line("pAlloc", "SetAlloc"), strSize, strSize}), log.Lines());
    EXPECT_EQ((Numbers{1, 2}), ListOf(numbers, 0));
}

TEST(NumberImage, ACountWhose4FoldAgreesOnlyAfterA32BitOverflowIsRefused)
{
    Bytes vecImage = NumberImage({1, kListEnd});
    WriteU32(vecImage, 0, 0x40000002);
    const MisalignedBlock image(vecImage);
    VOTSNumberContainer numbers;
    EXPECT_EQ(0, SetNumbers(numbers, image, 1));
    EXPECT_EQ(0, SetNumbers(numbers, image, 0));
    EXPECT_EQ(0u, numbers.GetValueCount());
}

TEST(NumberImage, AListWithoutATerminatorEndsWithTheArray)
{
    const Bytes vecImage = NumberImage({1, kListHole, 3});
    for (const int bCopy : {0, 1})
    {
        const MisalignedBlock image(vecImage, 1);
        VOTSNumberContainer numbers;
        ASSERT_EQ(1, SetNumbers(numbers, image, bCopy));
        EXPECT_EQ((Numbers{1, 3}), ListOf(numbers, 0));
        unsigned int uNumber = 0;
        EXPECT_EQ(1, numbers.GetNumberCount(0, uNumber));
        EXPECT_EQ(2u, uNumber);
        EXPECT_EQ(0, numbers.GetNumber(0, 2, uNumber));
        EXPECT_EQ(1, numbers.RemoveNumber(0, 4));
        unsigned int uResult = 0;
        EXPECT_EQ(1, numbers.InsertNumber(2, 9, uResult));
        EXPECT_EQ((Numbers{3, 9}), ListOf(numbers, uResult));
    }
}

TEST(NumberContainer, CopiesAreDeepAndACopyOfItselfChangesNothing)
{
    VOTSNumberContainer source;
    Add(source, {1, 2});
    VOTSNumberContainer constructed(source);
    VOTSNumberContainer assigned;
    Add(assigned, {7, 7, 7});
    assigned = source;
    VOTSNumberContainer& same = assigned;
    assigned = same;
    source.CleanUp();
    EXPECT_EQ((Numbers{1, 2}), ListOf(constructed, 0));
    EXPECT_EQ((Numbers{1, 2}), ListOf(assigned, 0));
    unsigned int uResult = 0;
    EXPECT_EQ(1, constructed.InsertNumber(0, 3, uResult));
    EXPECT_EQ(3u, assigned.GetValueCount());
}
