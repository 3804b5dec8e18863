// VOTSNumberContainer under random operations, and on damaged images.
#include <algorithm>
#include <vector>

#include "containers/vots_number_container.h"
#include "support/bytes.h"
#include "support/random.h"
#include "support/reference_images.h"
#include "support/stdout_capture.h"

using namespace votest;

namespace
{
typedef std::vector<unsigned int> Numbers;

constexpr unsigned int kEnd = 0xFFFFFFFFu;
constexpr unsigned int kHole = 0xFFFFFFFEu;

// The container's rules on one plain vector.
struct Model
{
    Numbers vecArray;

    unsigned int Append(const Numbers& rkList)
    {
        const unsigned int uIndex = static_cast<unsigned int>(vecArray.size());
        vecArray.insert(vecArray.end(), rkList.begin(), rkList.end());
        vecArray.push_back(kEnd);
        return uIndex;
    }

    // Positions of the list's elements, holes included.
    std::vector<size_t> Places(unsigned int uIndex) const
    {
        std::vector<size_t> vecPlace;
        for (size_t i = uIndex; i < vecArray.size() && vecArray[i] != kEnd; ++i)
        {
            vecPlace.push_back(i);
        }
        return vecPlace;
    }

    Numbers List(unsigned int uIndex) const
    {
        Numbers vecList;
        for (const size_t uPlace : Places(uIndex))
        {
            if (vecArray[uPlace] != kHole)
            {
                vecList.push_back(vecArray[uPlace]);
            }
        }
        return vecList;
    }

    unsigned int Insert(unsigned int uIndex, unsigned int uNumber)
    {
        Numbers vecList;
        for (const size_t uPlace : Places(uIndex))
        {
            if (vecArray[uPlace] == kHole)
            {
                vecArray[uPlace] = uNumber;
                return uIndex;
            }
            if (vecArray[uPlace] == uNumber)
            {
                break;
            }
            vecList.push_back(vecArray[uPlace]);
        }
        vecList.push_back(uNumber);
        return Append(vecList);
    }

    void Remove(unsigned int uIndex, unsigned int uNumber)
    {
        for (const size_t uPlace : Places(uIndex))
        {
            if (vecArray[uPlace] == uNumber)
            {
                vecArray[uPlace] = kHole;
                return;
            }
        }
    }
};

Bytes RandomImageOf(const VOTSNumberContainer& rkNumbers)
{
    unsigned char* pbAlloc = reinterpret_cast<unsigned char*>(rkNumbers.GetAlloc());
    return TakeBytes(pbAlloc, pbAlloc == nullptr ? 0 : ReadU32(CopyBytes(pbAlloc, 8), 4) + 12);
}

int Set(VOTSNumberContainer& rkNumbers, const MisalignedBlock& rkImage, int bCopy)
{
    return rkNumbers.SetAlloc(rkImage.As<VOTSNumberContainer::NumberAlloc>(), bCopy, rkImage.Size());
}

// One random operation on both; the indexes of the lists in use are kept in rvecIndex.
void Step(VOTSNumberContainer& rkNumbers, Model& rkModel, Numbers& rvecIndex, Random& rRandom)
{
    const size_t uList = rvecIndex.empty() ? 0 : rRandom.Below(rvecIndex.size());
    const unsigned int uNumber = static_cast<unsigned int>(rRandom.Below(12));
    unsigned int uResult = 0;
    switch (rvecIndex.empty() ? 0 : rRandom.Below(8))
    {
        case 0:
        {
            Numbers vecList(rRandom.Below(5));
            for (unsigned int& ruNumber : vecList)
            {
                ruNumber = static_cast<unsigned int>(rRandom.Below(12));
            }
            ASSERT_EQ(1, rkNumbers.InsertNumber(vecList, uResult));
            ASSERT_EQ(rkModel.Append(vecList), uResult);
            rvecIndex.push_back(uResult);
            break;
        }
        case 1:
        case 2:
        case 3:
            ASSERT_EQ(1, rkNumbers.InsertNumber(rvecIndex[uList], uNumber, uResult));
            ASSERT_EQ(rkModel.Insert(rvecIndex[uList], uNumber), uResult);
            rvecIndex[uList] = uResult;
            break;
        case 4:
        case 5:
            ASSERT_EQ(1, rkNumbers.RemoveNumber(rvecIndex[uList], uNumber));
            rkModel.Remove(rvecIndex[uList], uNumber);
            break;
        case 6:
            if (rRandom.Below(20) == 0)
            {
                ASSERT_EQ(1, rkNumbers.ShrinkToFit());
            }
            break;
        default:
        {
            const Numbers vecExpected = rkModel.List(rvecIndex[uList]);
            const int nPosition = static_cast<int>(rRandom.Below(7));
            unsigned int uGot = 4711;
            const bool bThere = static_cast<size_t>(nPosition) < vecExpected.size();
            ASSERT_EQ(bThere ? 1 : 0, rkNumbers.GetNumber(rvecIndex[uList], nPosition, uGot));
            ASSERT_EQ(bThere ? vecExpected[static_cast<size_t>(nPosition)] : 4711u, uGot);
        }
    }
}

void ExpectSame(const Model& rkModel, const VOTSNumberContainer& rkNumbers, const Numbers& rkIndexes)
{
    for (const unsigned int uIndex : rkIndexes)
    {
        Numbers vecList;
        unsigned int uCount = 0;
        ASSERT_EQ(1, rkNumbers.GetNumberList(uIndex, vecList));
        ASSERT_EQ(rkModel.List(uIndex), vecList);
        ASSERT_EQ(1, rkNumbers.GetNumberCount(uIndex, uCount));
        ASSERT_EQ(vecList.size(), uCount);
    }
}

// Uses everything that may be used on a container made from an image.
void Exercise(VOTSNumberContainer& rkNumbers)
{
    const unsigned int uLimit = std::min(rkNumbers.GetValueCount(), 64u);
    for (unsigned int uIndex = 0; uIndex < uLimit; ++uIndex)
    {
        Numbers vecList;
        unsigned int uCount = 0;
        unsigned int uNumber = 0;
        ASSERT_EQ(1, rkNumbers.GetNumberList(uIndex, vecList));
        ASSERT_EQ(1, rkNumbers.GetNumberCount(uIndex, uCount));
        ASSERT_EQ(vecList.size(), uCount);
        ASSERT_EQ(vecList.empty() ? 0 : 1, rkNumbers.GetNumber(uIndex, 0, uNumber));
    }
    RandomImageOf(rkNumbers);
    unsigned int uResult = 0;
    if (uLimit != 0)
    {
        rkNumbers.RemoveNumber(0, 3);
        rkNumbers.InsertNumber(0, 4, uResult);
        rkNumbers.InsertNumber(uLimit - 1, 5, uResult);
    }
    ASSERT_EQ(1, rkNumbers.InsertNumber({1, 2}, uResult));
    ASSERT_EQ(1, rkNumbers.ShrinkToFit());
}
}  // namespace

TEST(NumberContainerRandom, ThousandsOfOperationsAgreeWithTheModel)
{
    for (uint64_t ullSeed = 1; ullSeed <= 5; ++ullSeed)
    {
        SCOPED_TRACE(testing::Message() << "seed " << ullSeed);
        Random kRandom(ullSeed);
        VOTSNumberContainer kNumbers;
        Model kModel;
        Numbers vecIndex;
        for (int i = 0; i < 4000; ++i)
        {
            Step(kNumbers, kModel, vecIndex, kRandom);
            ASSERT_FALSE(HasFatalFailure()) << i;
            if (vecIndex.size() > 40)
            {
                vecIndex.erase(vecIndex.begin());
            }
            if (i % 400 == 399)
            {
                ExpectSame(kModel, kNumbers, vecIndex);
                ASSERT_TRUE(SameBytes(NumberImage(kModel.vecArray), RandomImageOf(kNumbers)));
            }
        }
    }
}

TEST(NumberContainerRandom, AContainerThatIsReloadedFromItsImageAgreesWithTheModel)
{
    for (const int bCopy : {0, 1})
    {
        Random kRandom(static_cast<uint64_t>(11 + bCopy));
        Model kModel;
        Numbers vecIndex;
        Bytes vecImage = NumberImage({});
        for (int nRound = 0; nRound < 100; ++nRound)
        {
            const MisalignedBlock kImage(vecImage, kRandom.Below(16));
            VOTSNumberContainer kNumbers;
            ASSERT_EQ(1, Set(kNumbers, kImage, bCopy));
            ExpectSame(kModel, kNumbers, vecIndex);
            for (int i = 0; i < 20; ++i)
            {
                Step(kNumbers, kModel, vecIndex, kRandom);
                ASSERT_FALSE(HasFatalFailure()) << nRound;
            }
            vecImage = RandomImageOf(kNumbers);
            ASSERT_TRUE(SameBytes(NumberImage(kModel.vecArray), vecImage)) << nRound;
        }
    }
}

TEST(NumberContainerDamaged, EveryCutOfAnImageIsRefusedOrReadSafely)
{
    StdoutCapture kQuiet;
    const Bytes vecImage = NumberImage({1, 2, 3, kEnd, kHole, 4, kEnd});
    for (size_t uSize = 0; uSize <= vecImage.size(); ++uSize)
    {
        for (const int bCopy : {0, 1})
        {
            const MisalignedBlock kCut(Bytes(vecImage.begin(), vecImage.begin() + static_cast<ptrdiff_t>(uSize)), 1);
            VOTSNumberContainer kNumbers;
            const int bTaken = Set(kNumbers, kCut, bCopy);
            EXPECT_TRUE(bTaken == 0 || uSize + 4 >= vecImage.size()) << uSize;
            if (bTaken != 0)
            {
                Exercise(kNumbers);
            }
        }
    }
}

TEST(NumberContainerDamaged, EveryFlippedBitIsRefusedOrReadSafely)
{
    StdoutCapture kQuiet;
    const Bytes vecImage = NumberImage({1, 2, 3, kEnd, kHole, 4, kEnd});
    for (size_t uBit = 0; uBit < vecImage.size() * 8; ++uBit)
    {
        for (const int bCopy : {0, 1})
        {
            Bytes vecFlipped = vecImage;
            vecFlipped[uBit / 8] ^= static_cast<unsigned char>(1 << uBit % 8);
            const MisalignedBlock kFlipped(vecFlipped, 1);
            VOTSNumberContainer kNumbers;
            const int bTaken = Set(kNumbers, kFlipped, bCopy);
            EXPECT_EQ(uBit < 64 ? 0 : 1, bTaken) << uBit;
            if (bTaken != 0)
            {
                Exercise(kNumbers);
            }
        }
    }
}
