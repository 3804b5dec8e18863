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
    HeadReader(const char* pszBlock, ByteView kBlock, ImageLayout* pkLayout, Findings* pkFindings)
        : m_pszBlock(pszBlock), m_kBlock(kBlock), m_pkLayout(pkLayout), m_pkFindings(pkFindings)
    {
    }

    // False, with a finding, when the block ends before its head does.
    bool HasHead(uint64_t ullSize)
    {
        return Check(m_kBlock.Size() >= ullSize, 0, "only {} bytes, and the head alone takes {}", m_kBlock.Size(),
                     ullSize);
    }

    bool Version(uint64_t ullAt, std::string_view strWanted)
    {
        char szFound[9] = {};
        memcpy(szFound, m_kBlock.Data() + ullAt, 8);
        const std::string strFound = fmt::format("\"{}\"", Printable(szFound));
        Note(ullAt, 8, "char[8]", strFound, "version");
        return Check(std::string_view(szFound) == strWanted, ullAt, "the version is {}, not \"{}\"", strFound,
                     strWanted);
    }

    uint32_t Word(uint64_t ullAt, const char* pszMeaning)
    {
        const uint32_t uValue = m_kBlock.Word(ullAt);
        Note(ullAt, 4, "u32", fmt::to_string(uValue), pszMeaning);
        return uValue;
    }

    uint64_t Handle(uint64_t ullAt, const char* pszMeaning)
    {
        const uint64_t ullValue = m_kBlock.Long(ullAt);
        Note(ullAt, 8, "handle", ullValue == kNoHandle ? "none" : fmt::to_string(ullValue), pszMeaning);
        return ullValue;
    }

    void Note(uint64_t ullAt, uint32_t uSize, const char* pszType, std::string strValue, const char* pszMeaning)
    {
        m_pkLayout->vecFields.push_back(
            {m_kBlock.Offset(ullAt), uSize, pszType, std::move(strValue), m_pszBlock, pszMeaning});
    }

    // What is wrong is put into words only where it is.
    template <typename... Values>
    bool Check(bool bRight, uint64_t ullAt, fmt::format_string<const Values&...> strWrong, const Values&... kValues)
    {
        if (!bRight)
        {
            m_pkFindings->Add(m_kBlock.Offset(ullAt),
                              fmt::format("{}: {}", m_pszBlock, fmt::format(strWrong, kValues...)));
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
    ByteView m_kBlock;
    ImageLayout* m_pkLayout;
    Findings* m_pkFindings;
};

// Takes blocks that lie back to back out of a view.
class BlockCutter
{
public:
    BlockCutter(ByteView kFrom, uint64_t ullStart) : m_kFrom(kFrom), m_ullAt(ullStart) {}

    ByteView Next(uint64_t ullSize)
    {
        const ByteView kResult = m_kFrom.Part(m_ullAt, ullSize);
        m_ullAt += ullSize;
        return kResult;
    }

private:
    ByteView m_kFrom;
    uint64_t m_ullAt;
};

RecordArray ReadRecords(const char* pszBlock, ByteView kBlock, uint64_t ullRecordSize, ImageLayout* pkLayout,
                        Findings* pkFindings)
{
    constexpr uint64_t kHead = 16;
    RecordArray kResult;
    kResult.ullRecordSize = ullRecordSize;
    HeadReader kHeadReader(pszBlock, kBlock, pkLayout, pkFindings);
    if (!kHeadReader.HasHead(kHead + kTailSize))
    {
        return kResult;
    }
    kHeadReader.Version(0, "ver.1.0");
    const uint64_t ullCount = kHeadReader.Word(8, "records");
    const uint64_t ullBytes = kHeadReader.Word(12, "bytes of records");
    kHeadReader.Check(ullBytes == ullCount * ullRecordSize, 12, "{} records of {} bytes aren't {} bytes", ullCount,
                      ullRecordSize, ullBytes);
    kHeadReader.Check(kBlock.Size() == kHead + ullBytes + kTailSize, 12, "{} bytes of records in a block of {}",
                      ullBytes, kBlock.Size());
    kResult.uCount = static_cast<uint32_t>(std::min(ullCount, (kBlock.Size() - kHead - kTailSize) / ullRecordSize));
    kResult.kBytes = kBlock.Part(kHead, kResult.uCount * ullRecordSize);
    return kResult;
}

SlotTable ReadTable(const char* pszBlock, ByteView kBlock, uint32_t uKeySize, ImageLayout* pkLayout,
                    Findings* pkFindings)
{
    constexpr uint64_t kHead = 16;
    SlotTable kResult;
    kResult.uKeySize = uKeySize;
    kResult.kSlots.ullRecordSize = kSlotSize;
    HeadReader kHeadReader(pszBlock, kBlock, pkLayout, pkFindings);
    if (!kHeadReader.HasHead(kHead + kTailSize))
    {
        return kResult;
    }
    kHeadReader.Version(0, "ver.1.0");
    kResult.uElements = kHeadReader.Word(8, "entries");
    const uint64_t ullSlots = kHeadReader.Word(12, "bytes of the slot array");
    kHeadReader.Check(kBlock.Size() == kHead + ullSlots + kTailSize, 12, "{} bytes of slots in a block of {}", ullSlots,
                      kBlock.Size());
    kResult.kSlots = ReadRecords(pszBlock, kBlock.Part(kHead, std::min(ullSlots, kBlock.Size() - kHead - kTailSize)),
                                 kSlotSize, pkLayout, pkFindings);
    return kResult;
}

void ReadTexts(ByteView kBlock, ImageLayout* pkLayout, Findings* pkFindings)
{
    constexpr uint64_t kOuterHead = 12;
    constexpr uint64_t kInnerHead = 20;
    HeadReader kOuter("texts", kBlock, pkLayout, pkFindings);
    if (!kOuter.HasHead(kOuterHead + kTailSize))
    {
        return;
    }
    kOuter.Version(0, "ver.1.0");
    const uint64_t ullInner = kOuter.Word(8, "bytes of the text pool");
    kOuter.Check(kBlock.Size() == kOuterHead + ullInner + kTailSize, 8, "{} bytes of pool in a block of {}", ullInner,
                 kBlock.Size());

    const ByteView kPool = kBlock.Part(kOuterHead, std::min(ullInner, kBlock.Size() - kOuterHead - kTailSize));
    HeadReader kInner("text pool", kPool, pkLayout, pkFindings);
    if (!kInner.HasHead(kInnerHead + kTailSize))
    {
        return;
    }
    kInner.Version(0, "ver.1.0");
    const uint64_t ullData = kInner.Word(8, "bytes of texts");
    const uint64_t ullHandles = kInner.Word(12, "bytes of the handle array");
    const uint64_t ullTotal = kInner.Word(16, "bytes of both");
    kInner.Check(ullTotal == ullData + ullHandles, 16, "{} and {} bytes aren't {}", ullData, ullHandles, ullTotal);
    kInner.Check(kPool.Size() == kInnerHead + ullTotal + kTailSize, 16, "{} bytes of content in a pool of {}", ullTotal,
                 kPool.Size());

    BlockCutter kCutter(kPool.Part(0, kPool.Size() - kTailSize), kInnerHead);
    pkLayout->kTexts = kCutter.Next(ullData);
    pkLayout->kTextHandles = ReadRecords("text handles", kCutter.Next(ullHandles), 8, pkLayout, pkFindings);
}

void ReadStrings(ByteView kBlock, ImageLayout* pkLayout, Findings* pkFindings)
{
    constexpr uint64_t kHead = 28;
    HeadReader kHeadReader("strings", kBlock, pkLayout, pkFindings);
    if (!kHeadReader.HasHead(kHead + kTailSize))
    {
        return;
    }
    kHeadReader.Version(0, "ver.1.1");
    const uint64_t ullRecords = kHeadReader.Word(8, "bytes of the string records");
    const uint64_t ullTexts = kHeadReader.Word(12, "bytes of the texts");
    const uint64_t ullPrimary = kHeadReader.Word(16, "bytes of the primary table");
    const uint64_t ullConflict = kHeadReader.Word(20, "bytes of the conflict table");
    const uint64_t ullTotal = kHeadReader.Word(24, "bytes of the four parts");
    kHeadReader.Check(ullTotal == ullRecords + ullTexts + ullPrimary + ullConflict, 24,
                      "the four parts have {} bytes, not {}", ullRecords + ullTexts + ullPrimary + ullConflict,
                      ullTotal);
    kHeadReader.Check(kBlock.Size() == kHead + ullTotal + kTailSize, 24, "{} bytes of parts in a block of {}", ullTotal,
                      kBlock.Size());

    BlockCutter kCutter(kBlock.Part(0, kBlock.Size() - kTailSize), kHead);
    pkLayout->kStrings =
        ReadRecords("string records", kCutter.Next(ullRecords), kStringRecordSize, pkLayout, pkFindings);
    ReadTexts(kCutter.Next(ullTexts), pkLayout, pkFindings);
    pkLayout->kPrimary = ReadTable("primary table", kCutter.Next(ullPrimary), 4, pkLayout, pkFindings);
    pkLayout->kConflict = ReadTable("conflict table", kCutter.Next(ullConflict), 4, pkLayout, pkFindings);
}

void ReadNumbers(ByteView kBlock, ImageLayout* pkLayout, Findings* pkFindings)
{
    constexpr uint64_t kHead = 8;
    constexpr uint64_t kNumberSize = 4;
    pkLayout->kNumbers.ullRecordSize = kNumberSize;
    HeadReader kHeadReader("numbers", kBlock, pkLayout, pkFindings);
    if (!kHeadReader.HasHead(kHead + kTailSize))
    {
        return;
    }
    const uint64_t ullCount = kHeadReader.Word(0, "numbers");
    const uint64_t ullBytes = kHeadReader.Word(4, "bytes of numbers");
    kHeadReader.Check(ullBytes == ullCount * kNumberSize, 4, "{} numbers aren't {} bytes", ullCount, ullBytes);
    kHeadReader.Check(kBlock.Size() == kHead + ullBytes + kTailSize, 4, "{} bytes of numbers in a block of {}",
                      ullBytes, kBlock.Size());
    pkLayout->kNumbers.uCount =
        static_cast<uint32_t>(std::min(ullCount, (kBlock.Size() - kHead - kTailSize) / kNumberSize));
    pkLayout->kNumbers.kBytes = kBlock.Part(kHead, pkLayout->kNumbers.uCount * kNumberSize);
}

void ReadTypes(ByteView kBlock, ImageLayout* pkLayout, Findings* pkFindings)
{
    constexpr uint64_t kHead = 8;
    HeadReader kHeadReader("types", kBlock, pkLayout, pkFindings);
    if (!kHeadReader.HasHead(kHead + kTailSize))
    {
        return;
    }
    const uint32_t uCount = kHeadReader.Word(0, "types");
    const uint64_t ullBytes = kHeadReader.Word(4, "bytes of the type records");
    kHeadReader.Check(kBlock.Size() == kHead + ullBytes + kTailSize, 4, "{} bytes of records in a block of {}",
                      ullBytes, kBlock.Size());
    pkLayout->kTypes =
        ReadRecords("type records", kBlock.Part(kHead, std::min(ullBytes, kBlock.Size() - kHead - kTailSize)),
                    kTypeRecordSize, pkLayout, pkFindings);
    kHeadReader.Check(uCount == pkLayout->kTypes.uCount, 0, "{} types, but {} type records", uCount,
                      pkLayout->kTypes.uCount);
}

}  // namespace

ImageLayout ReadLayout(ByteView kImage, Findings* pkFindings)
{
    constexpr uint64_t kHead = 52;
    ImageLayout kLayout;
    kLayout.kAll = kImage;
    HeadReader kHeadReader("image", kImage, &kLayout, pkFindings);
    if (!kHeadReader.HasHead(kHead + kTailSize) || !kHeadReader.Version(0, "ver.1.4"))
    {
        return kLayout;
    }
    const uint64_t ullStrings = kHeadReader.Word(8, "bytes of the string block");
    const uint64_t ullNodes = kHeadReader.Word(12, "bytes of the node block");
    const uint64_t ullNumbers = kHeadReader.Word(16, "bytes of the number block");
    const uint64_t ullTable = kHeadReader.Word(20, "bytes of the key table block");
    const uint64_t ullTypes = kHeadReader.Word(24, "bytes of the type block");
    const uint32_t uZero = kHeadReader.Word(28, "zero");
    kLayout.ullRootPath = kHeadReader.Handle(32, "root path");
    kLayout.ullRootName = kHeadReader.Handle(40, "root name");
    const uint64_t ullTotal = kHeadReader.Word(48, "bytes of the five blocks");
    const uint64_t ullSum = ullStrings + ullNodes + ullNumbers + ullTable + ullTypes;
    kHeadReader.Check(uZero == 0, 28, "{} in place of zero", uZero);
    kHeadReader.Check(ullTotal == ullSum, 48, "the five blocks have {} bytes, not {}", ullSum, ullTotal);
    kHeadReader.Check(kImage.Size() == kHead + ullTotal + kTailSize, 48, "{} bytes of blocks in an image of {}",
                      ullTotal, kImage.Size());

    BlockCutter kCutter(kImage.Part(0, kImage.Size() - kTailSize), kHead);
    kLayout.kStringBlock = kCutter.Next(ullStrings);
    kLayout.kNodeBlock = kCutter.Next(ullNodes);
    kLayout.kNumberBlock = kCutter.Next(ullNumbers);
    kLayout.kTableBlock = kCutter.Next(ullTable);
    kLayout.kTypeBlock = kCutter.Next(ullTypes);

    ReadStrings(kLayout.kStringBlock, &kLayout, pkFindings);
    kLayout.kNodes = ReadRecords("node records", kLayout.kNodeBlock, kNodeRecordSize, &kLayout, pkFindings);
    ReadNumbers(kLayout.kNumberBlock, &kLayout, pkFindings);
    kLayout.kKeys = ReadTable("key table", kLayout.kTableBlock, 8, &kLayout, pkFindings);
    ReadTypes(kLayout.kTypeBlock, &kLayout, pkFindings);
    return kLayout;
}

}  // namespace lum
