#include "image/image_layout.h"

#include <fmt/format.h>

#include <algorithm>

namespace lum
{

namespace
{

constexpr uint64_t kTailSize = 4;

// Reads the head of one block: notes every field, and what is wrong with it.
class HeadReader
{
public:
    HeadReader(const char* pszBlock, ByteView block, ImageLayout* pLayout, Findings* pFindings)
        : m_pszBlock(pszBlock), m_block(block), m_pLayout(pLayout), m_pFindings(pFindings)
    {
    }

    // False, with a finding, when the block ends before its head does.
    bool HasHead(uint64_t ullSize)
    {
        return Check(m_block.Size() >= ullSize, 0, "only {} bytes, and the head alone takes {}", m_block.Size(),
                     ullSize);
    }

    bool Version(uint64_t ullAt, std::string_view strWanted)
    {
        char szFound[9] = {};
        memcpy(szFound, m_block.Data() + ullAt, 8);
        const std::string strFound = fmt::format("\"{}\"", Printable(szFound));
        Note(ullAt, 8, "char[8]", strFound, "version");
        return Check(std::string_view(szFound) == strWanted, ullAt, "the version is {}, not \"{}\"", strFound,
                     strWanted);
    }

    uint32_t Word(uint64_t ullAt, const char* pszMeaning)
    {
        const uint32_t uValue = m_block.Word(ullAt);
        Note(ullAt, 4, "u32", fmt::to_string(uValue), pszMeaning);
        return uValue;
    }

    uint64_t Handle(uint64_t ullAt, const char* pszMeaning)
    {
        const uint64_t ullValue = m_block.Long(ullAt);
        Note(ullAt, 8, "handle", ullValue == kNoHandle ? "none" : fmt::to_string(ullValue), pszMeaning);
        return ullValue;
    }

    void Note(uint64_t ullAt, uint32_t uSize, const char* pszType, std::string strValue, const char* pszMeaning)
    {
        m_pLayout->vecFields.push_back(
            {m_block.Offset(ullAt), uSize, pszType, std::move(strValue), m_pszBlock, pszMeaning});
    }

    // What is wrong is put into words only where it is.
    template <typename... Values>
    bool Check(bool bRight, uint64_t ullAt, fmt::format_string<const Values&...> strWrong, const Values&... values)
    {
        if (!bRight)
        {
            m_pFindings->Add(m_block.Offset(ullAt),
                             fmt::format("{}: {}", m_pszBlock, fmt::format(strWrong, values...)));
        }
        return bRight;
    }

private:
    static std::string Printable(const char* pszText)
    {
        std::string strResult;
        for (; *pszText != 0; ++pszText)
        {
            const unsigned char by = static_cast<unsigned char>(*pszText);
            strResult += by >= 0x20 && by < 0x7F ? std::string(1, *pszText) : fmt::format("\\x{:02x}", by);
        }
        return strResult;
    }

    const char* m_pszBlock;
    ByteView m_block;
    ImageLayout* m_pLayout;
    Findings* m_pFindings;
};

// Takes blocks that lie back to back out of a view.
class BlockCutter
{
public:
    BlockCutter(ByteView from, uint64_t ullStart) : m_from(from), m_ullAt(ullStart) {}

    ByteView Next(uint64_t ullSize)
    {
        const ByteView result = m_from.Part(m_ullAt, ullSize);
        m_ullAt += ullSize;
        return result;
    }

private:
    ByteView m_from;
    uint64_t m_ullAt;
};

RecordArray ReadRecords(const char* pszBlock, ByteView block, uint64_t ullRecordSize, ImageLayout* pLayout,
                        Findings* pFindings)
{
    constexpr uint64_t kHead = 16;
    RecordArray result;
    result.ullRecordSize = ullRecordSize;
    HeadReader headReader(pszBlock, block, pLayout, pFindings);
    if (!headReader.HasHead(kHead + kTailSize))
    {
        return result;
    }
    headReader.Version(0, "ver.1.0");
    const uint64_t ullCount = headReader.Word(8, "records");
    const uint64_t ullBytes = headReader.Word(12, "bytes of records");
    headReader.Check(ullBytes == ullCount * ullRecordSize, 12, "{} records of {} bytes aren't {} bytes", ullCount,
                     ullRecordSize, ullBytes);
    headReader.Check(block.Size() == kHead + ullBytes + kTailSize, 12, "{} bytes of records in a block of {}", ullBytes,
                     block.Size());
    result.uCount = static_cast<uint32_t>(std::min(ullCount, (block.Size() - kHead - kTailSize) / ullRecordSize));
    result.bytes = block.Part(kHead, result.uCount * ullRecordSize);
    return result;
}

SlotTable ReadTable(const char* pszBlock, ByteView block, uint32_t uKeySize, ImageLayout* pLayout, Findings* pFindings)
{
    constexpr uint64_t kHead = 16;
    SlotTable result;
    result.uKeySize = uKeySize;
    result.slots.ullRecordSize = kSlotSize;
    HeadReader headReader(pszBlock, block, pLayout, pFindings);
    if (!headReader.HasHead(kHead + kTailSize))
    {
        return result;
    }
    headReader.Version(0, "ver.1.0");
    result.uElements = headReader.Word(8, "entries");
    const uint64_t ullSlots = headReader.Word(12, "bytes of the slot array");
    headReader.Check(block.Size() == kHead + ullSlots + kTailSize, 12, "{} bytes of slots in a block of {}", ullSlots,
                     block.Size());
    result.slots = ReadRecords(pszBlock, block.Part(kHead, std::min(ullSlots, block.Size() - kHead - kTailSize)),
                               kSlotSize, pLayout, pFindings);
    return result;
}

void ReadTexts(ByteView block, ImageLayout* pLayout, Findings* pFindings)
{
    constexpr uint64_t kOuterHead = 12;
    constexpr uint64_t kInnerHead = 20;
    HeadReader outer("texts", block, pLayout, pFindings);
    if (!outer.HasHead(kOuterHead + kTailSize))
    {
        return;
    }
    outer.Version(0, "ver.1.0");
    const uint64_t ullInner = outer.Word(8, "bytes of the text pool");
    outer.Check(block.Size() == kOuterHead + ullInner + kTailSize, 8, "{} bytes of pool in a block of {}", ullInner,
                block.Size());

    const ByteView pool = block.Part(kOuterHead, std::min(ullInner, block.Size() - kOuterHead - kTailSize));
    HeadReader inner("text pool", pool, pLayout, pFindings);
    if (!inner.HasHead(kInnerHead + kTailSize))
    {
        return;
    }
    inner.Version(0, "ver.1.0");
    const uint64_t ullData = inner.Word(8, "bytes of texts");
    const uint64_t ullHandles = inner.Word(12, "bytes of the handle array");
    const uint64_t ullTotal = inner.Word(16, "bytes of both");
    inner.Check(ullTotal == ullData + ullHandles, 16, "{} and {} bytes aren't {}", ullData, ullHandles, ullTotal);
    inner.Check(pool.Size() == kInnerHead + ullTotal + kTailSize, 16, "{} bytes of content in a pool of {}", ullTotal,
                pool.Size());

    BlockCutter cutter(pool.Part(0, pool.Size() - kTailSize), kInnerHead);
    pLayout->texts = cutter.Next(ullData);
    pLayout->textHandles = ReadRecords("text handles", cutter.Next(ullHandles), 8, pLayout, pFindings);
}

void ReadStrings(ByteView block, ImageLayout* pLayout, Findings* pFindings)
{
    constexpr uint64_t kHead = 28;
    HeadReader headReader("strings", block, pLayout, pFindings);
    if (!headReader.HasHead(kHead + kTailSize))
    {
        return;
    }
    headReader.Version(0, "ver.1.1");
    const uint64_t ullRecords = headReader.Word(8, "bytes of the string records");
    const uint64_t ullTexts = headReader.Word(12, "bytes of the texts");
    const uint64_t ullPrimary = headReader.Word(16, "bytes of the primary table");
    const uint64_t ullConflict = headReader.Word(20, "bytes of the conflict table");
    const uint64_t ullTotal = headReader.Word(24, "bytes of the four parts");
    headReader.Check(ullTotal == ullRecords + ullTexts + ullPrimary + ullConflict, 24,
                     "the four parts have {} bytes, not {}", ullRecords + ullTexts + ullPrimary + ullConflict,
                     ullTotal);
    headReader.Check(block.Size() == kHead + ullTotal + kTailSize, 24, "{} bytes of parts in a block of {}", ullTotal,
                     block.Size());

    BlockCutter cutter(block.Part(0, block.Size() - kTailSize), kHead);
    pLayout->strings = ReadRecords("string records", cutter.Next(ullRecords), kStringRecordSize, pLayout, pFindings);
    ReadTexts(cutter.Next(ullTexts), pLayout, pFindings);
    pLayout->primary = ReadTable("primary table", cutter.Next(ullPrimary), 4, pLayout, pFindings);
    pLayout->conflict = ReadTable("conflict table", cutter.Next(ullConflict), 4, pLayout, pFindings);
}

void ReadNumbers(ByteView block, ImageLayout* pLayout, Findings* pFindings)
{
    constexpr uint64_t kHead = 8;
    constexpr uint64_t kNumberSize = 4;
    pLayout->numbers.ullRecordSize = kNumberSize;
    HeadReader headReader("numbers", block, pLayout, pFindings);
    if (!headReader.HasHead(kHead + kTailSize))
    {
        return;
    }
    const uint64_t ullCount = headReader.Word(0, "numbers");
    const uint64_t ullBytes = headReader.Word(4, "bytes of numbers");
    headReader.Check(ullBytes == ullCount * kNumberSize, 4, "{} numbers aren't {} bytes", ullCount, ullBytes);
    headReader.Check(block.Size() == kHead + ullBytes + kTailSize, 4, "{} bytes of numbers in a block of {}", ullBytes,
                     block.Size());
    pLayout->numbers.uCount =
        static_cast<uint32_t>(std::min(ullCount, (block.Size() - kHead - kTailSize) / kNumberSize));
    pLayout->numbers.bytes = block.Part(kHead, pLayout->numbers.uCount * kNumberSize);
}

void ReadTypes(ByteView block, ImageLayout* pLayout, Findings* pFindings)
{
    constexpr uint64_t kHead = 8;
    HeadReader headReader("types", block, pLayout, pFindings);
    if (!headReader.HasHead(kHead + kTailSize))
    {
        return;
    }
    const uint32_t uCount = headReader.Word(0, "types");
    const uint64_t ullBytes = headReader.Word(4, "bytes of the type records");
    headReader.Check(block.Size() == kHead + ullBytes + kTailSize, 4, "{} bytes of records in a block of {}", ullBytes,
                     block.Size());
    pLayout->types =
        ReadRecords("type records", block.Part(kHead, std::min(ullBytes, block.Size() - kHead - kTailSize)),
                    kTypeRecordSize, pLayout, pFindings);
    headReader.Check(uCount == pLayout->types.uCount, 0, "{} types, but {} type records", uCount,
                     pLayout->types.uCount);
}

}  // namespace

ImageLayout ReadLayout(ByteView image, Findings* pFindings)
{
    constexpr uint64_t kHead = 52;
    ImageLayout layout;
    layout.all = image;
    HeadReader headReader("image", image, &layout, pFindings);
    if (!headReader.HasHead(kHead + kTailSize) || !headReader.Version(0, "ver.1.4"))
    {
        return layout;
    }
    const uint64_t ullStrings = headReader.Word(8, "bytes of the string block");
    const uint64_t ullNodes = headReader.Word(12, "bytes of the node block");
    const uint64_t ullNumbers = headReader.Word(16, "bytes of the number block");
    const uint64_t ullTable = headReader.Word(20, "bytes of the key table block");
    const uint64_t ullTypes = headReader.Word(24, "bytes of the type block");
    const uint32_t uZero = headReader.Word(28, "zero");
    layout.ullRootPath = headReader.Handle(32, "root path");
    layout.ullRootName = headReader.Handle(40, "root name");
    const uint64_t ullTotal = headReader.Word(48, "bytes of the five blocks");
    const uint64_t ullSum = ullStrings + ullNodes + ullNumbers + ullTable + ullTypes;
    headReader.Check(uZero == 0, 28, "{} in place of zero", uZero);
    headReader.Check(ullTotal == ullSum, 48, "the five blocks have {} bytes, not {}", ullSum, ullTotal);
    headReader.Check(image.Size() == kHead + ullTotal + kTailSize, 48, "{} bytes of blocks in an image of {}", ullTotal,
                     image.Size());

    BlockCutter cutter(image.Part(0, image.Size() - kTailSize), kHead);
    layout.stringBlock = cutter.Next(ullStrings);
    layout.nodeBlock = cutter.Next(ullNodes);
    layout.numberBlock = cutter.Next(ullNumbers);
    layout.tableBlock = cutter.Next(ullTable);
    layout.typeBlock = cutter.Next(ullTypes);

    ReadStrings(layout.stringBlock, &layout, pFindings);
    layout.nodes = ReadRecords("node records", layout.nodeBlock, kNodeRecordSize, &layout, pFindings);
    ReadNumbers(layout.numberBlock, &layout, pFindings);
    layout.keys = ReadTable("key table", layout.tableBlock, 8, &layout, pFindings);
    ReadTypes(layout.typeBlock, &layout, pFindings);
    return layout;
}

}  // namespace lum
