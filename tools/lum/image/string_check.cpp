#include <algorithm>

#include "image/block_check.h"
#include "vo_string_hash.h"
#include "vo_string_hash_set.h"

namespace lum
{

namespace
{

constexpr uint64_t kFnvBasis = 0xCBF29CE484222325ull;
constexpr uint64_t kFnvPrime = 0x100000001B3ull;

// Offsets in a string record.
constexpr uint64_t kTextAt = 0;
constexpr uint64_t kStateAt = 8;
constexpr uint64_t kHash0At = 16;
constexpr uint64_t kHash1At = 20;

uint32_t HomeSlot(uint64_t ullKey, uint32_t uKeySize, uint32_t uSlots)
{
    uint64_t ullHash = kFnvBasis;
    for (uint32_t i = 0; i < uKeySize; ++i)
    {
        ullHash = (ullHash ^ ((ullKey >> (8 * i)) & 0xFF)) * kFnvPrime;
    }
    return static_cast<uint32_t>(ullHash) & (uSlots - 1);
}

// The text at an offset of the pool; false when the pool ends before the text does.
bool PoolText(ByteView texts, uint64_t ullAt, VOWString* pstrText)
{
    pstrText->clear();
    for (; texts.Has(ullAt, sizeof(VOWCHAR)); ullAt += sizeof(VOWCHAR))
    {
        const VOWCHAR ch = texts.Load<VOWCHAR>(ullAt);
        if (ch == 0)
        {
            return true;
        }
        pstrText->push_back(ch);
    }
    return false;
}

void CheckText(const ImageLayout& layout, const VOStringHash& hash, ByteView record, uint32_t uIndex,
               std::vector<bool>* pvecSeen, Findings* pFindings)
{
    const uint64_t ullText = record.Long(kTextAt);
    if (ullText >= layout.texts.Size())
    {
        pFindings->Add(record.Offset(kTextAt), "string {}: its text lies outside the pool", uIndex);
        return;
    }
    // Each text has one record. Records that share one could make the check as slow as the square of the image.
    if ((*pvecSeen)[ullText])
    {
        pFindings->Add(record.Offset(kTextAt), "string {}: its text is another string's", uIndex);
        return;
    }
    VOWString strText;
    if (!PoolText(layout.texts, ullText, &strText))
    {
        pFindings->Add(layout.texts.Offset(ullText), "string {}: its text has no end", uIndex);
        return;
    }
    for (uint64_t ullAt = ullText; ullAt <= ullText + strText.size() * sizeof(VOWCHAR); ++ullAt)
    {
        (*pvecSeen)[ullAt] = true;
    }
    if (hash.HashW(strText.c_str(), 0) != record.Word(kHash0At) ||
        hash.HashW(strText.c_str(), 1) != record.Word(kHash1At))
    {
        pFindings->Add(record.Offset(kHash0At), "string {}: its hashes aren't those of its text", uIndex);
    }
}

void CheckRecords(const ImageLayout& layout, ImageReport* pReport, Findings* pFindings)
{
    const VOStringHash hash;
    std::vector<bool> vecSeen(layout.texts.Size());
    for (uint32_t i = 0; i < layout.strings.uCount; ++i)
    {
        const ByteView record = layout.strings.At(i);
        const uint32_t uState = record.Word(kStateAt);
        if (uState == VOStringHashSet::kStateText)
        {
            ++pReport->uWithText;
            CheckText(layout, hash, record, i, &vecSeen, pFindings);
        }
        else if (uState == VOStringHashSet::kStateKeyOnly)
        {
            ++pReport->uKeysOnly;
        }
        else if (uState == VOStringHashSet::kStateRemoved)
        {
            ++pReport->uRemovedStrings;
        }
        else
        {
            pFindings->Add(record.Offset(kStateAt), "string {}: {} is no state", i, uState);
        }
    }
}

// Values of the two tables are records with the key as their first hash.
void CheckTargets(const ImageLayout& layout, const SlotTable& table, const char* pszName, Findings* pFindings)
{
    for (uint32_t i = 0; i < table.slots.uCount; ++i)
    {
        if (table.Used(i) == 0)
        {
            continue;
        }
        const uint64_t ullRecord = table.Value(i);
        if (ullRecord >= layout.strings.uCount)
        {
            pFindings->Add(table.slots.At(i).Offset(4), "{}, slot {}: there is no string {}", pszName, i, ullRecord);
        }
        else if (layout.strings.At(ullRecord).Word(kHash0At) != table.Key(i))
        {
            pFindings->Add(table.slots.At(i).Offset(), "{}, slot {}: the key isn't the hash of string {}", pszName, i,
                           ullRecord);
        }
    }
}

// A lookup walks from the home slot over used slots. Going round twice, uRun is the length of the run of used slots in
// front of the slot, as far as it matters.
void CheckProbes(const SlotTable& table, const char* pszName, TableReport* pReport, Findings* pFindings)
{
    const uint32_t uSlots = pReport->uSlots;
    uint32_t uRun = 0;
    for (uint64_t ullStep = 0; ullStep < 2ull * uSlots && pReport->uUsed != 0; ++ullStep)
    {
        const uint32_t uSlot = static_cast<uint32_t>(ullStep) & (uSlots - 1);
        if (table.Used(uSlot) == 0)
        {
            uRun = 0;
            continue;
        }
        const uint32_t uDistance = (uSlot - HomeSlot(table.Key(uSlot), table.uKeySize, uSlots)) & (uSlots - 1);
        if (ullStep >= uSlots && uDistance > uRun)
        {
            pFindings->Add(table.slots.At(uSlot).Offset(), "{}, slot {}: no lookup comes to its key", pszName, uSlot);
        }
        pReport->uLongestProbe = std::max(pReport->uLongestProbe, uDistance + 1);
        ++uRun;
    }
}

void CheckPool(const ImageLayout& layout, ImageReport* pReport, Findings* pFindings)
{
    pReport->uTexts = layout.textHandles.uCount;
    pReport->ullTextBytes = layout.texts.Size();
    for (uint32_t i = 0; i < layout.textHandles.uCount; ++i)
    {
        const ByteView handle = layout.textHandles.At(i);
        if (handle.Long(0) >= layout.texts.Size())
        {
            pFindings->Add(handle.Offset(), "text {} lies outside the pool", i);
        }
    }
}

}  // namespace

TableReport CheckTable(const SlotTable& table, const char* pszName, Findings* pFindings)
{
    TableReport report;
    report.uSlots = table.slots.uCount;
    const uint32_t uSlots = report.uSlots;
    if (uSlots == 0 || (uSlots & (uSlots - 1)) != 0)
    {
        pFindings->Add(table.slots.bytes.Offset(), "{}: {} slots are no power of two", pszName, uSlots);
        return report;
    }
    for (uint32_t i = 0; i < uSlots; ++i)
    {
        const uint32_t uUsed = table.Used(i);
        report.uUsed += uUsed != 0 ? 1 : 0;
        if (uUsed > 1)
        {
            pFindings->Add(table.slots.At(i).Offset(12), "{}, slot {}: {} is no flag", pszName, i, uUsed);
        }
    }
    if (table.uElements != report.uUsed)
    {
        pFindings->Add(table.slots.bytes.Offset(), "{}: {} used slots, and {} by its head", pszName, report.uUsed,
                       table.uElements);
    }
    CheckProbes(table, pszName, &report, pFindings);
    return report;
}

VOWString StringText(const ImageLayout& layout, uint64_t ullHandle)
{
    VOWString strText;
    if (ullHandle < layout.strings.uCount)
    {
        const ByteView record = layout.strings.At(ullHandle);
        if (record.Word(kStateAt) == VOStringHashSet::kStateText)
        {
            PoolText(layout.texts, record.Long(kTextAt), &strText);
        }
    }
    return strText;
}

std::string WrongTextHandle(const ImageLayout& layout, uint64_t ullHandle)
{
    if (ullHandle == kNoHandle)
    {
        return {};
    }
    if (ullHandle >= layout.strings.uCount)
    {
        return fmt::format("there is no string {}", ullHandle);
    }
    if (layout.strings.At(ullHandle).Word(kStateAt) != VOStringHashSet::kStateText)
    {
        return fmt::format("string {} has no text", ullHandle);
    }
    return {};
}

void CheckStrings(const ImageLayout& layout, ImageReport* pReport, Findings* pFindings)
{
    pReport->uStrings = layout.strings.uCount;
    CheckRecords(layout, pReport, pFindings);
    CheckPool(layout, pReport, pFindings);
    if (layout.stringBlock.Size() == 0)
    {
        return;
    }
    pReport->primary = CheckTable(layout.primary, "primary table", pFindings);
    pReport->conflict = CheckTable(layout.conflict, "conflict table", pFindings);
    CheckTargets(layout, layout.primary, "primary table", pFindings);
    CheckTargets(layout, layout.conflict, "conflict table", pFindings);
    for (const uint64_t ullHandle : {layout.ullRootPath, layout.ullRootName})
    {
        const std::string strWrong = WrongTextHandle(layout, ullHandle);
        if (!strWrong.empty())
        {
            pFindings->Add(ullHandle == layout.ullRootPath ? 32 : 40, "root: {}", strWrong);
        }
    }
}

}  // namespace lum
