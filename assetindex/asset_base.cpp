#include "assetindex/asset_base.h"

#include <algorithm>
#include <array>
#include <bit>

#include "containers/check_value.h"
#include "containers/handles.h"
#include "containers/vots_number_container.h"
#include "vots_asset_node_classify_manager.h"

namespace
{

constexpr uint64_t kElementSize[kVOBaseParts] = {120, 24, 1, 4, 1, sizeof(VOPathSlot)};
static_assert(kElementSize[0] == sizeof(structAssetNodeParam));
static_assert(kElementSize[1] == sizeof(VOStringHashSet::StringHashParam));

// A path table has twice as many slots as paths at first, and a new one is due when seven of eight are taken.
constexpr uint64_t kFewestSlots = 1024;

// Larger ones are slower to apply than a new base is to attach.
constexpr size_t kMostBatchSize = size_t{256} << 20;

uint64_t RoundUp(uint64_t ullSize, uint64_t ullTo)
{
    return (ullSize + ullTo - 1) / ullTo * ullTo;
}

// What a part grows by until a new base is due: an eighth, and never less than what some hundreds of files take.
uint64_t WithRoom(uint64_t ullSize)
{
    return RoundUp(ullSize + std::max<uint64_t>(ullSize / 8, 16 * kVOBaseAlignment), kVOBaseAlignment);
}

// How much of each part is in use.
std::array<uint64_t, kVOBaseParts> UsedOf(const VOBaseCounts& counts)
{
    const uint64_t arrCount[kVOBaseParts] = {counts.uNodes,   counts.uStrings,   counts.uTextBytes,
                                             counts.uNumbers, counts.uTypeBytes, counts.uSlotsTaken};
    std::array<uint64_t, kVOBaseParts> arrUsed{};
    for (size_t i = 0; i < kVOBaseParts; ++i)
    {
        arrUsed[i] = arrCount[i] * kElementSize[i];
    }
    return arrUsed;
}

// The patches of a batch, behind each other.
class PatchWriter
{
public:
    explicit PatchWriter(std::vector<unsigned char>& vecBatch) : m_vecBatch(vecBatch)
    {
        m_vecBatch.assign(sizeof(VOBatchHead), 0);
    }

    void Add(uint64_t ullOffset, const void* pvBytes, uint64_t ullSize)
    {
        if (ullSize != 0)
        {
            const VOPatchHead head = {ullOffset, ullSize};
            _Append(&head, sizeof(head));
            _Append(pvBytes, ullSize);
            m_vecBatch.resize(RoundUp(m_vecBatch.size(), 8));
            ++m_uPatches;
        }
    }

    // Elements of an array by their numbers, neighbours together; each number once, and those from uEnd on left out.
    void AddElements(uint64_t ullPart, const unsigned char* pbArray, uint64_t ullElement,
                     std::vector<unsigned int> vecAt, unsigned int uEnd)
    {
        std::sort(vecAt.begin(), vecAt.end());
        for (size_t i = 0; i < vecAt.size() && vecAt[i] < uEnd;)
        {
            const unsigned int uFirst = vecAt[i];
            unsigned int uBehind = uFirst;
            for (; i < vecAt.size() && vecAt[i] <= uBehind && vecAt[i] < uEnd; ++i)
            {
                uBehind = vecAt[i] + 1;
            }
            Add(ullPart + uFirst * ullElement, pbArray + uFirst * ullElement, (uBehind - uFirst) * ullElement);
        }
    }

    uint32_t Count() const { return m_uPatches; }

private:
    void _Append(const void* pvBytes, uint64_t ullSize)
    {
        const unsigned char* pbBytes = static_cast<const unsigned char*>(pvBytes);
        m_vecBatch.insert(m_vecBatch.end(), pbBytes, pbBytes + ullSize);
    }

    std::vector<unsigned char>& m_vecBatch;
    uint32_t m_uPatches = 0;
};

}  // namespace

bool VOAssetBase::Take(unsigned char* pbBase, size_t uSize)
{
    if (uSize < sizeof(VOBaseHead))
    {
        return false;
    }
    const VOBaseHead head = VOLoad<VOBaseHead>(pbBase);
    if (memcmp(head.szVersion, kVOBaseVersion, sizeof(head.szVersion)) != 0 || head.ullSize > uSize ||
        head.uCheck != VOCheckValue(&head, offsetof(VOBaseHead, uCheck)))
    {
        return false;
    }
    uint64_t ullEnd = kVOBaseAlignment;
    for (const auto& part : head.arrPart)
    {
        if (part.ullOffset < ullEnd || part.ullOffset % kVOBaseAlignment != 0 || part.ullOffset > head.ullSize ||
            part.ullRoom > head.ullSize - part.ullOffset)
        {
            return false;
        }
        ullEnd = part.ullOffset + part.ullRoom;
    }
    const uint64_t ullSlots = head.arrPart[static_cast<size_t>(VOBasePart::Slots)].ullRoom / sizeof(VOPathSlot);
    if (head.ullSize - ullEnd < kVOBaseAlignment || !std::has_single_bit(ullSlots) || ullSlots < 2 ||
        ullSlots > uint64_t{1} << VOPathTable::kMostBits)
    {
        return false;
    }
    VOAssetBase taken;
    taken.m_pbBase = pbBase;
    taken.m_head = head;
    taken.m_counts = head.counts;
    taken.m_uSlotBits = static_cast<unsigned int>(std::countr_zero(ullSlots));
    if (!taken.Fits(head.counts))
    {
        return false;
    }
    memset(pbBase + head.ullSize - kVOBaseAlignment, 0, kVOBaseAlignment);
    *this = taken;
    return true;
}

bool VOAssetBase::Fits(const VOBaseCounts& counts) const
{
    const std::array<uint64_t, kVOBaseParts> arrUsed = UsedOf(counts);
    for (size_t i = 0; i < kVOBaseParts; ++i)
    {
        if (arrUsed[i] > m_head.arrPart[i].ullRoom)
        {
            return false;
        }
    }
    return true;
}

// Inside one part: never the head, and never the zeros at the end.
bool VOAssetBase::_MayPatch(uint64_t ullOffset, uint64_t ullSize) const
{
    for (const auto& part : m_head.arrPart)
    {
        if (ullOffset >= part.ullOffset && ullOffset - part.ullOffset < part.ullRoom)
        {
            return ullSize <= part.ullRoom - (ullOffset - part.ullOffset);
        }
    }
    return false;
}

bool VOAssetBase::Apply(const unsigned char* pbBatch, size_t uSize)
{
    if (uSize < sizeof(VOBatchHead))
    {
        return false;
    }
    const VOBatchHead head = VOLoad<VOBatchHead>(pbBatch);
    if (!VOIsLogRecord(pbBatch, uSize) || head.record.uSize < sizeof(VOBatchHead) ||
        head.record.uKind != static_cast<uint32_t>(VOLogKind::Batch) || head.counts.ullState != m_counts.ullState + 1 ||
        !Fits(head.counts))
    {
        return false;
    }
    // Twice over the patches: to see whether all of them can be applied, and to apply them.
    for (const bool bApply : {false, true})
    {
        size_t uAt = sizeof(VOBatchHead);
        for (uint32_t uPatch = 0; uPatch < head.uPatches; ++uPatch)
        {
            if (head.record.uSize - uAt < sizeof(VOPatchHead))
            {
                return false;
            }
            const VOPatchHead patch = VOLoad<VOPatchHead>(pbBatch + uAt);
            uAt += sizeof(VOPatchHead);
            if (patch.ullSize > head.record.uSize - uAt || !_MayPatch(patch.ullOffset, patch.ullSize))
            {
                return false;
            }
            if (bApply)
            {
                memcpy(m_pbBase + patch.ullOffset, pbBatch + uAt, patch.ullSize);
            }
            uAt = std::min<size_t>(RoundUp(uAt + patch.ullSize, 8), head.record.uSize);
        }
    }
    m_counts = head.counts;
    return true;
}

bool VOAssetJournal::IsWhole() const
{
    return nodes.IsWhole() || strings.IsWhole() || numbers.IsWhole() || keys.IsWhole();
}

void VOAssetJournal::Clear()
{
    for (VOWriteJournal* const pJournal : {&nodes, &strings, &numbers, &keys})
    {
        pJournal->Clear();
    }
}

VOAssetBaseWriter::VOAssetBaseWriter(VOTSAssetNodeContainer& container) : m_container(container)
{
    m_container._SetJournal(&m_journal);
    m_journal.nodes.NoteWhole();
}

VOAssetBaseWriter::~VOAssetBaseWriter()
{
    if (!m_journal.bContainerGone)
    {
        m_container._SetJournal(nullptr);
    }
}

VOBaseCounts VOAssetBaseWriter::_CountsNow(uint64_t ullState) const
{
    const VOStringHashSet& set = *m_container.m_pkStringSet;
    VOBaseCounts counts = {};
    counts.ullState = ullState;
    counts.uNodes = m_container.m_vecAssetNode.Count();
    counts.uStrings = set.m_vecHashStringParam.Count();
    counts.uTextBytes = set.m_pkStringPool->UsedSize();
    counts.uNumbers = m_container.m_pkAssetIndexContainer->GetValueCount();
    counts.uTypeBytes = static_cast<uint32_t>(m_container.m_pkClassifyMgr->AllocSize());
    counts.uSlotsTaken = m_uSlotsTaken;
    counts.ullRootPath = reinterpret_cast<uintptr_t>(m_container.m_hStrRootPath);
    counts.ullRootName = reinterpret_cast<uintptr_t>(m_container.m_hStrRootName);
    return counts;
}

// Lays the parts out; false when the container can have no base.
bool VOAssetBaseWriter::_Lay(VOBaseHead& head) const
{
    const uint64_t ullTypes = m_container.m_pkClassifyMgr->AllocSize();
    const uint64_t ullKeys = m_container.m_mapStringHandle2ParamIndex.Count();
    const uint64_t ullSlots = std::bit_ceil(std::max<uint64_t>(ullKeys * 2, kFewestSlots));
    if (ullTypes > kVOMaxImageSize || ullSlots > uint64_t{1} << VOPathTable::kMostBits)
    {
        return false;
    }
    head = {};
    memcpy(head.szVersion, kVOBaseVersion, sizeof(head.szVersion));
    head.counts = _CountsNow(0);
    const std::array<uint64_t, kVOBaseParts> arrUsed = UsedOf(head.counts);
    uint64_t ullEnd = kVOBaseAlignment;
    for (size_t i = 0; i < kVOBaseParts; ++i)
    {
        const bool bSlots = i == static_cast<size_t>(VOBasePart::Slots);
        head.arrPart[i] = {ullEnd, bSlots ? ullSlots * sizeof(VOPathSlot) : WithRoom(arrUsed[i])};
        ullEnd += RoundUp(head.arrPart[i].ullRoom, kVOBaseAlignment);
    }
    head.ullSize = ullEnd + kVOBaseAlignment;
    return true;
}

size_t VOAssetBaseWriter::BaseSize() const
{
    VOBaseHead head;
    return m_container._MakeSurePathValueValid() && _Lay(head) ? head.ullSize : 0;
}

// The slot of a string's first hash, as the three tables of an image answer for it.
VOPathSlot VOAssetBaseWriter::_SlotFor(unsigned int uHash0) const
{
    const VOStringHashSet& set = *m_container.m_pkStringSet;
    const auto NodeOf = [this, &set](void* hString)
    {
        const bool bLive = set._IsRecord(hString) &&
                           (set.m_vecHashStringParam[NumberOf(hString)].dwState & VOStringHashSet::kStateRemoved) == 0;
        const unsigned int uNode = bLive ? m_container._FindAssetParamIndex_P(hString) : VOPathTable::kNone;
        return uNode != VOPathTable::kNone ? uNode + 1 : 0;
    };
    void* hFirst = INVALID_HANDLE_VALUE;
    void* hSecond = INVALID_HANDLE_VALUE;
    VOPathSlot slot = {uHash0, 0, VOPathTable::kGone, 0};
    if (set.m_mapHashString.Find(uHash0, hFirst) && set._IsRecord(hFirst))
    {
        const unsigned int uNode = NodeOf(hFirst);
        slot.uHash1 = set.m_vecHashStringParam[NumberOf(hFirst)].uHash1;
        slot.uNode = uNode != 0 ? uNode : VOPathTable::kGone;
        slot.uOther = set.m_mapHashConflict.Find(uHash0, hSecond) ? NodeOf(hSecond) : 0;
    }
    return slot;
}

// Writes the slot of a first hash, and gives its number; the table's size when it is full.
unsigned int VOAssetBaseWriter::_Enter(const VOPathTable& table, unsigned char* pbSlots, unsigned int uHash0)
{
    VOPathSlot slot = {};
    const unsigned int uSlot = table.SlotOf(uHash0, slot);
    if (uSlot < table.SlotCount())
    {
        m_uSlotsTaken += slot.uNode == 0;
        VOStore(pbSlots + uSlot * sizeof(VOPathSlot), _SlotFor(uHash0));
    }
    return uSlot;
}

void VOAssetBaseWriter::WriteBase(unsigned char* pbBase, uint64_t ullGeneration, uint64_t ullState)
{
    const VOStringHashSet& set = *m_container.m_pkStringSet;
    VOBaseHead head;
    _Lay(head);
    const auto PartAt = [&](VOBasePart ePart) { return pbBase + head.arrPart[static_cast<size_t>(ePart)].ullOffset; };
    const auto CopyPart = [&](VOBasePart ePart, const unsigned char* pbBytes)
    {
        const uint64_t ullSize = UsedOf(head.counts)[static_cast<size_t>(ePart)];
        if (ullSize != 0)
        {
            memcpy(PartAt(ePart), pbBytes, ullSize);
        }
    };
    CopyPart(VOBasePart::Nodes, m_container.m_vecAssetNode.Bytes(0));
    CopyPart(VOBasePart::Strings, set.m_vecHashStringParam.Bytes(0));
    CopyPart(VOBasePart::Texts, set.m_pkStringPool->m_kBufferContainer.m_pbBuffer);
    CopyPart(VOBasePart::Lists, m_container.m_pkAssetIndexContainer->Bytes());
    m_container.m_pkClassifyMgr->WriteAlloc(PartAt(VOBasePart::Types));

    const uint64_t ullSlots = head.arrPart[static_cast<size_t>(VOBasePart::Slots)].ullRoom / sizeof(VOPathSlot);
    const VOPathTable table(PartAt(VOBasePart::Slots), static_cast<unsigned int>(std::countr_zero(ullSlots)));
    m_uSlotsTaken = 0;
    for (const auto& [hKey, uNode] : m_container.m_mapStringHandle2ParamIndex.Sorted())
    {
        if (set._IsRecord(hKey))
        {
            _Enter(table, PartAt(VOBasePart::Slots), set.m_vecHashStringParam[NumberOf(hKey)].uHash0);
        }
    }
    head.ullGeneration = ullGeneration;
    head.counts = _CountsNow(ullState);
    head.uCheck = VOCheckValue(&head, offsetof(VOBaseHead, uCheck));
    VOStore(pbBase, head);
    m_journal.Clear();
}

bool VOAssetBaseWriter::MakeBatch(VOAssetBase& base, std::vector<unsigned char>& vecBatch)
{
    const VOStringHashSet& set = *m_container.m_pkStringSet;
    const VOBaseCounts before = base.Counts();
    if (m_journal.IsWhole() || !m_container._MakeSurePathValueValid())
    {
        return false;
    }

    // The slots first: each goes to the writer's base at once, so that two new ones don't take the same place.
    unsigned char* const pbSlots = base.PartAt(VOBasePart::Slots);
    std::vector<unsigned int> vecSlots;
    for (const unsigned int uKey : m_journal.keys.Written())
    {
        if (uKey < set.m_vecHashStringParam.Count())
        {
            const unsigned int uSlot = _Enter(base.PathTable(), pbSlots, set.m_vecHashStringParam[uKey].uHash0);
            if (uSlot >= base.PathTable().SlotCount())
            {
                return false;
            }
            vecSlots.push_back(uSlot);
        }
    }
    const VOBaseCounts counts = _CountsNow(before.ullState + 1);
    if (!base.Fits(counts) || counts.uSlotsTaken > base.PathTable().SlotCount() / 8 * 7)
    {
        return false;
    }

    PatchWriter writer(vecBatch);
    const auto Write = [&](VOBasePart ePart, const unsigned char* pbArray, const std::vector<unsigned int>& vecAt,
                           unsigned int uBefore, unsigned int uNow)
    {
        const uint64_t ullElement = kElementSize[static_cast<size_t>(ePart)];
        const uint64_t ullPart = static_cast<uint64_t>(base.PartAt(ePart) - base.PartAt(VOBasePart::Nodes)) +
                                 base.Head().arrPart[0].ullOffset;
        writer.AddElements(ullPart, pbArray, ullElement, vecAt, uBefore);
        writer.Add(ullPart + uBefore * ullElement, pbArray + uBefore * ullElement, (uNow - uBefore) * ullElement);
    };
    Write(VOBasePart::Nodes, m_container.m_vecAssetNode.Bytes(0), m_journal.nodes.Written(), before.uNodes,
          counts.uNodes);
    Write(VOBasePart::Strings, set.m_vecHashStringParam.Bytes(0), m_journal.strings.Written(), before.uStrings,
          counts.uStrings);
    Write(VOBasePart::Texts, set.m_pkStringPool->m_kBufferContainer.m_pbBuffer, {}, before.uTextBytes,
          counts.uTextBytes);
    Write(VOBasePart::Lists, m_container.m_pkAssetIndexContainer->Bytes(), m_journal.numbers.Written(), before.uNumbers,
          counts.uNumbers);
    Write(VOBasePart::Slots, pbSlots, vecSlots, base.PathTable().SlotCount(), base.PathTable().SlotCount());
    m_journal.Clear();
    if (writer.Count() == 0)
    {
        vecBatch.clear();
        return true;
    }
    if (vecBatch.size() > kMostBatchSize)
    {
        return false;
    }
    VOStore(vecBatch.data(), VOBatchHead{{}, counts, writer.Count(), 0});
    VOSealLogRecord(vecBatch, VOLogKind::Batch);
    return base.Apply(vecBatch.data(), vecBatch.size());
}

void VOTSAssetNodeContainer::_SetJournal(VOAssetJournal* pJournal)
{
    m_pJournal = pJournal;
    m_pkStringSet->m_pJournal = pJournal != nullptr ? &pJournal->strings : nullptr;
    m_pkAssetIndexContainer->SetJournal(pJournal != nullptr ? &pJournal->numbers : nullptr);
}

void VOTSAssetNodeContainer::_LeaveJournal()
{
    if (m_pJournal != nullptr)
    {
        m_pJournal->bContainerGone = true;
    }
}

void VOTSAssetNodeContainer::_NoteNode(unsigned int uAssetID)
{
    m_pJournal->nodes.Note(uAssetID);
}

void VOTSAssetNodeContainer::_NoteKey(void* hKey)
{
    if (m_pJournal != nullptr)
    {
        m_pJournal->keys.Note(NumberOf(hKey));
    }
}

void VOTSAssetNodeContainer::_NoteWhole()
{
    if (m_pJournal != nullptr)
    {
        m_pJournal->nodes.NoteWhole();
    }
}

int VOTSAssetNodeContainer::SetBase(const VOAssetBase& base)
{
    const VOBaseCounts& counts = base.Counts();
    const auto HandleFrom = [](uint64_t ullHandle)
    { return reinterpret_cast<void*>(static_cast<uintptr_t>(ullHandle)); };
    if (m_eAssetRole != LUMTrayService::AR_Customer)
    {
        return 0;
    }
    CleanUp();
    m_hStrRootPath = HandleFrom(counts.ullRootPath);
    m_hStrRootName = HandleFrom(counts.ullRootName);
    m_vecAssetNode.SetView(base.PartAt(VOBasePart::Nodes), counts.uNodes);
    m_pkStringSet->m_vecHashStringParam.SetView(base.PartAt(VOBasePart::Strings), counts.uStrings);
    m_pkStringSet->m_pkStringPool->m_kBufferContainer._Buffer().Take(base.PartAt(VOBasePart::Texts), counts.uTextBytes);
    m_pkAssetIndexContainer->SetView(base.PartAt(VOBasePart::Lists), counts.uNumbers);
    m_pathTable = base.PathTable();

    // A copy: its checks are made once, at this moment.
    auto* const pTypes =
        reinterpret_cast<VOTSAssetNodeClassifyManager::ContainerAlloc*>(base.PartAt(VOBasePart::Types));
    return m_pkClassifyMgr->SetAlloc(pTypes, 1, counts.uTypeBytes);
}
