// A base and its batches: the layout byte by byte, what they say after thousands of random changes, and damage of every
// kind.
#include "assetindex/asset_base.h"

#include <bit>

#include "assetindex/random_run.h"

namespace
{

using namespace assettest;

// A publisher with its base, and a reader that follows by batches alone.
class Follower
{
public:
    explicit Follower(VOTSAssetNodeContainer& container) : m_writer(container) { NewBase(); }

    // The reader has the container's state. Gives how it got there: by a batch, or else by a new base.
    bool Follow()
    {
        Bytes vecBatch;
        if (!m_writer.MakeBatch(m_base, vecBatch))
        {
            NewBase();
            return false;
        }
        if (!vecBatch.empty())
        {
            EXPECT_TRUE(m_readersBase.Apply(vecBatch.data(), vecBatch.size()));
        }
        EXPECT_TRUE(m_customer.SetBase(m_readersBase));
        return true;
    }

    VOTSAssetNodeContainer& Reader() { return m_customer; }
    bool HasThePublishersBytes() const { return SameBytes(m_pBase->Bytes(), m_pReader->Bytes()); }

private:
    struct Memory
    {
        explicit Memory(size_t uSize) : vec(uSize) {}
        const votest::Bytes& Bytes() const { return vec; }
        votest::Bytes vec;
    };

    void NewBase()
    {
        const size_t uSize = m_writer.BaseSize();
        ASSERT_NE(0u, uSize);
        m_pBase = std::make_unique<Memory>(uSize);
        m_writer.WriteBase(m_pBase->vec.data(), ++m_ullGeneration, m_base.Counts().ullState + 1);
        m_pReader = std::make_unique<Memory>(*m_pBase);
        ASSERT_TRUE(m_base.Take(m_pBase->vec.data(), uSize));
        ASSERT_TRUE(m_readersBase.Take(m_pReader->vec.data(), uSize));
        ASSERT_TRUE(m_customer.SetBase(m_readersBase));
    }

    VOAssetBaseWriter m_writer;
    VOAssetBase m_base;
    VOAssetBase m_readersBase;
    std::unique_ptr<Memory> m_pBase;
    std::unique_ptr<Memory> m_pReader;
    uint64_t m_ullGeneration = 0;
    VOTSAssetNodeContainer m_customer{LUMTrayService::AR_Customer};
};

Bytes NodeBytes(const ModelContainer& model)
{
    ByteBuilder builder;
    for (const ModelNode& node : model.vecNodes)
    {
        builder.Append(node.Record());
    }
    return builder.Result();
}

Bytes NumberBytes(const ModelContainer& model)
{
    ByteBuilder builder;
    for (const unsigned int uNumber : model.numbers.vecNumbers)
    {
        builder.U32(uNumber);
    }
    return builder.Result();
}

// The classify table's image is the last block of the container's, and its size stands in the head.
Bytes TypeBytes(ModelContainer& model)
{
    const Bytes image = model.Image();
    return Bytes(image.end() - 4 - ReadU32(image, 0x18), image.end() - 4);
}

// The slots, filled in ascending order of the keys' handles.
Bytes SlotBytes(const ModelContainer& model, size_t uSlots, uint32_t& uTaken)
{
    Bytes bytes(uSlots * 16);
    const auto idOf = [&model](const std::map<uint32_t, uint64_t>& map, uint32_t uHash0) -> uint32_t
    {
        const auto it = map.find(uHash0);
        const auto itIndex = it != map.end() ? model.mapIndex.find(it->second) : model.mapIndex.end();
        return itIndex != model.mapIndex.end() ? itIndex->second + 1 : 0;
    };
    for (const auto& [ullKey, uID] : model.mapIndex)
    {
        const uint32_t uHash0 = model.strings.vecRecords.at(ullKey).uHash0;
        size_t uAt = static_cast<uint32_t>(uHash0 * 0x9E3779B1u) / (0x100000000ull / uSlots);
        while (ReadU32(bytes, uAt * 16 + 8) != 0 && ReadU32(bytes, uAt * 16) != uHash0)
        {
            uAt = (uAt + 1) % uSlots;
        }
        uTaken += ReadU32(bytes, uAt * 16 + 8) == 0;
        const uint32_t uNode = idOf(model.strings.mapPrimary, uHash0);
        WriteU32(bytes, uAt * 16, uHash0);
        WriteU32(bytes, uAt * 16 + 4, model.strings.vecRecords.at(model.strings.mapPrimary.at(uHash0)).uHash1);
        WriteU32(bytes, uAt * 16 + 8, uNode != 0 ? uNode : 0xFFFFFFFFu);
        WriteU32(bytes, uAt * 16 + 12, idOf(model.strings.mapConflict, uHash0));
    }
    return bytes;
}

size_t RoundUp(size_t uSize, size_t uTo)
{
    return (uSize + uTo - 1) / uTo * uTo;
}

Bytes ReferenceBase(ModelContainer& model, uint64_t ullGeneration, uint64_t ullState)
{
    uint32_t uTaken = 0;
    const size_t uSlots = std::max<size_t>(1024, std::bit_ceil(model.mapIndex.size() * 2));
    const Bytes types = TypeBytes(model);
    const Bytes arrPart[] = {NodeBytes(model),
                             votest::StringRecordBytes(model.strings.vecRecords),
                             model.strings.pool.vecData,
                             NumberBytes(model),
                             types,
                             SlotBytes(model, uSlots, uTaken)};
    ByteBuilder rooms;
    ByteBuilder parts;
    size_t uEnd = 4096;
    for (size_t i = 0; i < 6; ++i)
    {
        const size_t uUsed = arrPart[i].size();
        const size_t uRoom = i == 5 ? uUsed : RoundUp(uUsed + std::max<size_t>(uUsed / 8, 65536), 4096);
        rooms.U64(uEnd).U64(uRoom);
        parts.Append(arrPart[i]).Zeros(RoundUp(uRoom, 4096) - uUsed);
        uEnd += RoundUp(uRoom, 4096);
    }
    ByteBuilder head;
    head.Narrow("base.1.0")
        .U64(ullGeneration)
        .U64(uEnd + 4096)
        .U64(ullState)
        .U32(static_cast<uint32_t>(model.vecNodes.size()))
        .U32(static_cast<uint32_t>(model.strings.vecRecords.size()))
        .U32(static_cast<uint32_t>(model.strings.pool.vecData.size()))
        .U32(static_cast<uint32_t>(model.numbers.vecNumbers.size()))
        .U32(static_cast<uint32_t>(types.size()))
        .U32(uTaken)
        .U64(model.ullRoot)
        .U64(model.ullRootName)
        .Append(rooms.Result());
    head.U32(votest::ReferenceCheck(head.Result(), 0, 168)).Zeros(4096 - 172).Append(parts.Result()).Zeros(4096);
    return head.Result();
}

TEST(AssetBase, HasTheseBytes)
{
    VOTSAssetNodeContainer container(LUMTrayService::AR_Provider, kpszRoot, VOTEXT("Name"));
    FillSample(container);
    ModelContainer model = SampleModel(kpszRoot, VOTEXT("Name"));
    model.Image();  // enters the root's texts

    VOAssetBaseWriter writer(container);
    Bytes base(writer.BaseSize());
    writer.WriteBase(base.data(), 0x1122334455667788, 0x99AABBCCDDEEFF00);
    EXPECT_TRUE(SameBytes(ReferenceBase(model, 0x1122334455667788, 0x99AABBCCDDEEFF00), base));
}

TEST(AssetBase, ABatchHasTheseBytes)
{
    VOTSAssetNodeContainer container(LUMTrayService::AR_Provider, kpszRoot, VOTEXT("Name"));
    FillSample(container);
    ModelContainer model = SampleModel(kpszRoot, VOTEXT("Name"));
    model.Image();
    VOAssetBaseWriter writer(container);
    Bytes memory(writer.BaseSize());
    writer.WriteBase(memory.data(), 1, 41);
    VOAssetBase base;
    ASSERT_TRUE(base.Take(memory.data(), memory.size()));
    const Bytes before = memory;

    // A node in place, two neighbours of the child lists of which one is a hole now, and a new node with its key.
    ASSERT_NE(0, container.SetAssetNodeAssetMergeSign(5, 0x77));
    ASSERT_NE(0, container.RemoveAssetNodeChildIndex(0, 6));
    structAssetNode tsNode;
    int bWasThere = 0;
    ASSERT_NE(0, container.RequestAssetNode(VOTEXT("New"), tsNode, bWasThere));
    model.vecNodes[5].uMerge = 0x77;
    ASSERT_TRUE(model.RemoveChild(0, 6));
    unsigned int uID = kNone;
    bool bModelHadIt = false;
    ASSERT_TRUE(model.Request(VOTEXT("New"), uID, bModelHadIt));

    Bytes batch;
    ASSERT_TRUE(writer.MakeBatch(base, batch));

    // Each patch by the place where the two states of the model differ.
    uint32_t uTaken = 0;
    const Bytes slots = SlotBytes(model, 1024, uTaken);
    const auto roomAt = [&before](size_t uPart) { return ReadU64(before, 72 + uPart * 16); };
    ByteBuilder patches;
    uint32_t uPatches = 0;
    const auto patch = [&](uint64_t ullOffset, const Bytes& bytes)
    {
        patches.U64(ullOffset).U64(bytes.size()).Append(bytes).Zeros(RoundUp(bytes.size(), 8) - bytes.size());
        ++uPatches;
    };
    patch(roomAt(0) + 5 * 120, model.vecNodes[5].Record());
    patch(roomAt(0) + 7 * 120, model.vecNodes[7].Record());
    patch(roomAt(1) + (model.strings.vecRecords.size() - 1) * 24,
          votest::StringRecordBytes({model.strings.vecRecords.back()}));
    const size_t uHole = static_cast<size_t>(
        std::mismatch(before.begin() + static_cast<ptrdiff_t>(roomAt(3)), before.end(), NumberBytes(model).begin())
            .first -
        before.begin() - static_cast<ptrdiff_t>(roomAt(3)));
    patch(roomAt(3) + uHole / 4 * 4, ByteBuilder().U32(0xFFFFFFFEu).Result());
    size_t uSlot = 0;
    while (ReadU32(slots, uSlot * 16 + 8) != uID + 1)
    {
        ++uSlot;
    }
    patch(roomAt(5) + uSlot * 16, Bytes(slots.begin() + static_cast<ptrdiff_t>(uSlot * 16),
                                        slots.begin() + static_cast<ptrdiff_t>(uSlot * 16 + 16)));
    ByteBuilder counts;
    counts.U32(1)
        .U32(0)
        .U64(42)
        .U32(8)
        .U32(static_cast<uint32_t>(model.strings.vecRecords.size()))
        .U32(static_cast<uint32_t>(model.strings.pool.vecData.size()))
        .U32(static_cast<uint32_t>(model.numbers.vecNumbers.size()))
        .U32(ReadU32(before, 48))
        .U32(uTaken)
        .U64(model.ullRoot)
        .U64(model.ullRootName)
        .U32(uPatches)
        .U32(0)
        .Append(patches.Result());
    const uint32_t uCheck = votest::ReferenceCheck(counts.Result(), 0, counts.Size());
    EXPECT_TRUE(SameBytes(
        ByteBuilder().U32(static_cast<uint32_t>(counts.Size() + 8)).U32(uCheck).Append(counts.Result()).Result(),
        batch));

    // The base that it was applied to is the next state's, but for the head, which is that of the first.
    Bytes next = ReferenceBase(model, 1, 42);
    std::copy(before.begin(), before.begin() + 176, next.begin());
    EXPECT_TRUE(SameBytes(next, memory));
}

// A small base with a batch for it, to be damaged.
struct BaseAndBatch
{
    BaseAndBatch()
    {
        VOTSAssetNodeContainer container(LUMTrayService::AR_Provider, kpszRoot, VOTEXT("Name"));
        FillSample(container);
        VOAssetBaseWriter writer(container);
        base.resize(writer.BaseSize());
        writer.WriteBase(base.data(), 1, 1);
        Bytes own = base;
        VOAssetBase ownBase;
        EXPECT_TRUE(ownBase.Take(own.data(), own.size()));
        AddLinked(container, VOTEXT("Dir/one more.txt"), false, 0);
        EXPECT_TRUE(writer.MakeBatch(ownBase, batch));
    }

    Bytes base;
    Bytes batch;
};

// A batch of one patch, for a base that holds as much afterwards; whoever writes it can say anything else.
struct HandMadeBatch
{
    uint32_t uKind = 1;
    uint64_t ullStep = 1;  // to its state, from that of the base
    uint32_t uMoreText = 0;
    uint32_t uPatches = 1;
    uint64_t ullOffset = kVOBaseAlignment;
    uint64_t ullSize = 1;
    uint64_t ullBytes = ullSize;  // that are there, behind the patch's head

    bool IsTaken(const Bytes& base) const
    {
        const Bytes content =
            ByteBuilder()
                .U32(uKind)
                .U32(0)
                .U64(ReadU64(base, 24) + ullStep)
                .Append(Bytes(base.begin() + 32, base.begin() + 40))
                .U32(ReadU32(base, 40) + uMoreText)
                .Append(Bytes(base.begin() + 44, base.begin() + 72))
                .U32(uPatches)
                .U32(0)
                .Append(
                    uPatches != 0
                        ? ByteBuilder().U64(ullOffset).U64(ullSize).Append(Bytes(RoundUp(ullBytes, 8), 0xFF)).Result()
                        : Bytes())
                .Result();
        const Bytes batch = ByteBuilder()
                                .U32(static_cast<uint32_t>(content.size() + 8))
                                .U32(votest::ReferenceCheck(content, 0, content.size()))
                                .Append(content)
                                .Result();
        const MisalignedBlock block(base);
        const MisalignedBlock batchBlock(batch);
        VOAssetBase taken;
        EXPECT_TRUE(taken.Take(block.Data(), block.Size()));
        const bool bTaken = taken.Apply(batchBlock.Data(), batchBlock.Size());
        EXPECT_TRUE(bTaken || SameBytes(base, Bytes(block.Data(), block.Data() + block.Size())));
        return bTaken;
    }
};

bool TakesPatch(const Bytes& base, uint64_t ullOffset, uint64_t ullSize)
{
    return HandMadeBatch{.ullOffset = ullOffset, .ullSize = ullSize}.IsTaken(base);
}

TEST(AssetBaseDamage, NoBatchIsTakenThatSaysWhatIsntSo)
{
    const Bytes base = BaseAndBatch().base;
    const uint32_t uRoom = static_cast<uint32_t>(ReadU64(base, 80 + 2 * 16)) - ReadU32(base, 40);
    EXPECT_TRUE(HandMadeBatch{}.IsTaken(base));
    EXPECT_TRUE(HandMadeBatch{.uPatches = 0}.IsTaken(base));
    EXPECT_TRUE(HandMadeBatch{.uMoreText = uRoom}.IsTaken(base));
    EXPECT_FALSE(HandMadeBatch{.uMoreText = uRoom + 1}.IsTaken(base));
    EXPECT_TRUE((HandMadeBatch{.ullSize = 8, .ullBytes = 8}).IsTaken(base));
    EXPECT_FALSE((HandMadeBatch{.ullSize = 9, .ullBytes = 8}).IsTaken(base));
    EXPECT_FALSE(HandMadeBatch{.uPatches = 2}.IsTaken(base));
    EXPECT_FALSE(HandMadeBatch{.ullStep = 0}.IsTaken(base));
    EXPECT_FALSE(HandMadeBatch{.ullStep = 2}.IsTaken(base));
    EXPECT_FALSE(HandMadeBatch{.uKind = 2}.IsTaken(base));
}

TEST(AssetBaseDamage, NoHeadIsTakenThatSaysWhatIsntSo)
{
    const Bytes base = BaseAndBatch().base;
    const auto Part = [](size_t uPart) { return 72 + uPart * 16; };
    const auto Takes = [&base](const std::map<size_t, uint64_t>& mapWrong)
    {
        Bytes wrong = base;
        for (const auto& [uAt, ullValue] : mapWrong)
        {
            memcpy(wrong.data() + uAt, &ullValue, sizeof(ullValue));
        }
        WriteU32(wrong, 168, votest::ReferenceCheck(wrong, 0, 168));
        const MisalignedBlock block(wrong);
        return VOAssetBase().Take(block.Data(), block.Size());
    };
    const auto Is = [&base](size_t uAt, int64_t nMore) {
        return std::map<size_t, uint64_t>{{uAt, ReadU64(base, uAt) + static_cast<uint64_t>(nMore)}};
    };
    const auto Both = [](std::map<size_t, uint64_t> first, const std::map<size_t, uint64_t>& second)
    {
        first.insert(second.begin(), second.end());
        return first;
    };
    constexpr uint64_t kSlotsTaken = 52;
    const uint64_t ullTypesAndNoSlot = ReadU64(base, kSlotsTaken - 4) & 0xFFFFFFFF;
    EXPECT_TRUE(Takes({}));
    EXPECT_FALSE(Takes(Is(16, 1))) << "larger than it is";
    EXPECT_FALSE(Takes(Is(16, -1))) << "no zeros at the end";
    EXPECT_TRUE(Takes(Is(Part(0) + 8, -4096)));
    EXPECT_FALSE(Takes(Both(Is(Part(0), 8), Is(Part(0) + 8, -4096)))) << "not aligned";
    EXPECT_TRUE(Takes(Both(Is(Part(0), 4096), Is(Part(0) + 8, -4096))));
    EXPECT_FALSE(Takes(Is(Part(0) + 8, 1))) << "into the next part";
    EXPECT_FALSE(Takes(Is(Part(0), -4096))) << "over the head";
    EXPECT_FALSE(Takes({{Part(5), uint64_t{1} << 40}})) << "behind the base";
    EXPECT_FALSE(Takes({{Part(5) + 8, ~uint64_t{15}}})) << "beyond the base";
    EXPECT_FALSE(Takes(Is(Part(5) + 8, -16))) << "slots that are no power of two";
    EXPECT_TRUE(Takes({{Part(5) + 8, 2 * 16}, {kSlotsTaken - 4, ullTypesAndNoSlot}}));
    EXPECT_FALSE(Takes({{Part(5) + 8, 1 * 16}, {kSlotsTaken - 4, ullTypesAndNoSlot}})) << "one slot";
    EXPECT_FALSE(Takes({{Part(0) + 8, ReadU32(base, 32) * 120 - 1}})) << "more nodes than room";
    EXPECT_TRUE(Takes({{Part(0) + 8, ReadU32(base, 32) * 120}}));
}

TEST(AssetBase, EndsInZerosWhateverStandsThere)
{
    Bytes base = BaseAndBatch().base;
    const Bytes sound = base;
    std::fill(base.end() - 4096, base.end(), 0xFF);
    ASSERT_TRUE(VOAssetBase().Take(base.data(), base.size()));
    EXPECT_TRUE(SameBytes(sound, base));
}

TEST(AssetBase, ANewOneIsDueWhenMoreThanSevenOfEightSlotsAreTaken)
{
    VOTSAssetNodeContainer container(LUMTrayService::AR_Provider, kpszRoot, VOTEXT("Name"));
    unsigned int uNodes = 0;
    const auto AddOne = [&] { AddLinked(container, Wide(std::to_string(uNodes++)).c_str(), false, kNone); };
    while (uNodes < 500)
    {
        AddOne();
    }
    VOAssetBaseWriter writer(container);
    Bytes memory(writer.BaseSize());
    writer.WriteBase(memory.data(), 1, 1);
    VOAssetBase base;
    ASSERT_TRUE(base.Take(memory.data(), memory.size()));
    ASSERT_EQ(1024u, base.PathTable().SlotCount());
    Bytes batch;
    while (base.Counts().uSlotsTaken < 1024 / 8 * 7)
    {
        AddOne();
        ASSERT_TRUE(writer.MakeBatch(base, batch));
    }
    AddOne();
    EXPECT_FALSE(writer.MakeBatch(base, batch));
}

TEST(AssetBase, APatchReachesFromTheFirstByteOfAPartToItsLastAndNoFurther)
{
    const BaseAndBatch sample;
    for (size_t uPart = 0; uPart < kVOBaseParts; ++uPart)
    {
        const uint64_t ullFirst = ReadU64(sample.base, 72 + uPart * 16);
        const uint64_t ullRoom = ReadU64(sample.base, 80 + uPart * 16);
        EXPECT_TRUE(TakesPatch(sample.base, ullFirst, 1)) << uPart;
        EXPECT_TRUE(TakesPatch(sample.base, ullFirst, ullRoom)) << uPart;
        EXPECT_TRUE(TakesPatch(sample.base, ullFirst + ullRoom - 1, 1)) << uPart;
        EXPECT_FALSE(TakesPatch(sample.base, ullFirst, ullRoom + 1)) << uPart;
        EXPECT_FALSE(TakesPatch(sample.base, ullFirst + ullRoom - 1, 2)) << uPart;
        EXPECT_FALSE(TakesPatch(sample.base, ullFirst - 1, 2)) << uPart;
    }
    EXPECT_FALSE(TakesPatch(sample.base, kVOBaseAlignment - 1, 1)) << "the head";
    EXPECT_FALSE(TakesPatch(sample.base, sample.base.size() - kVOBaseAlignment, 1)) << "the zeros at the end";
}

void AskAll(const VOAssetBase& base)
{
    VOTSAssetNodeContainer customer(LUMTrayService::AR_Customer);
    if (customer.SetBase(base))
    {
        AskEverything(customer);
    }
}

TEST(AssetBaseDamage, NoHeadWithACutOrAFlippedBitIsTaken)
{
    const BaseAndBatch sample;
    for (size_t uSize = 0; uSize < sample.base.size(); uSize += uSize < 256 ? 1 : 4095)
    {
        const MisalignedBlock block(Bytes(sample.base.begin(), sample.base.begin() + static_cast<ptrdiff_t>(uSize)));
        EXPECT_FALSE(VOAssetBase().Take(block.Data(), block.Size())) << uSize;
    }
    for (size_t uBit = 0; uBit < 172 * 8; ++uBit)
    {
        Bytes damaged = sample.base;
        damaged[uBit / 8] ^= static_cast<unsigned char>(1u << (uBit % 8));
        EXPECT_FALSE(VOAssetBase().Take(damaged.data(), damaged.size())) << uBit;
    }
}

TEST(AssetBaseDamage, NoBatchWithACutOrAFlippedBitIsApplied)
{
    const BaseAndBatch sample;
    Bytes memory = sample.base;
    VOAssetBase base;
    ASSERT_TRUE(base.Take(memory.data(), memory.size()));
    for (size_t uSize = 0; uSize < sample.batch.size(); ++uSize)
    {
        const MisalignedBlock block(Bytes(sample.batch.begin(), sample.batch.begin() + static_cast<ptrdiff_t>(uSize)));
        EXPECT_FALSE(base.Apply(block.Data(), block.Size())) << uSize;
    }
    for (size_t uBit = 0; uBit < sample.batch.size() * 8; ++uBit)
    {
        Bytes damaged = sample.batch;
        damaged[uBit / 8] ^= static_cast<unsigned char>(1u << (uBit % 8));
        EXPECT_FALSE(base.Apply(damaged.data(), damaged.size())) << uBit;
    }
    EXPECT_TRUE(SameBytes(sample.base, memory));
    EXPECT_TRUE(base.Apply(sample.batch.data(), sample.batch.size()));
    EXPECT_FALSE(base.Apply(sample.batch.data(), sample.batch.size())) << "the state of this batch is there already";
}

// Whoever writes hostile bytes can make their check value right as well.
TEST(AssetBaseDamage, WhatIsHostileIsRefusedOrCantReachOutsideTheBase)
{
    const BaseAndBatch sample;
    Random random(7);
    QuietLoop quiet;
    size_t uTaken = 0;
    size_t uApplied = 0;
    for (int nRun = 0; nRun < 3000; ++nRun)
    {
        quiet.Next();
        Bytes base = sample.base;
        Bytes batch = sample.batch;
        for (size_t i = random.Below(4); i > 0; --i)
        {
            WriteU32(base, random.Below(42) * 4,
                     random.Percent(50) ? random.Word() : random.Word() >> random.Below(32));
        }
        for (size_t i = random.Below(40); i > 0; --i)
        {
            WriteU32(base, 4096 + random.Below(base.size() / 4 - 1024) * 4, random.Word() >> random.Below(32));
        }
        for (size_t i = random.Below(4); i > 0; --i)
        {
            WriteU32(batch, 16 + random.Below(batch.size() / 4 - 4) * 4, random.Word() >> random.Below(32));
        }
        WriteU32(base, 168, votest::ReferenceCheck(base, 0, 168));
        WriteU32(batch, 4, votest::ReferenceCheck(batch, 8, batch.size()));
        const MisalignedBlock block(base);
        const MisalignedBlock batchBlock(batch);
        VOAssetBase taken;
        if (taken.Take(block.Data(), block.Size()))
        {
            ++uTaken;
            AskAll(taken);
            if (taken.Apply(batchBlock.Data(), batchBlock.Size()))
            {
                ++uApplied;
                AskAll(taken);
            }
        }
    }
    EXPECT_GT(uTaken, 300u);
    EXPECT_GT(uApplied, 100u);
}

class RandomBatches : public testing::TestWithParam<int>
{
};

TEST_P(RandomBatches, APatchedReaderSaysWhatTheModelSays)
{
    QuietLoop quiet;
    RandomRun run(static_cast<uint64_t>(GetParam()) + 1000);
    run.RoundTrip();  // the root's texts are entered with the first image, or base
    Follower follower(run.Container());
    int nByBatch = 0;
    for (int nStep = 1; nStep <= 3000; ++nStep)
    {
        quiet.Next();
        run.Step();
        ASSERT_FALSE(HasFatalFailure()) << "step " << nStep;
        if (nStep % 3 == 0)
        {
            nByBatch += follower.Follow();
            run.ExpectFinds(follower.Reader(), 3);
        }
        if (nStep % 60 == 0)
        {
            ExpectSame(follower.Reader(), run.Model());
            ASSERT_TRUE(follower.HasThePublishersBytes());
            ASSERT_TRUE(SameBytes(ImageOf(run.Container()), ImageOf(follower.Reader())));
        }
        ASSERT_FALSE(HasFailure()) << "after step " << nStep;
    }
    EXPECT_GT(nByBatch, 900);
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomBatches, testing::Range(1, 11));

}  // namespace
