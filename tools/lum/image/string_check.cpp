#include "image/string_check.h"

#include <fmt/format.h>

#include <algorithm>

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
bool PoolText(ByteView kTexts, uint64_t ullAt, VOWString* pstrText)
{
    pstrText->clear();
    for (; kTexts.Has(ullAt, sizeof(VOWCHAR)); ullAt += sizeof(VOWCHAR))
    {
        const VOWCHAR ch = kTexts.Load<VOWCHAR>(ullAt);
        if (ch == 0)
        {
            return true;
        }
        pstrText->push_back(ch);
    }
    return false;
}

void CheckText(const ImageLayout& kLayout, const VOStringHash& kHash, ByteView kRecord, uint32_t uIndex,
               std::vector<bool>* pvecSeen, Findings* pkFindings)
{
    const uint64_t ullText = kRecord.Long(kTextAt);
    if (ullText >= kLayout.kTexts.Size())
    {
        pkFindings->Add(kRecord.Offset(kTextAt), fmt::format("string {}: its text lies outside the pool", uIndex));
        return;
    }
    // Each text has one record. Records that share one could make the check as slow as the square of the image.
    if ((*pvecSeen)[ullText])
    {
        pkFindings->Add(kRecord.Offset(kTextAt), fmt::format("string {}: its text is another string's", uIndex));
        return;
    }
    VOWString strText;
    if (!PoolText(kLayout.kTexts, ullText, &strText))
    {
        pkFindings->Add(kLayout.kTexts.Offset(ullText), fmt::format("string {}: its text has no end", uIndex));
        return;
    }
    for (uint64_t ullAt = ullText; ullAt <= ullText + strText.size() * sizeof(VOWCHAR); ++ullAt)
    {
        (*pvecSeen)[ullAt] = true;
    }
    if (kHash.HashW(strText.c_str(), 0) != kRecord.Word(kHash0At) ||
        kHash.HashW(strText.c_str(), 1) != kRecord.Word(kHash1At))
    {
        pkFindings->Add(kRecord.Offset(kHash0At),
                        fmt::format("string {}: its hashes aren't those of its text", uIndex));
    }
}

void CheckRecords(const ImageLayout& kLayout, ImageReport* pkReport, Findings* pkFindings)
{
    const VOStringHash kHash;
    std::vector<bool> vecSeen(kLayout.kTexts.Size());
    for (uint32_t i = 0; i < kLayout.kStrings.uCount; ++i)
    {
        const ByteView kRecord = kLayout.kStrings.At(i);
        const uint32_t uState = kRecord.Word(kStateAt);
        if (uState == VOStringHashSet::kStateText)
        {
            ++pkReport->uWithText;
            CheckText(kLayout, kHash, kRecord, i, &vecSeen, pkFindings);
        }
        else if (uState == VOStringHashSet::kStateKeyOnly)
        {
            ++pkReport->uKeysOnly;
        }
        else if (uState == VOStringHashSet::kStateRemoved)
        {
            ++pkReport->uRemovedStrings;
        }
        else
        {
            pkFindings->Add(kRecord.Offset(kStateAt), fmt::format("string {}: {} is no state", i, uState));
        }
    }
}

// Values of the two tables are records with the key as their first hash.
void CheckTargets(const ImageLayout& kLayout, const SlotTable& kTable, const char* pszName, Findings* pkFindings)
{
    for (uint32_t i = 0; i < kTable.kSlots.uCount; ++i)
    {
        if (kTable.Used(i) == 0)
        {
            continue;
        }
        const uint64_t ullRecord = kTable.Value(i);
        if (ullRecord >= kLayout.kStrings.uCount)
        {
            pkFindings->Add(kTable.kSlots.At(i).Offset(4),
                            fmt::format("{}, slot {}: there is no string {}", pszName, i, ullRecord));
        }
        else if (kLayout.kStrings.At(ullRecord).Word(kHash0At) != kTable.Key(i))
        {
            pkFindings->Add(kTable.kSlots.At(i).Offset(),
                            fmt::format("{}, slot {}: the key isn't the hash of string {}", pszName, i, ullRecord));
        }
    }
}

// A lookup walks from the home slot over used slots. Going round twice, uRun is the length of the run of used slots in
// front of the slot, as far as it matters.
void CheckProbes(const SlotTable& kTable, const char* pszName, TableReport* pkReport, Findings* pkFindings)
{
    const uint32_t uSlots = pkReport->uSlots;
    uint32_t uRun = 0;
    for (uint64_t ullStep = 0; ullStep < 2ull * uSlots && pkReport->uUsed != 0; ++ullStep)
    {
        const uint32_t uSlot = static_cast<uint32_t>(ullStep) & (uSlots - 1);
        if (kTable.Used(uSlot) == 0)
        {
            uRun = 0;
            continue;
        }
        const uint32_t uDistance = (uSlot - HomeSlot(kTable.Key(uSlot), kTable.uKeySize, uSlots)) & (uSlots - 1);
        if (ullStep >= uSlots && uDistance > uRun)
        {
            pkFindings->Add(kTable.kSlots.At(uSlot).Offset(),
                            fmt::format("{}, slot {}: no lookup comes to its key", pszName, uSlot));
        }
        pkReport->uLongestProbe = std::max(pkReport->uLongestProbe, uDistance + 1);
        ++uRun;
    }
}

void CheckPool(const ImageLayout& kLayout, ImageReport* pkReport, Findings* pkFindings)
{
    pkReport->uTexts = kLayout.kTextHandles.uCount;
    pkReport->ullTextBytes = kLayout.kTexts.Size();
    for (uint32_t i = 0; i < kLayout.kTextHandles.uCount; ++i)
    {
        const ByteView kHandle = kLayout.kTextHandles.At(i);
        if (kHandle.Long(0) >= kLayout.kTexts.Size())
        {
            pkFindings->Add(kHandle.Offset(), fmt::format("text {} lies outside the pool", i));
        }
    }
}

}  // namespace

TableReport CheckTable(const SlotTable& kTable, const char* pszName, Findings* pkFindings)
{
    TableReport kReport;
    kReport.uSlots = kTable.kSlots.uCount;
    const uint32_t uSlots = kReport.uSlots;
    if (uSlots == 0 || (uSlots & (uSlots - 1)) != 0)
    {
        pkFindings->Add(kTable.kSlots.kBytes.Offset(),
                        fmt::format("{}: {} slots are no power of two", pszName, uSlots));
        return kReport;
    }
    for (uint32_t i = 0; i < uSlots; ++i)
    {
        const uint32_t uUsed = kTable.Used(i);
        kReport.uUsed += uUsed != 0 ? 1 : 0;
        if (uUsed > 1)
        {
            pkFindings->Add(kTable.kSlots.At(i).Offset(12),
                            fmt::format("{}, slot {}: {} is no flag", pszName, i, uUsed));
        }
    }
    if (kTable.uElements != kReport.uUsed)
    {
        pkFindings->Add(kTable.kSlots.kBytes.Offset(),
                        fmt::format("{}: {} used slots, and {} by its head", pszName, kReport.uUsed, kTable.uElements));
    }
    CheckProbes(kTable, pszName, &kReport, pkFindings);
    return kReport;
}

VOWString StringText(const ImageLayout& kLayout, uint64_t ullHandle)
{
    VOWString strText;
    if (ullHandle < kLayout.kStrings.uCount)
    {
        const ByteView kRecord = kLayout.kStrings.At(ullHandle);
        if (kRecord.Word(kStateAt) == VOStringHashSet::kStateText)
        {
            PoolText(kLayout.kTexts, kRecord.Long(kTextAt), &strText);
        }
    }
    return strText;
}

std::string WrongTextHandle(const ImageLayout& kLayout, uint64_t ullHandle)
{
    if (ullHandle == kNoHandle)
    {
        return {};
    }
    if (ullHandle >= kLayout.kStrings.uCount)
    {
        return fmt::format("there is no string {}", ullHandle);
    }
    if (kLayout.kStrings.At(ullHandle).Word(kStateAt) != VOStringHashSet::kStateText)
    {
        return fmt::format("string {} has no text", ullHandle);
    }
    return {};
}

void CheckStrings(const ImageLayout& kLayout, ImageReport* pkReport, Findings* pkFindings)
{
    pkReport->uStrings = kLayout.kStrings.uCount;
    CheckRecords(kLayout, pkReport, pkFindings);
    CheckPool(kLayout, pkReport, pkFindings);
    if (kLayout.kStringBlock.Size() == 0)
    {
        return;
    }
    pkReport->kPrimary = CheckTable(kLayout.kPrimary, "primary table", pkFindings);
    pkReport->kConflict = CheckTable(kLayout.kConflict, "conflict table", pkFindings);
    CheckTargets(kLayout, kLayout.kPrimary, "primary table", pkFindings);
    CheckTargets(kLayout, kLayout.kConflict, "conflict table", pkFindings);
    for (const uint64_t ullHandle : {kLayout.ullRootPath, kLayout.ullRootName})
    {
        const std::string strWrong = WrongTextHandle(kLayout, ullHandle);
        if (!strWrong.empty())
        {
            pkFindings->Add(ullHandle == kLayout.ullRootPath ? 32 : 40, fmt::format("root: {}", strWrong));
        }
    }
}

}  // namespace lum
