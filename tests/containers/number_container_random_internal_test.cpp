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

    unsigned int Append(const Numbers& list)
    {
        const unsigned int uIndex = static_cast<unsigned int>(vecArray.size());
        vecArray.insert(vecArray.end(), list.begin(), list.end());
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

Bytes RandomImageOf(const VOTSNumberContainer& numbers)
{
    unsigned char* pbAlloc = reinterpret_cast<unsigned char*>(numbers.GetAlloc());
    return TakeBytes(pbAlloc, pbAlloc == nullptr ? 0 : ReadU32(CopyBytes(pbAlloc, 8), 4) + 12);
}

int Set(VOTSNumberContainer& numbers, const MisalignedBlock& image, int bCopy)
{
    return numbers.SetAlloc(image.As<VOTSNumberContainer::NumberAlloc>(), bCopy, image.Size());
}

// One random operation on both; the indexes of the lists in use are kept in vecIndex.
void Step(VOTSNumberContainer& numbers, Model& model, Numbers& vecIndex, Random& random)
{
    const size_t uList = vecIndex.empty() ? 0 : random.Below(vecIndex.size());
    const unsigned int uNumber = static_cast<unsigned int>(random.Below(12));
    unsigned int uResult = 0;
    switch (vecIndex.empty() ? 0 : random.Below(8))
    {
        case 0:
        {
            Numbers vecList(random.Below(5));
            for (unsigned int& uOldNumber : vecList)
            {
                uOldNumber = static_cast<unsigned int>(random.Below(12));
            }
            ASSERT_EQ(1, numbers.InsertNumber(vecList, uResult));
            ASSERT_EQ(model.Append(vecList), uResult);
            vecIndex.push_back(uResult);
            break;
        }
        case 1:
        case 2:
        case 3:
            ASSERT_EQ(1, numbers.InsertNumber(vecIndex[uList], uNumber, uResult));
            ASSERT_EQ(model.Insert(vecIndex[uList], uNumber), uResult);
            vecIndex[uList] = uResult;
            break;
        case 4:
        case 5:
            ASSERT_EQ(1, numbers.RemoveNumber(vecIndex[uList], uNumber));
            model.Remove(vecIndex[uList], uNumber);
            break;
        case 6:
            if (random.Below(20) == 0)
            {
                ASSERT_EQ(1, numbers.ShrinkToFit());
            }
            break;
        default:
        {
            const Numbers vecExpected = model.List(vecIndex[uList]);
            const int nPosition = static_cast<int>(random.Below(7));
            unsigned int uGot = 4711;
            const bool bThere = static_cast<size_t>(nPosition) < vecExpected.size();
            ASSERT_EQ(bThere ? 1 : 0, numbers.GetNumber(vecIndex[uList], nPosition, uGot));
            ASSERT_EQ(bThere ? vecExpected[static_cast<size_t>(nPosition)] : 4711u, uGot);
        }
    }
}

void ExpectSame(const Model& model, const VOTSNumberContainer& numbers, const Numbers& indexes)
{
    for (const unsigned int uIndex : indexes)
    {
        Numbers vecList;
        unsigned int uCount = 0;
        ASSERT_EQ(1, numbers.GetNumberList(uIndex, vecList));
        ASSERT_EQ(model.List(uIndex), vecList);
        ASSERT_EQ(1, numbers.GetNumberCount(uIndex, uCount));
        ASSERT_EQ(vecList.size(), uCount);
    }
}

// Uses everything that may be used on a container made from an image.
void Exercise(VOTSNumberContainer& numbers)
{
    const unsigned int uLimit = std::min(numbers.GetValueCount(), 64u);
    for (unsigned int uIndex = 0; uIndex < uLimit; ++uIndex)
    {
        Numbers vecList;
        unsigned int uCount = 0;
        unsigned int uNumber = 0;
        ASSERT_EQ(1, numbers.GetNumberList(uIndex, vecList));
        ASSERT_EQ(1, numbers.GetNumberCount(uIndex, uCount));
        ASSERT_EQ(vecList.size(), uCount);
        ASSERT_EQ(vecList.empty() ? 0 : 1, numbers.GetNumber(uIndex, 0, uNumber));
    }
    RandomImageOf(numbers);
    unsigned int uResult = 0;
    if (uLimit != 0)
    {
        numbers.RemoveNumber(0, 3);
        numbers.InsertNumber(0, 4, uResult);
        numbers.InsertNumber(uLimit - 1, 5, uResult);
    }
    ASSERT_EQ(1, numbers.InsertNumber({1, 2}, uResult));
    ASSERT_EQ(1, numbers.ShrinkToFit());
}
}  // namespace

TEST(NumberContainerRandom, ThousandsOfOperationsAgreeWithTheModel)
{
    for (uint64_t ullSeed = 1; ullSeed <= 5; ++ullSeed)
    {
        SCOPED_TRACE(testing::Message() << "seed " << ullSeed);
        Random random(ullSeed);
        VOTSNumberContainer numbers;
        Model model;
        Numbers vecIndex;
        for (int i = 0; i < 4000; ++i)
        {
            Step(numbers, model, vecIndex, random);
            ASSERT_FALSE(HasFatalFailure()) << i;
            if (vecIndex.size() > 40)
            {
                vecIndex.erase(vecIndex.begin());
            }
            if (i % 400 == 399)
            {
                ExpectSame(model, numbers, vecIndex);
                ASSERT_TRUE(SameBytes(NumberImage(model.vecArray), RandomImageOf(numbers)));
            }
        }
    }
}

TEST(NumberContainerRandom, AContainerThatIsReloadedFromItsImageAgreesWithTheModel)
{
    for (const int bCopy : {0, 1})
    {
        Random random(static_cast<uint64_t>(11 + bCopy));
        Model model;
        Numbers vecIndex;
        Bytes vecImage = NumberImage({});
        for (int nRound = 0; nRound < 100; ++nRound)
        {
            const MisalignedBlock image(vecImage, random.Below(16));
            VOTSNumberContainer numbers;
            ASSERT_EQ(1, Set(numbers, image, bCopy));
            ExpectSame(model, numbers, vecIndex);
            for (int i = 0; i < 20; ++i)
            {
                Step(numbers, model, vecIndex, random);
                ASSERT_FALSE(HasFatalFailure()) << nRound;
            }
            vecImage = RandomImageOf(numbers);
            ASSERT_TRUE(SameBytes(NumberImage(model.vecArray), vecImage)) << nRound;
        }
    }
}

TEST(NumberContainerDamaged, EveryCutOfAnImageIsRefusedOrReadSafely)
{
    StdoutCapture quiet;
    const Bytes vecImage = NumberImage({1, 2, 3, kEnd, kHole, 4, kEnd});
    for (size_t uSize = 0; uSize <= vecImage.size(); ++uSize)
    {
        for (const int bCopy : {0, 1})
        {
            const MisalignedBlock cut(Bytes(vecImage.begin(), vecImage.begin() + static_cast<ptrdiff_t>(uSize)), 1);
            VOTSNumberContainer numbers;
            const int bTaken = Set(numbers, cut, bCopy);
            EXPECT_TRUE(bTaken == 0 || uSize + 4 >= vecImage.size()) << uSize;
            if (bTaken != 0)
            {
                Exercise(numbers);
            }
        }
    }
}

TEST(NumberContainerDamaged, EveryFlippedBitIsRefusedOrReadSafely)
{
    StdoutCapture quiet;
    const Bytes vecImage = NumberImage({1, 2, 3, kEnd, kHole, 4, kEnd});
    for (size_t uBit = 0; uBit < vecImage.size() * 8; ++uBit)
    {
        for (const int bCopy : {0, 1})
        {
            Bytes vecFlipped = vecImage;
            vecFlipped[uBit / 8] ^= static_cast<unsigned char>(1 << uBit % 8);
            const MisalignedBlock flipped(vecFlipped, 1);
            VOTSNumberContainer numbers;
            const int bTaken = Set(numbers, flipped, bCopy);
            EXPECT_EQ(uBit < 64 ? 0 : 1, bTaken) << uBit;
            if (bTaken != 0)
            {
                Exercise(numbers);
            }
        }
    }
}
