// VORecordVector: growth, ownership, image.
#include "internal/vo_record_vector.h"

#include <vector>

#include "support/bytes.h"
#include "support/random.h"
#include "support/reference_images.h"

using namespace votest;

namespace
{
// 12 bytes, with defaults that aren't zero, so that a zeroed new record can be told from a constructed one.
struct Record
{
    unsigned int uFirst = 0xD1;
    unsigned int uSecond = 0xD2;
    unsigned int uThird = 0xD3;

    bool operator==(const Record&) const = default;
};

typedef VORecordVector<Record> Vector;

// Records are readable up to the capacity, used or not.
class OpenVector : public Vector
{
public:
    const unsigned char* Array() const { return m_pRecord; }
    votest::Bytes AllBytes() const { return CopyBytes(m_pRecord, m_uCapacity * sizeof(Record)); }
};

// {1, 2, 3} and {0x04030201, 5, 6}.
const char* const kTwoRecords = R"(
    76 65 72 2e 31 2e 30 00  02 00 00 00  18 00 00 00
    01 00 00 00 02 00 00 00 03 00 00 00
    01 02 03 04 05 00 00 00 06 00 00 00
    00 00 00 00
)";

Bytes TwoRecords()
{
    return FromHex(kTwoRecords);
}

template <typename V>
Bytes VectorImageOf(const V& rkVector)
{
    unsigned char* pbAlloc = reinterpret_cast<unsigned char*>(rkVector.GetAlloc());
    return TakeBytes(pbAlloc, pbAlloc == nullptr ? 0 : ReadU32(CopyBytes(pbAlloc, 16), 12) + 20);
}

template <typename V>
bool Load(V& rkVector, const MisalignedBlock& rkImage, int bCopy)
{
    return rkVector.SetAlloc(rkImage.As<const VORecordVectorAlloc>(), bCopy, rkImage.Size());
}

void ExpectTwoRecords(const Vector& rkVector)
{
    ASSERT_EQ(2u, rkVector.Count());
    EXPECT_EQ((Record{1, 2, 3}), rkVector[0]);
    EXPECT_EQ((Record{0x04030201, 5, 6}), rkVector[1]);
}

void Fill(Vector& rkVector, unsigned int uCount)
{
    for (unsigned int i = 0; i < uCount; ++i)
    {
        rkVector.PushBack({i, i + 1, i + 2});
    }
}
}  // namespace

TEST(RecordVector, PushBackOnAnEmptyVectorGivesTheCapacities2And6And14)
{
    Vector kVector;
    std::vector<unsigned int> vecCapacity;
    for (unsigned int i = 0; i < 8; ++i)
    {
        EXPECT_TRUE(kVector.PushBack({i, 0, 0}));
        vecCapacity.push_back(kVector.Capacity());
    }
    EXPECT_EQ((std::vector<unsigned int>{2, 2, 6, 6, 6, 6, 14, 14}), vecCapacity);
    EXPECT_EQ(8u, kVector.Count());
    for (unsigned int i = 0; i < 8; ++i)
    {
        EXPECT_EQ((Record{i, 0, 0}), kVector[i]);
    }
}

TEST(RecordVector, ReserveOfZeroZeroesTheRecordsAndKeepsTheMemory)
{
    OpenVector kVector;
    Fill(kVector, 3);
    const unsigned char* pbArray = kVector.Array();
    EXPECT_TRUE(kVector.Reserve(0));
    EXPECT_EQ(0u, kVector.Count());
    EXPECT_EQ(6u, kVector.Capacity());
    EXPECT_EQ(pbArray, kVector.Array());
    EXPECT_TRUE(SameBytes(Bytes(6 * 12, 0), kVector.AllBytes()));
}

TEST(RecordVector, ReserveOfTheCurrentCapacityDoesNothing)
{
    OpenVector kVector;
    Fill(kVector, 3);
    const unsigned char* pbArray = kVector.Array();
    EXPECT_TRUE(kVector.Reserve(6));
    EXPECT_EQ(pbArray, kVector.Array());
    EXPECT_EQ(3u, kVector.Count());
}

TEST(RecordVector, ReserveMakesNewRecordsAllZeroWhateverTheirConstructorWouldDo)
{
    OpenVector kVector;
    Fill(kVector, 1);
    EXPECT_TRUE(kVector.Reserve(4));
    Bytes vecExpected = {0, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0};
    vecExpected.resize(48);
    EXPECT_TRUE(SameBytes(vecExpected, kVector.AllBytes()));
    EXPECT_EQ(1u, kVector.Count());
}

TEST(RecordVector, ReserveBelowTheCountCutsIt)
{
    Vector kVector;
    Fill(kVector, 5);
    EXPECT_TRUE(kVector.Reserve(2));
    EXPECT_EQ(2u, kVector.Capacity());
    ASSERT_EQ(2u, kVector.Count());
    EXPECT_EQ((Record{1, 2, 3}), kVector[1]);
}

TEST(RecordVector, ResizeGivesZeroedRecordsUpToTheNewCount)
{
    Vector kVector;
    Fill(kVector, 1);
    EXPECT_TRUE(kVector.Resize(3));
    EXPECT_EQ(3u, kVector.Capacity());
    ASSERT_EQ(3u, kVector.Count());
    EXPECT_EQ((Record{0, 1, 2}), kVector[0]);
    EXPECT_EQ((Record{0, 0, 0}), kVector[2]);
}

TEST(RecordVector, ShrinkToFitCutsTheCapacityToTheCount)
{
    Vector kVector;
    Fill(kVector, 3);
    EXPECT_TRUE(kVector.ShrinkToFit());
    EXPECT_EQ(3u, kVector.Capacity());
    EXPECT_EQ((Record{2, 3, 4}), kVector[2]);
}

TEST(RecordVector, ShrinkToFitWithoutRecordsKeepsTheMemory)
{
    Vector kVector;
    Fill(kVector, 3);
    EXPECT_TRUE(kVector.Clean());
    EXPECT_TRUE(kVector.ShrinkToFit());
    EXPECT_EQ(6u, kVector.Capacity());
}

TEST(RecordVector, CleanZeroesUpToTheCapacity)
{
    OpenVector kVector;
    Fill(kVector, 3);
    EXPECT_TRUE(kVector.Clean());
    EXPECT_EQ(0u, kVector.Count());
    EXPECT_TRUE(SameBytes(Bytes(6 * 12, 0), kVector.AllBytes()));
}

TEST(RecordVector, ReleaseSetsPointerCapacityAndCountToZero)
{
    OpenVector kVector;
    Fill(kVector, 3);
    EXPECT_TRUE(kVector.Release());
    EXPECT_EQ(nullptr, kVector.Array());
    EXPECT_EQ(0u, kVector.Capacity());
    EXPECT_EQ(0u, kVector.Count());
    EXPECT_TRUE(kVector.Release());
}

TEST(RecordVector, RemoveCopiesTheOneRecordBehindOntoTheRemovedOne)
{
    Vector kVector;
    Fill(kVector, 5);
    EXPECT_TRUE(kVector.Remove(1));
    ASSERT_EQ(4u, kVector.Count());
    EXPECT_EQ((Record{0, 1, 2}), kVector[0]);
    EXPECT_EQ((Record{2, 3, 4}), kVector[1]);
    EXPECT_EQ((Record{2, 3, 4}), kVector[2]);
    EXPECT_EQ((Record{3, 4, 5}), kVector[3]);
}

TEST(RecordVector, RemoveOfTheLastRecordResetsItToItsDefault)
{
    OpenVector kVector;
    Fill(kVector, 2);
    EXPECT_TRUE(kVector.Remove(1));
    EXPECT_EQ(1u, kVector.Count());
    const Bytes vecDefault = FromHex("d1 00 00 00 d2 00 00 00 d3 00 00 00");
    EXPECT_TRUE(SameBytes(vecDefault, CopyBytes(kVector.Array() + 12, 12)));
}

TEST(RecordVector, RemoveAtOrBehindTheCountIsFalse)
{
    Vector kVector;
    EXPECT_FALSE(kVector.Remove(0));
    Fill(kVector, 2);
    EXPECT_FALSE(kVector.Remove(2));
    EXPECT_FALSE(kVector.Remove(0xFFFFFFFFu));
    EXPECT_EQ(2u, kVector.Count());
}

TEST(RecordVector, TheRecordSizesOfThePublishedVectorsAreKnownFromTheBytes)
{
    VORecordVector<void*> kHandles;
    kHandles.PushBack(nullptr);
    EXPECT_EQ(28u, VectorImageOf(kHandles).size());
    Vector kVector;
    Fill(kVector, 3);
    EXPECT_EQ(56u, VectorImageOf(kVector).size());
}

TEST(RecordVectorImage, ItsBytesAreExactlyTheFormats)
{
    Vector kVector;
    kVector.PushBack({1, 2, 3});
    kVector.PushBack({0x04030201, 5, 6});
    EXPECT_TRUE(SameBytes(TwoRecords(), VectorImageOf(kVector)));
    EXPECT_EQ(TwoRecords().size(), kVector.AllocSize());
}

TEST(RecordVectorImage, OfNoRecordsIs20Bytes)
{
    const Vector kVector;
    EXPECT_TRUE(SameBytes(RecordVectorImage(0, {}), VectorImageOf(kVector)));
    for (const int bCopy : {0, 1})
    {
        Vector kTarget;
        Fill(kTarget, 1);
        const MisalignedBlock kImage(RecordVectorImage(0, {}), 1);
        EXPECT_TRUE(Load(kTarget, kImage, bCopy));
        EXPECT_EQ(0u, kTarget.Count());
    }
}

TEST(RecordVectorImage, IsTakenAtEveryMisalignmentAsACopyAndAsAView)
{
    for (size_t uMisalignment = 0; uMisalignment < 16; ++uMisalignment)
    {
        for (const int bCopy : {0, 1})
        {
            const MisalignedBlock kImage(TwoRecords(), uMisalignment);
            Vector kVector;
            ASSERT_TRUE(Load(kVector, kImage, bCopy)) << uMisalignment;
            ExpectTwoRecords(kVector);
            EXPECT_EQ(bCopy != 0 ? 2u : 0u, kVector.Capacity());
            EXPECT_TRUE(SameBytes(TwoRecords(), VectorImageOf(kVector)));
        }
    }
}

TEST(RecordVectorImage, PushBackOnAViewLeavesTheImageUnchangedAndTheVectorOwnsACopy)
{
    OpenVector kVector;
    {
        const MisalignedBlock kImage(TwoRecords(), 1);
        ASSERT_TRUE(Load(kVector, kImage, 0));
        EXPECT_EQ(kImage.Data() + 16, kVector.Array());
        EXPECT_TRUE(kVector.PushBack({7, 8, 9}));
        EXPECT_TRUE(SameBytes(TwoRecords(), kImage.Current()));
    }
    EXPECT_EQ(6u, kVector.Capacity());
    ASSERT_EQ(3u, kVector.Count());
    EXPECT_EQ((Record{1, 2, 3}), kVector[0]);
    EXPECT_EQ((Record{0x04030201, 5, 6}), kVector[1]);
    EXPECT_EQ((Record{7, 8, 9}), kVector[2]);
}

TEST(RecordVectorImage, ShrinkToFitOfAViewOwnsAnExactCopy)
{
    Vector kVector;
    {
        const MisalignedBlock kImage(TwoRecords(), 1);
        ASSERT_TRUE(Load(kVector, kImage, 0));
        EXPECT_TRUE(kVector.ShrinkToFit());
    }
    EXPECT_EQ(2u, kVector.Capacity());
    ExpectTwoRecords(kVector);
}

TEST(RecordVectorImage, CleanAndReleaseOfAViewDoNotTouchTheImage)
{
    const MisalignedBlock kImage(TwoRecords(), 1);
    Vector kVector;
    ASSERT_TRUE(Load(kVector, kImage, 0));
    EXPECT_TRUE(kVector.Clean());
    EXPECT_EQ(0u, kVector.Count());
    ASSERT_TRUE(Load(kVector, kImage, 0));
    EXPECT_TRUE(kVector.Release());
    EXPECT_TRUE(SameBytes(TwoRecords(), kImage.Current()));
}

TEST(RecordVectorImage, AByteSizeThatIsNotCountTimesRecordSizeIsRefusedAndTheVectorKeepsItsContents)
{
    for (const uint32_t uSize : {0u, 0x17u, 0x19u, 0xFFFFFFFFu})
    {
        Bytes vecImage = RecordVectorImage(2, Bytes(24, 9));
        WriteU32(vecImage, 12, uSize);
        const MisalignedBlock kImage(vecImage);
        for (const int bCopy : {0, 1})
        {
            Vector kVector;
            kVector.PushBack({1, 2, 3});
            kVector.PushBack({0x04030201, 5, 6});
            EXPECT_FALSE(Load(kVector, kImage, bCopy));
            ExpectTwoRecords(kVector);
        }
    }
}

TEST(RecordVectorImage, AByteSizeThatAgreesOnlyAfterA32BitOverflowIsRefused)
{
    // 0x15555556 records of 12 bytes are 0x100000008 bytes.
    Bytes vecImage = RecordVectorImage(0x15555556, Bytes(8, 9));
    const MisalignedBlock kImage(vecImage);
    Vector kVector;
    EXPECT_FALSE(kVector.SetAlloc(kImage.As<const VORecordVectorAlloc>(), 1));
    EXPECT_FALSE(kVector.SetAlloc(kImage.As<const VORecordVectorAlloc>(), 0));
    EXPECT_EQ(0u, kVector.Count());
}

TEST(RecordVectorImage, AWrongVersionOrAnEmptyPointerIsRefusedAndTheVectorKeepsItsContents)
{
    Vector kVector;
    kVector.PushBack({1, 2, 3});
    kVector.PushBack({0x04030201, 5, 6});
    EXPECT_FALSE(kVector.SetAlloc(nullptr, 1));
    EXPECT_FALSE(kVector.SetAlloc(nullptr, 0));
    for (size_t uByte = 0; uByte < 8; ++uByte)
    {
        Bytes vecImage = RecordVectorImage(0, {});
        vecImage[uByte] ^= 0x80;
        const MisalignedBlock kImage(vecImage);
        EXPECT_FALSE(Load(kVector, kImage, 1));
        EXPECT_FALSE(Load(kVector, kImage, 0));
        ExpectTwoRecords(kVector);
    }
}

TEST(RecordVectorImage, AnImageThatReachesBehindItsLimitIsRefused)
{
    const Bytes vecImage = TwoRecords();
    for (size_t uSize = 0; uSize + 4 < vecImage.size(); ++uSize)
    {
        const MisalignedBlock kCut(Bytes(vecImage.begin(), vecImage.begin() + static_cast<ptrdiff_t>(uSize)), 1);
        Vector kVector;
        EXPECT_FALSE(Load(kVector, kCut, 0)) << uSize;
        EXPECT_FALSE(Load(kVector, kCut, 1)) << uSize;
        EXPECT_EQ(0u, kVector.Count());
    }
}

TEST(RecordVector, CopiesOwnTheWholeCapacityOfTheirSource)
{
    OpenVector kSource;
    Fill(kSource, 3);
    Vector kConstructed(kSource);
    Vector kAssigned;
    Fill(kAssigned, 9);
    kAssigned = kSource;
    kSource.Set(0, {99, 99, 99});
    for (Vector* pkCopy : {&kConstructed, &kAssigned})
    {
        EXPECT_EQ(6u, pkCopy->Capacity());
        ASSERT_EQ(3u, pkCopy->Count());
        EXPECT_EQ((Record{0, 1, 2}), (*pkCopy)[0]);
    }
    kSource.Release();
    EXPECT_EQ((Record{2, 3, 4}), kConstructed[2]);
}

TEST(RecordVector, TheCopyOfAViewIsAViewOfTheSameImage)
{
    const MisalignedBlock kImage(TwoRecords(), 1);
    OpenVector kView;
    ASSERT_TRUE(Load(kView, kImage, 0));
    const OpenVector kCopy(kView);
    EXPECT_EQ(kImage.Data() + 16, kCopy.Array());
    EXPECT_EQ(0u, kCopy.Capacity());
    ExpectTwoRecords(kCopy);
}

TEST(RecordVector, AssignmentToItselfChangesNothing)
{
    Vector kVector;
    Fill(kVector, 3);
    Vector& rkSame = kVector;
    kVector = rkSame;
    ASSERT_EQ(3u, kVector.Count());
    EXPECT_EQ((Record{2, 3, 4}), kVector[2]);
}

TEST(RecordVector, ThousandsOfRandomOperationsAgreeWithASimpleModel)
{
    Random kRandom(25001);
    Vector kVector;
    std::vector<Record> vecModel;
    for (int i = 0; i < 20000; ++i)
    {
        switch (kRandom.Below(12))
        {
            case 0:
                kVector.ShrinkToFit();
                break;
            case 1:
                if (kRandom.Below(50) == 0)
                {
                    kVector.Clean();
                    vecModel.clear();
                }
                break;
            case 2:
            {
                const MisalignedBlock kImage(VectorImageOf(kVector), kRandom.Below(16));
                Vector kOther;
                ASSERT_TRUE(Load(kOther, kImage, kRandom.Percent(50) ? 1 : 0));
                kOther.PushBack({1, 1, 1});
                kOther.Resize(kOther.Count() - 1);
                kVector = kOther;
                break;
            }
            case 3:
                if (!vecModel.empty())
                {
                    const unsigned int uIndex = static_cast<unsigned int>(kRandom.Below(vecModel.size()));
                    ASSERT_TRUE(kVector.Remove(uIndex));
                    if (uIndex + 1 < vecModel.size())
                    {
                        vecModel[uIndex] = vecModel[uIndex + 1];
                    }
                    vecModel.pop_back();
                    break;
                }
                [[fallthrough]];
            default:
            {
                const Record kRecord = {kRandom.Word(), kRandom.Word(), kRandom.Word()};
                ASSERT_TRUE(kVector.PushBack(kRecord));
                vecModel.push_back(kRecord);
            }
        }
        ASSERT_EQ(vecModel.size(), kVector.Count());
        if (!vecModel.empty())
        {
            const size_t uIndex = kRandom.Below(vecModel.size());
            ASSERT_EQ(vecModel[uIndex], kVector[static_cast<unsigned int>(uIndex)]) << i;
        }
    }
    Bytes vecRecords;
    for (const Record& rkRecord : vecModel)
    {
        const Bytes vecRecord = ByteBuilder().U32(rkRecord.uFirst).U32(rkRecord.uSecond).U32(rkRecord.uThird).Result();
        vecRecords.insert(vecRecords.end(), vecRecord.begin(), vecRecord.end());
    }
    EXPECT_TRUE(SameBytes(RecordVectorImage(vecModel.size(), vecRecords), VectorImageOf(kVector)));
}
