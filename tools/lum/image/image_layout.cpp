#include "image/image_layout.h"

#include <fmt/format.h>

#include <algorithm>

namespace lum
{

namespace
{

constexpr uint64_t kTailSize = 4;

// Where what is read goes to.
struct Target
{
    ImageLayout* pLayout;
    Findings* pFindings;
};

// Reads the head of one block: notes every field, and what is wrong with it.
class HeadReader
{
public:
    HeadReader(const char* pszBlock, ByteView block, uint64_t ullHead, const Target& target)
        : m_pszBlock(pszBlock), m_block(block), m_ullHead(ullHead), m_target(target)
    {
    }

    // False, with a finding, when the block ends before its head does.
    bool HasHead()
    {
        return Check(m_block.Size() >= m_ullHead + kTailSize, 0, "only {} bytes, and the head alone takes {}",
                     m_block.Size(), m_ullHead + kTailSize);
    }

    bool Version(std::string_view strWanted)
    {
        char szFound[9] = {};
        memcpy(szFound, m_block.Data(), 8);
        const std::string strFound = fmt::format("\"{}\"", _Printable(szFound));
        _Note(0, 8, "char[8]", strFound, "version");
        return Check(std::string_view(szFound) == strWanted, 0, "the version is {}, not \"{}\"", strFound, strWanted);
    }

    uint32_t Word(uint64_t ullAt, const char* pszMeaning)
    {
        const uint32_t uValue = m_block.Word(ullAt);
        _Note(ullAt, 4, "u32", fmt::to_string(uValue), pszMeaning);
        return uValue;
    }

    uint64_t Handle(uint64_t ullAt, const char* pszMeaning)
    {
        const uint64_t ullValue = m_block.Long(ullAt);
        _Note(ullAt, 8, "handle", ullValue == kNoHandle ? "none" : fmt::to_string(ullValue), pszMeaning);
        return ullValue;
    }

    // What is wrong is put into words only where it is.
    template <typename... Values>
    bool Check(bool bRight, uint64_t ullAt, fmt::format_string<const Values&...> strWrong, const Values&... values)
    {
        if (!bRight)
        {
            m_target.pFindings->Add(m_block.Offset(ullAt), "{}: {}", m_pszBlock, fmt::format(strWrong, values...));
        }
        return bRight;
    }

    // Head, content and tail are all that is in a block. Gives the content, whatever size it has.
    ByteView Content(uint64_t ullAt, uint64_t ullBytes, const char* pszContent, const char* pszWhole = "a block")
    {
        Check(m_block.Size() == m_ullHead + ullBytes + kTailSize, ullAt, "{} bytes of {} in {} of {}", ullBytes,
              pszContent, pszWhole, m_block.Size());
        return m_block.Part(m_ullHead, m_block.Size() - m_ullHead - kTailSize);
    }

private:
    void _Note(uint64_t ullAt, uint32_t uSize, const char* pszType, std::string strValue, const char* pszMeaning)
    {
        m_target.pLayout->vecFields.push_back(
            {m_block.Offset(ullAt), uSize, pszType, std::move(strValue), m_pszBlock, pszMeaning});
    }

    static std::string _Printable(const char* pszText)
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
    uint64_t m_ullHead;
    Target m_target;
};

// Takes blocks that lie back to back out of the content of another one.
class BlockCutter
{
public:
    explicit BlockCutter(ByteView from) : m_from(from) {}

    ByteView Next(uint64_t ullSize)
    {
        m_ullAt += ullSize;
        return m_from.Part(m_ullAt - ullSize, ullSize);
    }

private:
    ByteView m_from;
    uint64_t m_ullAt = 0;
};

// As many records as there are bytes for.
RecordArray RecordsOf(ByteView content, uint64_t ullCount, uint64_t ullRecordSize)
{
    const uint64_t ullThere = std::min(ullCount, content.Size() / ullRecordSize);
    return {static_cast<uint32_t>(ullThere), ullRecordSize, content.Part(0, ullThere * ullRecordSize)};
}

RecordArray ReadRecords(const char* pszBlock, ByteView block, uint64_t ullRecordSize, const Target& target)
{
    HeadReader head(pszBlock, block, 16, target);
    if (!head.HasHead())
    {
        return {0, ullRecordSize, {}};
    }
    head.Version("ver.1.0");
    const uint64_t ullCount = head.Word(8, "records");
    const uint64_t ullBytes = head.Word(12, "bytes of records");
    head.Check(ullBytes == ullCount * ullRecordSize, 12, "{} records of {} bytes aren't {} bytes", ullCount,
               ullRecordSize, ullBytes);
    return RecordsOf(head.Content(12, ullBytes, "records"), ullCount, ullRecordSize);
}

SlotTable ReadTable(const char* pszBlock, ByteView block, uint32_t uKeySize, const Target& target)
{
    HeadReader head(pszBlock, block, 16, target);
    if (!head.HasHead())
    {
        return {0, uKeySize, {0, kSlotSize, {}}};
    }
    head.Version("ver.1.0");
    const uint32_t uElements = head.Word(8, "entries");
    const uint64_t ullSlots = head.Word(12, "bytes of the slot array");
    return {uElements, uKeySize,
            ReadRecords(pszBlock, head.Content(12, ullSlots, "slots").Part(0, ullSlots), kSlotSize, target)};
}

void ReadTexts(ByteView block, const Target& target)
{
    HeadReader outer("texts", block, 12, target);
    if (!outer.HasHead())
    {
        return;
    }
    outer.Version("ver.1.0");
    const uint64_t ullInner = outer.Word(8, "bytes of the text pool");
    HeadReader inner("text pool", outer.Content(8, ullInner, "pool").Part(0, ullInner), 20, target);
    if (!inner.HasHead())
    {
        return;
    }
    inner.Version("ver.1.0");
    const uint64_t ullData = inner.Word(8, "bytes of texts");
    const uint64_t ullHandles = inner.Word(12, "bytes of the handle array");
    const uint64_t ullTotal = inner.Word(16, "bytes of both");
    inner.Check(ullTotal == ullData + ullHandles, 16, "{} and {} bytes aren't {}", ullData, ullHandles, ullTotal);
    BlockCutter cutter(inner.Content(16, ullTotal, "content", "a pool"));
    target.pLayout->texts = cutter.Next(ullData);
    target.pLayout->textHandles = ReadRecords("text handles", cutter.Next(ullHandles), 8, target);
}

void ReadStrings(ByteView block, const Target& target)
{
    HeadReader head("strings", block, 28, target);
    if (!head.HasHead())
    {
        return;
    }
    head.Version("ver.1.1");
    const uint64_t ullRecords = head.Word(8, "bytes of the string records");
    const uint64_t ullTexts = head.Word(12, "bytes of the texts");
    const uint64_t ullPrimary = head.Word(16, "bytes of the primary table");
    const uint64_t ullConflict = head.Word(20, "bytes of the conflict table");
    const uint64_t ullTotal = head.Word(24, "bytes of the four parts");
    const uint64_t ullSum = ullRecords + ullTexts + ullPrimary + ullConflict;
    head.Check(ullTotal == ullSum, 24, "the four parts have {} bytes, not {}", ullSum, ullTotal);
    BlockCutter cutter(head.Content(24, ullTotal, "parts"));
    target.pLayout->strings = ReadRecords("string records", cutter.Next(ullRecords), kStringRecordSize, target);
    ReadTexts(cutter.Next(ullTexts), target);
    target.pLayout->primary = ReadTable("primary table", cutter.Next(ullPrimary), 4, target);
    target.pLayout->conflict = ReadTable("conflict table", cutter.Next(ullConflict), 4, target);
}

void ReadNumbers(ByteView block, const Target& target)
{
    constexpr uint64_t kNumberSize = 4;
    HeadReader head("numbers", block, 8, target);
    if (head.HasHead())
    {
        const uint64_t ullCount = head.Word(0, "numbers");
        const uint64_t ullBytes = head.Word(4, "bytes of numbers");
        head.Check(ullBytes == ullCount * kNumberSize, 4, "{} numbers aren't {} bytes", ullCount, ullBytes);
        target.pLayout->numbers = RecordsOf(head.Content(4, ullBytes, "numbers"), ullCount, kNumberSize);
    }
}

void ReadTypes(ByteView block, const Target& target)
{
    HeadReader head("types", block, 8, target);
    if (head.HasHead())
    {
        const uint32_t uCount = head.Word(0, "types");
        const uint64_t ullBytes = head.Word(4, "bytes of the type records");
        const ByteView records = head.Content(4, ullBytes, "records").Part(0, ullBytes);
        target.pLayout->types = ReadRecords("type records", records, kTypeRecordSize, target);
        head.Check(uCount == target.pLayout->types.uCount, 0, "{} types, but {} type records", uCount,
                   target.pLayout->types.uCount);
    }
}

}  // namespace

ImageLayout ReadLayout(ByteView image, Findings* pFindings)
{
    ImageLayout layout;
    const Target target{&layout, pFindings};
    layout.all = image;
    HeadReader head("image", image, 52, target);
    if (!head.HasHead() || !head.Version("ver.1.4"))
    {
        return layout;
    }
    const uint64_t ullStrings = head.Word(8, "bytes of the string block");
    const uint64_t ullNodes = head.Word(12, "bytes of the node block");
    const uint64_t ullNumbers = head.Word(16, "bytes of the number block");
    const uint64_t ullTable = head.Word(20, "bytes of the key table block");
    const uint64_t ullTypes = head.Word(24, "bytes of the type block");
    const uint32_t uZero = head.Word(28, "zero");
    layout.ullRootPath = head.Handle(32, "root path");
    layout.ullRootName = head.Handle(40, "root name");
    const uint64_t ullTotal = head.Word(48, "bytes of the five blocks");
    const uint64_t ullSum = ullStrings + ullNodes + ullNumbers + ullTable + ullTypes;
    head.Check(uZero == 0, 28, "{} in place of zero", uZero);
    head.Check(ullTotal == ullSum, 48, "the five blocks have {} bytes, not {}", ullSum, ullTotal);
    BlockCutter cutter(head.Content(48, ullTotal, "blocks", "an image"));
    layout.stringBlock = cutter.Next(ullStrings);
    layout.nodeBlock = cutter.Next(ullNodes);
    layout.numberBlock = cutter.Next(ullNumbers);
    layout.tableBlock = cutter.Next(ullTable);
    layout.typeBlock = cutter.Next(ullTypes);

    ReadStrings(layout.stringBlock, target);
    layout.nodes = ReadRecords("node records", layout.nodeBlock, kNodeRecordSize, target);
    ReadNumbers(layout.numberBlock, target);
    layout.keys = ReadTable("key table", layout.tableBlock, 8, target);
    ReadTypes(layout.typeBlock, target);
    return layout;
}

}  // namespace lum
