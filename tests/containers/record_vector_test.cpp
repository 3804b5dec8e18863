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
Bytes VectorImageOf(const V& vector)
{
    unsigned char* pbAlloc = reinterpret_cast<unsigned char*>(vector.GetAlloc());
    return TakeBytes(pbAlloc, pbAlloc == nullptr ? 0 : ReadU32(CopyBytes(pbAlloc, 16), 12) + 20);
}

template <typename V>
bool Load(V& vector, const MisalignedBlock& image, int bCopy)
{
    return vector.SetAlloc(image.As<const VORecordVectorAlloc>(), bCopy, image.Size());
}

void ExpectTwoRecords(const Vector& vector)
{
    ASSERT_EQ(2u, vector.Count());
    EXPECT_EQ((Record{1, 2, 3}), vector[0]);
    EXPECT_EQ((Record{0x04030201, 5, 6}), vector[1]);
}

void Fill(Vector& vector, unsigned int uCount)
{
    for (unsigned int i = 0; i < uCount; ++i)
    {
        vector.PushBack({i, i + 1, i + 2});
    }
}
}  // namespace

TEST(RecordVector, PushBackOnAnEmptyVectorGivesTheCapacities2And6And14)
{
    Vector vector;
    std::vector<unsigned int> vecCapacity;
    for (unsigned int i = 0; i < 8; ++i)
    {
        EXPECT_TRUE(vector.PushBack({i, 0, 0}));
        vecCapacity.push_back(vector.Capacity());
    }
    EXPECT_EQ((std::vector<unsigned int>{2, 2, 6, 6, 6, 6, 14, 14}), vecCapacity);
    EXPECT_EQ(8u, vector.Count());
    for (unsigned int i = 0; i < 8; ++i)
    {
        EXPECT_EQ((Record{i, 0, 0}), vector[i]);
    }
}

TEST(RecordVector, ReserveOfZeroZeroesTheRecordsAndKeepsTheMemory)
{
    OpenVector vector;
    Fill(vector, 3);
    const unsigned char* pbArray = vector.Array();
    EXPECT_TRUE(vector.Reserve(0));
    EXPECT_EQ(0u, vector.Count());
    EXPECT_EQ(6u, vector.Capacity());
    EXPECT_EQ(pbArray, vector.Array());
    EXPECT_TRUE(SameBytes(Bytes(6 * 12, 0), vector.AllBytes()));
}

TEST(RecordVector, ReserveOfTheCurrentCapacityDoesNothing)
{
    OpenVector vector;
    Fill(vector, 3);
    const unsigned char* pbArray = vector.Array();
    EXPECT_TRUE(vector.Reserve(6));
    EXPECT_EQ(pbArray, vector.Array());
    EXPECT_EQ(3u, vector.Count());
}

TEST(RecordVector, ReserveMakesNewRecordsAllZeroWhateverTheirConstructorWouldDo)
{
    OpenVector vector;
    Fill(vector, 1);
    EXPECT_TRUE(vector.Reserve(4));
    Bytes vecExpected = {0, 0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0};
    vecExpected.resize(48);
    EXPECT_TRUE(SameBytes(vecExpected, vector.AllBytes()));
    EXPECT_EQ(1u, vector.Count());
}

TEST(RecordVector, ReserveBelowTheCountCutsIt)
{
    Vector vector;
    Fill(vector, 5);
    EXPECT_TRUE(vector.Reserve(2));
    EXPECT_EQ(2u, vector.Capacity());
    ASSERT_EQ(2u, vector.Count());
    EXPECT_EQ((Record{1, 2, 3}), vector[1]);
}

TEST(RecordVector, ResizeGivesZeroedRecordsUpToTheNewCount)
{
    Vector vector;
    Fill(vector, 1);
    EXPECT_TRUE(vector.Resize(3));
    EXPECT_EQ(3u, vector.Capacity());
    ASSERT_EQ(3u, vector.Count());
    EXPECT_EQ((Record{0, 1, 2}), vector[0]);
    EXPECT_EQ((Record{0, 0, 0}), vector[2]);
}

TEST(RecordVector, ShrinkToFitCutsTheCapacityToTheCount)
{
    Vector vector;
    Fill(vector, 3);
    EXPECT_TRUE(vector.ShrinkToFit());
    EXPECT_EQ(3u, vector.Capacity());
    EXPECT_EQ((Record{2, 3, 4}), vector[2]);
}

TEST(RecordVector, ShrinkToFitWithoutRecordsKeepsTheMemory)
{
    Vector vector;
    Fill(vector, 3);
    EXPECT_TRUE(vector.Clean());
    EXPECT_TRUE(vector.ShrinkToFit());
    EXPECT_EQ(6u, vector.Capacity());
}

TEST(RecordVector, CleanZeroesUpToTheCapacity)
{
    OpenVector vector;
    Fill(vector, 3);
    EXPECT_TRUE(vector.Clean());
    EXPECT_EQ(0u, vector.Count());
    EXPECT_TRUE(SameBytes(Bytes(6 * 12, 0), vector.AllBytes()));
}

TEST(RecordVector, ReleaseSetsPointerCapacityAndCountToZero)
{
    OpenVector vector;
    Fill(vector, 3);
    EXPECT_TRUE(vector.Release());
    EXPECT_EQ(nullptr, vector.Array());
    EXPECT_EQ(0u, vector.Capacity());
    EXPECT_EQ(0u, vector.Count());
    EXPECT_TRUE(vector.Release());
}

TEST(RecordVector, RemoveCopiesTheOneRecordBehindOntoTheRemovedOne)
{
    Vector vector;
    Fill(vector, 5);
    EXPECT_TRUE(vector.Remove(1));
    ASSERT_EQ(4u, vector.Count());
    EXPECT_EQ((Record{0, 1, 2}), vector[0]);
    EXPECT_EQ((Record{2, 3, 4}), vector[1]);
    EXPECT_EQ((Record{2, 3, 4}), vector[2]);
    EXPECT_EQ((Record{3, 4, 5}), vector[3]);
}

TEST(RecordVector, RemoveOfTheLastRecordResetsItToItsDefault)
{
    OpenVector vector;
    Fill(vector, 2);
    EXPECT_TRUE(vector.Remove(1));
    EXPECT_EQ(1u, vector.Count());
    const Bytes vecDefault = FromHex("d1 00 00 00 d2 00 00 00 d3 00 00 00");
    EXPECT_TRUE(SameBytes(vecDefault, CopyBytes(vector.Array() + 12, 12)));
}

TEST(RecordVector, RemoveAtOrBehindTheCountIsFalse)
{
    Vector vector;
    EXPECT_FALSE(vector.Remove(0));
    Fill(vector, 2);
    EXPECT_FALSE(vector.Remove(2));
    EXPECT_FALSE(vector.Remove(0xFFFFFFFFu));
    EXPECT_EQ(2u, vector.Count());
}

TEST(RecordVector, TheRecordSizesOfThePublishedVectorsAreKnownFromTheBytes)
{
    VORecordVector<void*> handles;
    handles.PushBack(nullptr);
    EXPECT_EQ(28u, VectorImageOf(handles).size());
    Vector vector;
    Fill(vector, 3);
    EXPECT_EQ(56u, VectorImageOf(vector).size());
}

TEST(RecordVectorImage, ItsBytesAreExactlyTheFormats)
{
    Vector vector;
    vector.PushBack({1, 2, 3});
    vector.PushBack({0x04030201, 5, 6});
    EXPECT_TRUE(SameBytes(TwoRecords(), VectorImageOf(vector)));
    EXPECT_EQ(TwoRecords().size(), vector.AllocSize());
}

TEST(RecordVectorImage, OfNoRecordsIs20Bytes)
{
    const Vector vector;
    EXPECT_TRUE(SameBytes(RecordVectorImage(0, {}), VectorImageOf(vector)));
    for (const int bCopy : {0, 1})
    {
        Vector target;
        Fill(target, 1);
        const MisalignedBlock image(RecordVectorImage(0, {}), 1);
        EXPECT_TRUE(Load(target, image, bCopy));
        EXPECT_EQ(0u, target.Count());
    }
}

TEST(RecordVectorImage, IsTakenAtEveryMisalignmentAsACopyAndAsAView)
{
    for (size_t uMisalignment = 0; uMisalignment < 16; ++uMisalignment)
    {
        for (const int bCopy : {0, 1})
        {
            const MisalignedBlock image(TwoRecords(), uMisalignment);
            Vector vector;
            ASSERT_TRUE(Load(vector, image, bCopy)) << uMisalignment;
            ExpectTwoRecords(vector);
            EXPECT_EQ(bCopy != 0 ? 2u : 0u, vector.Capacity());
            EXPECT_TRUE(SameBytes(TwoRecords(), VectorImageOf(vector)));
        }
    }
}

TEST(RecordVectorImage, PushBackOnAViewLeavesTheImageUnchangedAndTheVectorOwnsACopy)
{
    OpenVector vector;
    {
        const MisalignedBlock image(TwoRecords(), 1);
        ASSERT_TRUE(Load(vector, image, 0));
        EXPECT_EQ(image.Data() + 16, vector.Array());
        EXPECT_TRUE(vector.PushBack({7, 8, 9}));
        EXPECT_TRUE(SameBytes(TwoRecords(), image.Current()));
    }
    EXPECT_EQ(6u, vector.Capacity());
    ASSERT_EQ(3u, vector.Count());
    EXPECT_EQ((Record{1, 2, 3}), vector[0]);
    EXPECT_EQ((Record{0x04030201, 5, 6}), vector[1]);
    EXPECT_EQ((Record{7, 8, 9}), vector[2]);
}

TEST(RecordVectorImage, ShrinkToFitOfAViewOwnsAnExactCopy)
{
    Vector vector;
    {
        const MisalignedBlock image(TwoRecords(), 1);
        ASSERT_TRUE(Load(vector, image, 0));
        EXPECT_TRUE(vector.ShrinkToFit());
    }
    EXPECT_EQ(2u, vector.Capacity());
    ExpectTwoRecords(vector);
}

TEST(RecordVectorImage, CleanAndReleaseOfAViewDoNotTouchTheImage)
{
    const MisalignedBlock image(TwoRecords(), 1);
    Vector vector;
    ASSERT_TRUE(Load(vector, image, 0));
    EXPECT_TRUE(vector.Clean());
    EXPECT_EQ(0u, vector.Count());
    ASSERT_TRUE(Load(vector, image, 0));
    EXPECT_TRUE(vector.Release());
    EXPECT_TRUE(SameBytes(TwoRecords(), image.Current()));
}

TEST(RecordVectorImage, AByteSizeThatIsNotCountTimesRecordSizeIsRefusedAndTheVectorKeepsItsContents)
{
    for (const uint32_t uSize : {0u, 0x17u, 0x19u, 0xFFFFFFFFu})
    {
        Bytes vecImage = RecordVectorImage(2, Bytes(24, 9));
        WriteU32(vecImage, 12, uSize);
        const MisalignedBlock image(vecImage);
        for (const int bCopy : {0, 1})
        {
            Vector vector;
            vector.PushBack({1, 2, 3});
            vector.PushBack({0x04030201, 5, 6});
            EXPECT_FALSE(Load(vector, image, bCopy));
            ExpectTwoRecords(vector);
        }
    }
}

TEST(RecordVectorImage, AByteSizeThatAgreesOnlyAfterA32BitOverflowIsRefused)
{
    // 0x15555556 records of 12 bytes are 0x100000008 bytes.
    Bytes vecImage = RecordVectorImage(0x15555556, Bytes(8, 9));
    const MisalignedBlock image(vecImage);
    Vector vector;
    EXPECT_FALSE(vector.SetAlloc(image.As<const VORecordVectorAlloc>(), 1));
    EXPECT_FALSE(vector.SetAlloc(image.As<const VORecordVectorAlloc>(), 0));
    EXPECT_EQ(0u, vector.Count());
}

TEST(RecordVectorImage, AWrongVersionOrAnEmptyPointerIsRefusedAndTheVectorKeepsItsContents)
{
    Vector vector;
    vector.PushBack({1, 2, 3});
    vector.PushBack({0x04030201, 5, 6});
    EXPECT_FALSE(vector.SetAlloc(nullptr, 1));
    EXPECT_FALSE(vector.SetAlloc(nullptr, 0));
    for (size_t uByte = 0; uByte < 8; ++uByte)
    {
        Bytes vecImage = RecordVectorImage(0, {});
        vecImage[uByte] ^= 0x80;
        const MisalignedBlock image(vecImage);
        EXPECT_FALSE(Load(vector, image, 1));
        EXPECT_FALSE(Load(vector, image, 0));
        ExpectTwoRecords(vector);
    }
}

TEST(RecordVectorImage, AnImageThatReachesBehindItsLimitIsRefused)
{
    const Bytes vecImage = TwoRecords();
    for (size_t uSize = 0; uSize + 4 < vecImage.size(); ++uSize)
    {
        const MisalignedBlock cut(Bytes(vecImage.begin(), vecImage.begin() + static_cast<ptrdiff_t>(uSize)), 1);
        Vector vector;
        EXPECT_FALSE(Load(vector, cut, 0)) << uSize;
        EXPECT_FALSE(Load(vector, cut, 1)) << uSize;
        EXPECT_EQ(0u, vector.Count());
    }
}

TEST(RecordVector, CopiesOwnTheWholeCapacityOfTheirSource)
{
    OpenVector source;
    Fill(source, 3);
    Vector constructed(source);
    Vector assigned;
    Fill(assigned, 9);
    assigned = source;
    source.Set(0, {99, 99, 99});
    for (Vector* pCopy : {&constructed, &assigned})
    {
        EXPECT_EQ(6u, pCopy->Capacity());
        ASSERT_EQ(3u, pCopy->Count());
        EXPECT_EQ((Record{0, 1, 2}), (*pCopy)[0]);
    }
    source.Release();
    EXPECT_EQ((Record{2, 3, 4}), constructed[2]);
}

TEST(RecordVector, TheCopyOfAViewIsAViewOfTheSameImage)
{
    const MisalignedBlock image(TwoRecords(), 1);
    OpenVector view;
    ASSERT_TRUE(Load(view, image, 0));
    const OpenVector copy(view);
    EXPECT_EQ(image.Data() + 16, copy.Array());
    EXPECT_EQ(0u, copy.Capacity());
    ExpectTwoRecords(copy);
}

TEST(RecordVector, AssignmentToItselfChangesNothing)
{
    Vector vector;
    Fill(vector, 3);
    Vector& same = vector;
    vector = same;
    ASSERT_EQ(3u, vector.Count());
    EXPECT_EQ((Record{2, 3, 4}), vector[2]);
}

TEST(RecordVector, ThousandsOfRandomOperationsAgreeWithASimpleModel)
{
    Random random(25001);
    Vector vector;
    std::vector<Record> vecModel;
    for (int i = 0; i < 20000; ++i)
    {
        switch (random.Below(12))
        {
            case 0:
                vector.ShrinkToFit();
                break;
            case 1:
                if (random.Below(50) == 0)
                {
                    vector.Clean();
                    vecModel.clear();
                }
                break;
            case 2:
            {
                const MisalignedBlock image(VectorImageOf(vector), random.Below(16));
                Vector other;
                ASSERT_TRUE(Load(other, image, random.Percent(50) ? 1 : 0));
                other.PushBack({1, 1, 1});
                other.Resize(other.Count() - 1);
                vector = other;
                break;
            }
            case 3:
                if (!vecModel.empty())
                {
                    const unsigned int uIndex = static_cast<unsigned int>(random.Below(vecModel.size()));
                    ASSERT_TRUE(vector.Remove(uIndex));
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
                const Record record = {random.Word(), random.Word(), random.Word()};
                ASSERT_TRUE(vector.PushBack(record));
                vecModel.push_back(record);
            }
        }
        ASSERT_EQ(vecModel.size(), vector.Count());
        if (!vecModel.empty())
        {
            const size_t uIndex = random.Below(vecModel.size());
            ASSERT_EQ(vecModel[uIndex], vector[static_cast<unsigned int>(uIndex)]) << i;
        }
    }
    Bytes vecRecords;
    for (const Record& record : vecModel)
    {
        const Bytes vecRecord = ByteBuilder().U32(record.uFirst).U32(record.uSecond).U32(record.uThird).Result();
        vecRecords.insert(vecRecords.end(), vecRecord.begin(), vecRecord.end());
    }
    EXPECT_TRUE(SameBytes(RecordVectorImage(vecModel.size(), vecRecords), VectorImageOf(vector)));
}
