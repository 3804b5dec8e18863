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

unsigned int Add(VOTSNumberContainer& rkNumbers, const Numbers& vecNumber)
{
    unsigned int uIndex = 0;
    EXPECT_EQ(1, rkNumbers.InsertNumber(vecNumber, uIndex));
    return uIndex;
}

Numbers ListOf(const VOTSNumberContainer& rkNumbers, unsigned int uIndex)
{
    Numbers vecNumber;
    EXPECT_EQ(1, rkNumbers.GetNumberList(uIndex, vecNumber));
    return vecNumber;
}

Bytes NumberImageOf(const VOTSNumberContainer& rkNumbers)
{
    unsigned char* pbAlloc = reinterpret_cast<unsigned char*>(rkNumbers.GetAlloc());
    return TakeBytes(pbAlloc, pbAlloc == nullptr ? 0 : ReadU32(CopyBytes(pbAlloc, 8), 4) + 12);
}

int SetNumbers(VOTSNumberContainer& rkNumbers, const MisalignedBlock& rkImage, int bCopy)
{
    return rkNumbers.SetAlloc(rkImage.As<VOTSNumberContainer::NumberAlloc>(), bCopy, rkImage.Size());
}

// The array as the image shows it.
Numbers ArrayOf(const VOTSNumberContainer& rkNumbers)
{
    const Bytes vecImage = NumberImageOf(rkNumbers);
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
    VOTSNumberContainer kNumbers;
    unsigned int uCount = 77;
    EXPECT_EQ(0u, Add(kNumbers, {}));
    EXPECT_EQ(1, kNumbers.GetNumberCount(0, uCount));
    EXPECT_EQ(0u, uCount);
    EXPECT_EQ(Numbers(), ListOf(kNumbers, 0));
    EXPECT_EQ((Numbers{kListEnd}), ArrayOf(kNumbers));
}

TEST(NumberContainer, ListsLieBackToBackEachWithItsTerminator)
{
    VOTSNumberContainer kNumbers;
    EXPECT_EQ(0u, Add(kNumbers, {1, 2, 3}));
    EXPECT_EQ(4u, Add(kNumbers, {}));
    EXPECT_EQ(5u, Add(kNumbers, {7}));
    EXPECT_EQ((Numbers{1, 2, 3, kListEnd, kListEnd, 7, kListEnd}), ArrayOf(kNumbers));
    EXPECT_EQ(7u, kNumbers.GetValueCount());
    EXPECT_EQ((Numbers{1, 2, 3}), ListOf(kNumbers, 0));
    EXPECT_EQ((Numbers{7}), ListOf(kNumbers, 5));
}

TEST(NumberContainer, GrowthDoublesWhatIsNeeded)
{
    VOTSNumberContainer kNumbers;
    Add(kNumbers, {1, 2, 3});
    EXPECT_EQ(8u, kNumbers.Capacity());
    Add(kNumbers, {4, 5, 6});
    EXPECT_EQ(8u, kNumbers.Capacity());
    Add(kNumbers, {7, 8});
    EXPECT_EQ(22u, kNumbers.Capacity());
    EXPECT_EQ((Numbers{4, 5, 6}), ListOf(kNumbers, 4));
}

TEST(NumberContainer, GetNumberListAppendsToWhatTheCallerHas)
{
    VOTSNumberContainer kNumbers;
    Add(kNumbers, {1, 2});
    Numbers vecNumber = {9};
    EXPECT_EQ(1, kNumbers.GetNumberList(0, vecNumber));
    EXPECT_EQ((Numbers{9, 1, 2}), vecNumber);
}

TEST(NumberContainer, AListCanBeReadFromItsMiddle)
{
    VOTSNumberContainer kNumbers;
    Add(kNumbers, {1, 2, 3});
    EXPECT_EQ((Numbers{2, 3}), ListOf(kNumbers, 1));
    EXPECT_EQ(Numbers(), ListOf(kNumbers, 3));
}

TEST(NumberContainer, RemovingANumberLeavesAHoleThatReadersSkip)
{
    VOTSNumberContainer kNumbers;
    Add(kNumbers, {1, 2, 3});
    EXPECT_EQ(1, kNumbers.RemoveNumber(0, 2));
    EXPECT_EQ((Numbers{1, 3}), ListOf(kNumbers, 0));
    EXPECT_EQ((Numbers{1, kListHole, 3, kListEnd}), ArrayOf(kNumbers));
    unsigned int uCount = 0;
    EXPECT_EQ(1, kNumbers.GetNumberCount(0, uCount));
    EXPECT_EQ(2u, uCount);
    unsigned int uNumber = 0;
    EXPECT_EQ(1, kNumbers.GetNumber(0, 1, uNumber));
    EXPECT_EQ(3u, uNumber);
}

TEST(NumberContainer, AnInsertedNumberFillsTheHoleAndTheListStays)
{
    VOTSNumberContainer kNumbers;
    Add(kNumbers, {1, 2, 3});
    kNumbers.RemoveNumber(0, 2);
    unsigned int uResult = 77;
    EXPECT_EQ(1, kNumbers.InsertNumber(0, 9, uResult));
    EXPECT_EQ(0u, uResult);
    EXPECT_EQ((Numbers{1, 9, 3}), ListOf(kNumbers, 0));
    EXPECT_EQ(4u, kNumbers.GetValueCount());
}

TEST(NumberContainer, TheFirstHoleIsFilledAlsoWhenTheNumberStandsBehindIt)
{
    VOTSNumberContainer kNumbers;
    Add(kNumbers, {1, 2, 3});
    kNumbers.RemoveNumber(0, 1);
    unsigned int uResult = 77;
    EXPECT_EQ(1, kNumbers.InsertNumber(0, 3, uResult));
    EXPECT_EQ(0u, uResult);
    EXPECT_EQ((Numbers{3, 2, 3}), ListOf(kNumbers, 0));
}

TEST(NumberContainer, InsertingAFurtherNumberMovesTheListToTheEnd)
{
    VOTSNumberContainer kNumbers;
    Add(kNumbers, {1, 2, 3});
    Add(kNumbers, {8});
    unsigned int uResult = 77;
    EXPECT_EQ(1, kNumbers.InsertNumber(0, 4, uResult));
    EXPECT_EQ(6u, uResult);
    EXPECT_EQ((Numbers{1, 2, 3, 4}), ListOf(kNumbers, uResult));
    EXPECT_EQ((Numbers{1, 2, 3, kListEnd, 8, kListEnd, 1, 2, 3, 4, kListEnd}), ArrayOf(kNumbers));
}

TEST(NumberContainer, InsertingANumberThatIsThereMovesAShortenedList)
{
    VOTSNumberContainer kNumbers;
    Add(kNumbers, {1, 2, 3});
    unsigned int uResult = 77;
    EXPECT_EQ(1, kNumbers.InsertNumber(0, 2, uResult));
    EXPECT_EQ(4u, uResult);
    EXPECT_EQ((Numbers{1, 2}), ListOf(kNumbers, uResult));
    EXPECT_EQ((Numbers{1, 2, 3}), ListOf(kNumbers, 0));
}

TEST(NumberContainer, AHoleBehindTheNumberThatIsThereIsNotReached)
{
    VOTSNumberContainer kNumbers;
    Add(kNumbers, {1, 2, 3});
    kNumbers.RemoveNumber(0, 3);
    unsigned int uResult = 77;
    EXPECT_EQ(1, kNumbers.InsertNumber(0, 1, uResult));
    EXPECT_EQ(4u, uResult);
    EXPECT_EQ((Numbers{1}), ListOf(kNumbers, uResult));
}

TEST(NumberContainer, InsertingIntoAnEmptyListMovesIt)
{
    VOTSNumberContainer kNumbers;
    Add(kNumbers, {});
    unsigned int uResult = 77;
    EXPECT_EQ(1, kNumbers.InsertNumber(0, 5, uResult));
    EXPECT_EQ(1u, uResult);
    EXPECT_EQ((Numbers{5}), ListOf(kNumbers, uResult));
}

TEST(NumberContainer, InsertingAtTheCountIsRefusedWithALogLine)
{
    VOTSNumberContainer kNumbers;
    Add(kNumbers, {1});
    const LogCapture kLog;
    unsigned int uResult = 77;
    EXPECT_EQ(0, kNumbers.InsertNumber(2, 5, uResult));
    EXPECT_EQ(std::vector<std::string>{Line("uIndex < m_uCount", "InsertNumber")}, kLog.Lines());
    EXPECT_EQ(77u, uResult);
    EXPECT_EQ((Numbers{1, kListEnd}), ArrayOf(kNumbers));
}

TEST(NumberContainer, EveryListFunctionRefusesAnIndexAtTheCountWithItsLogLine)
{
    VOTSNumberContainer kNumbers;
    Add(kNumbers, {1});
    const LogCapture kLog;
    unsigned int uNumber = 77;
    Numbers vecNumber = {9};
    EXPECT_EQ(0, kNumbers.GetNumber(2, 0, uNumber));
    EXPECT_EQ(0, kNumbers.GetNumberList(2, vecNumber));
    EXPECT_EQ(0, kNumbers.GetNumberCount(2, uNumber));
    EXPECT_EQ(0, kNumbers.RemoveNumber(2, 1));
    EXPECT_EQ((std::vector<std::string>{
                  Line("uIndex < m_uCount", "GetNumber"), Line("uIndex < m_uCount", "GetNumberList"),
                  Line("uIndex < m_uCount", "GetNumberCount"), Line("uIndex < m_uCount", "RemoveNumber")}),
              kLog.Lines());
    EXPECT_EQ(77u, uNumber);
    EXPECT_EQ((Numbers{9}), vecNumber);
}

TEST(NumberContainer, OnAnEmptyContainerEveryListFunctionFails)
{
    VOTSNumberContainer kNumbers;
    const LogCapture kLog;
    unsigned int uNumber = 77;
    Numbers vecNumber;
    EXPECT_EQ(0, kNumbers.GetNumber(0, 0, uNumber));
    EXPECT_EQ(0, kNumbers.GetNumberList(0, vecNumber));
    EXPECT_EQ(0, kNumbers.GetNumberCount(0, uNumber));
    EXPECT_EQ(0, kNumbers.RemoveNumber(0, 1));
    EXPECT_EQ(0, kNumbers.InsertNumber(0, 1, uNumber));
    EXPECT_EQ(5u, kLog.Count());
}

TEST(NumberContainer, GetNumberGivesTheNumberAtAPosition)
{
    VOTSNumberContainer kNumbers;
    Add(kNumbers, {10, 20, 30});
    unsigned int uNumber = 0;
    for (int nPosition = 0; nPosition < 3; ++nPosition)
    {
        EXPECT_EQ(1, kNumbers.GetNumber(0, nPosition, uNumber));
        EXPECT_EQ(static_cast<unsigned int>(10 * (nPosition + 1)), uNumber);
    }
}

TEST(NumberContainer, GetNumberBehindTheEndIs0InSilenceAndWritesNothing)
{
    VOTSNumberContainer kNumbers;
    Add(kNumbers, {1});
    Add(kNumbers, {2, 3});
    const LogCapture kLog;
    unsigned int uNumber = 77;
    EXPECT_EQ(0, kNumbers.GetNumber(0, 1, uNumber));
    EXPECT_EQ(0, kNumbers.GetNumber(0, 2, uNumber));
    EXPECT_EQ(0, kNumbers.GetNumber(2, 2, uNumber));
    EXPECT_EQ(0, kNumbers.GetNumber(0, 0x7FFFFFFF, uNumber));
    EXPECT_EQ(0, kNumbers.GetNumber(0, -1, uNumber));
    EXPECT_EQ(77u, uNumber);
    EXPECT_EQ(0u, kLog.Count());
}

TEST(NumberContainer, RemovingANumberThatIsNotThereSucceeds)
{
    VOTSNumberContainer kNumbers;
    Add(kNumbers, {1, 2});
    Add(kNumbers, {5});
    EXPECT_EQ(1, kNumbers.RemoveNumber(0, 5));
    EXPECT_EQ((Numbers{1, 2, kListEnd, 5, kListEnd}), ArrayOf(kNumbers));
}

TEST(NumberContainer, OnlyTheFirstOfEqualNumbersIsRemoved)
{
    VOTSNumberContainer kNumbers;
    Add(kNumbers, {4, 4});
    EXPECT_EQ(1, kNumbers.RemoveNumber(0, 4));
    EXPECT_EQ((Numbers{4}), ListOf(kNumbers, 0));
}

TEST(NumberContainer, CleanUpReleasesAndTheNextListBeginsAt0)
{
    VOTSNumberContainer kNumbers;
    Add(kNumbers, {1, 2});
    EXPECT_EQ(1, kNumbers.CleanUp());
    EXPECT_EQ(0u, kNumbers.GetValueCount());
    EXPECT_EQ(0u, kNumbers.Capacity());
    EXPECT_EQ(1, kNumbers.CleanUp());
    EXPECT_EQ(0u, Add(kNumbers, {3}));
}

TEST(NumberContainer, ShrinkToFitCutsTheCapacityToTheCount)
{
    VOTSNumberContainer kNumbers;
    EXPECT_EQ(1, kNumbers.ShrinkToFit());
    Add(kNumbers, {1, 2});
    EXPECT_EQ(1, kNumbers.ShrinkToFit());
    EXPECT_EQ(3u, kNumbers.Capacity());
    EXPECT_EQ((Numbers{1, 2}), ListOf(kNumbers, 0));
}

TEST(NumberContainer, OrdinaryWorkLogsNothing)
{
    const LogCapture kLog;
    VOTSNumberContainer kNumbers;
    unsigned int uResult = 0;
    Add(kNumbers, {1, 2});
    kNumbers.InsertNumber(0, 3, uResult);
    kNumbers.RemoveNumber(uResult, 9);
    ListOf(kNumbers, uResult);
    NumberImageOf(kNumbers);
    kNumbers.ShrinkToFit();
    kNumbers.CleanUp();
    EXPECT_EQ(0u, kLog.Count());
}

TEST(NumberImage, ItsBytesAreExactlyTheFormats)
{
    VOTSNumberContainer kNumbers;
    Add(kNumbers, {1, 0x04030201, 3});
    Add(kNumbers, {});
    kNumbers.RemoveNumber(0, 3);
    const Bytes vecExpected = FromHex(R"(
        05 00 00 00  14 00 00 00
        01 00 00 00  01 02 03 04  fe ff ff ff  ff ff ff ff  ff ff ff ff
        00 00 00 00)");
    EXPECT_TRUE(SameBytes(vecExpected, NumberImageOf(kNumbers)));
    EXPECT_EQ(vecExpected.size(), kNumbers.AllocSize());
}

TEST(NumberImage, OfNoNumbersIs12BytesAndLoadingItLeavesTheContainerEmpty)
{
    VOTSNumberContainer kNumbers;
    EXPECT_TRUE(SameBytes(Bytes(12, 0), NumberImageOf(kNumbers)));
    Add(kNumbers, {1});
    const MisalignedBlock kImage(Bytes(12, 0), 1);
    for (const int bCopy : {1, 0})
    {
        EXPECT_EQ(1, SetNumbers(kNumbers, kImage, bCopy));
        EXPECT_EQ(0u, kNumbers.GetValueCount());
    }
    EXPECT_EQ(0u, Add(kNumbers, {1}));
}

TEST(NumberImage, IsTakenAtEveryMisalignmentAsACopyAndAsAView)
{
    VOTSNumberContainer kSource;
    Add(kSource, {1, 2, 3});
    Add(kSource, {0x10000000});
    const Bytes vecImage = NumberImageOf(kSource);
    for (size_t uMisalignment = 0; uMisalignment < 16; ++uMisalignment)
    {
        for (const int bCopy : {0, 1})
        {
            const MisalignedBlock kImage(vecImage, uMisalignment);
            VOTSNumberContainer kNumbers;
            ASSERT_EQ(1, SetNumbers(kNumbers, kImage, bCopy));
            EXPECT_EQ(bCopy != 0 ? 6u : 0u, kNumbers.Capacity());
            EXPECT_EQ((Numbers{1, 2, 3}), ListOf(kNumbers, 0));
            EXPECT_EQ((Numbers{0x10000000}), ListOf(kNumbers, 4));
            EXPECT_TRUE(SameBytes(vecImage, NumberImageOf(kNumbers)));
        }
    }
}

TEST(NumberImage, AMovingInsertionOnAViewCopiesBeforeItWrites)
{
    const Bytes vecImage = NumberImage({1, 2, kListEnd});
    const MisalignedBlock kImage(vecImage, 1);
    VOTSNumberContainer kNumbers;
    ASSERT_EQ(1, SetNumbers(kNumbers, kImage, 0));
    unsigned int uResult = 0;
    EXPECT_EQ(1, kNumbers.InsertNumber(0, 3, uResult));
    EXPECT_EQ((Numbers{1, 2, 3}), ListOf(kNumbers, uResult));
    EXPECT_EQ((Numbers{1, 2}), ListOf(kNumbers, 0));
    EXPECT_GT(kNumbers.Capacity(), 0u);
    EXPECT_TRUE(SameBytes(vecImage, kImage.Current()));
}

TEST(NumberImage, RemovalAndAFilledHoleOnAViewAreWrittenInPlace)
{
    const MisalignedBlock kImage(NumberImage({1, 2, kListEnd}), 1);
    VOTSNumberContainer kNumbers;
    ASSERT_EQ(1, SetNumbers(kNumbers, kImage, 0));
    EXPECT_EQ(1, kNumbers.RemoveNumber(0, 1));
    EXPECT_TRUE(SameBytes(NumberImage({kListHole, 2, kListEnd}), kImage.Current()));
    unsigned int uResult = 77;
    EXPECT_EQ(1, kNumbers.InsertNumber(0, 9, uResult));
    EXPECT_EQ(0u, uResult);
    EXPECT_TRUE(SameBytes(NumberImage({9, 2, kListEnd}), kImage.Current()));
}

TEST(NumberImage, CleanUpOfAViewDoesNotReleaseTheImage)
{
    const Bytes vecImage = NumberImage({1, 2, kListEnd});
    const MisalignedBlock kImage(vecImage, 1);
    VOTSNumberContainer kNumbers;
    ASSERT_EQ(1, SetNumbers(kNumbers, kImage, 0));
    EXPECT_EQ(1, kNumbers.CleanUp());
    EXPECT_EQ(0u, kNumbers.GetValueCount());
    ASSERT_EQ(1, SetNumbers(kNumbers, kImage, 0));
    kNumbers.DropView();
    EXPECT_EQ(0u, kNumbers.GetValueCount());
    EXPECT_TRUE(SameBytes(vecImage, kImage.Current()));
}

TEST(NumberImage, AnEmptyPointerOrAByteSizeThatIsNotTheCounts4FoldIsRefusedWithALogLine)
{
    VOTSNumberContainer kNumbers;
    Add(kNumbers, {1, 2});
    const LogCapture kLog;
    EXPECT_EQ(0, kNumbers.SetAlloc(nullptr, 1));
    Bytes vecImage = NumberImage({1, kListEnd});
    WriteU32(vecImage, 4, 9);
    const MisalignedBlock kImage(vecImage);
    EXPECT_EQ(0, SetNumbers(kNumbers, kImage, 1));
    EXPECT_EQ(0, SetNumbers(kNumbers, kImage, 0));
    const std::string strSize = Line("uDataBufSize == pAlloc->uDataBufSize", "SetAlloc");
    EXPECT_EQ((std::vector<std::string>{Line("pAlloc", "SetAlloc"), strSize, strSize}), kLog.Lines());
    EXPECT_EQ((Numbers{1, 2}), ListOf(kNumbers, 0));
}

TEST(NumberImage, ACountWhose4FoldAgreesOnlyAfterA32BitOverflowIsRefused)
{
    Bytes vecImage = NumberImage({1, kListEnd});
    WriteU32(vecImage, 0, 0x40000002);
    const MisalignedBlock kImage(vecImage);
    VOTSNumberContainer kNumbers;
    EXPECT_EQ(0, SetNumbers(kNumbers, kImage, 1));
    EXPECT_EQ(0, SetNumbers(kNumbers, kImage, 0));
    EXPECT_EQ(0u, kNumbers.GetValueCount());
}

TEST(NumberImage, AListWithoutATerminatorEndsWithTheArray)
{
    const Bytes vecImage = NumberImage({1, kListHole, 3});
    for (const int bCopy : {0, 1})
    {
        const MisalignedBlock kImage(vecImage, 1);
        VOTSNumberContainer kNumbers;
        ASSERT_EQ(1, SetNumbers(kNumbers, kImage, bCopy));
        EXPECT_EQ((Numbers{1, 3}), ListOf(kNumbers, 0));
        unsigned int uNumber = 0;
        EXPECT_EQ(1, kNumbers.GetNumberCount(0, uNumber));
        EXPECT_EQ(2u, uNumber);
        EXPECT_EQ(0, kNumbers.GetNumber(0, 2, uNumber));
        EXPECT_EQ(1, kNumbers.RemoveNumber(0, 4));
        unsigned int uResult = 0;
        EXPECT_EQ(1, kNumbers.InsertNumber(2, 9, uResult));
        EXPECT_EQ((Numbers{3, 9}), ListOf(kNumbers, uResult));
    }
}

TEST(NumberContainer, CopiesAreDeepAndACopyOfItselfChangesNothing)
{
    VOTSNumberContainer kSource;
    Add(kSource, {1, 2});
    VOTSNumberContainer kConstructed(kSource);
    VOTSNumberContainer kAssigned;
    Add(kAssigned, {7, 7, 7});
    kAssigned = kSource;
    VOTSNumberContainer& rkSame = kAssigned;
    kAssigned = rkSame;
    kSource.CleanUp();
    EXPECT_EQ((Numbers{1, 2}), ListOf(kConstructed, 0));
    EXPECT_EQ((Numbers{1, 2}), ListOf(kAssigned, 0));
    unsigned int uResult = 0;
    EXPECT_EQ(1, kConstructed.InsertNumber(0, 3, uResult));
    EXPECT_EQ(3u, kAssigned.GetValueCount());
}
