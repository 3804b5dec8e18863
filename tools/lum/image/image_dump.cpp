#include "image/image_dump.h"

#include <fmt/format.h>

#include <algorithm>
#include <span>

#include "base/console.h"
#include "base/text.h"
#include "image/image_check.h"
#include "vots_asset_node_classify_manager.h"
#include "vots_asset_node_container.h"

using LUMTrayService::structAssetNode;

namespace lum
{

namespace
{

// How much of a value's bytes and text is shown.
constexpr size_t kShownBytes = 12;
constexpr size_t kShownText = 60;

enum class Kind
{
    Word,
    SignedWord,
    Long,
    Time,
    Handle,      // a string
    PoolOffset,  // a place in the text pool
    Index,       // a node or list, 0xFFFFFFFF for none
    Number,      // a number of a list, or what isn't one
    Text         // a field of 16-bit units
};

// Of each kind.
constexpr const char* kTypeNames[] = {"u32", "i32", "u64", "i64", "handle", "handle", "u32", "u32", "u16[]"};

struct Field
{
    uint32_t uAt;
    uint32_t uSize;
    Kind eKind;
    const char* pszMeaning;
};

const Field kStringFields[] = {{0, 8, Kind::PoolOffset, "text"},
                               {8, 4, Kind::Word, "state (0 key only, 2 removed, 4 with text)"},
                               {12, 4, Kind::Word, "hash mask"},
                               {16, 4, Kind::Word, "first hash"},
                               {20, 4, Kind::Word, "second hash"}};
const Field kTextHandleFields[] = {{0, 8, Kind::PoolOffset, "text"}};
const Field kNumberFields[] = {{0, 4, Kind::Number, "number"}};
const Field kStringSlotFields[] = {
    {0, 4, Kind::Word, "first hash"}, {4, 8, Kind::Handle, "string"}, {12, 4, Kind::Word, "used"}};
const Field kKeySlotFields[] = {{0, 8, Kind::Handle, "key"}, {8, 4, Kind::Index, "node"}, {12, 4, Kind::Word, "used"}};
const Field kNodeFields[] = {
    {offsetof(structAssetNode, eAssetFrom), 4, Kind::Word, "source"},
    {offsetof(structAssetNode, uAssetMerge), 4, Kind::Word, "merge sign"},
    {offsetof(structAssetNode, nAssetID), 4, Kind::Index, "id"},
    {offsetof(structAssetNode, nParentID), 4, Kind::Index, "parent"},
    {offsetof(structAssetNode, nChildFileInfo), 4, Kind::Index, "list of files"},
    {offsetof(structAssetNode, nChildFolderInfo), 4, Kind::Index, "list of folders"},
    {offsetof(structAssetNode, nClassifyType), 4, Kind::SignedWord, "type"},
    {offsetof(structAssetNode, bFolder), 4, Kind::Word, "folder"},
    {offsetof(structAssetNode, nFileAttribute), 4, Kind::Word, "attributes"},
    {offsetof(structAssetNode, ullFileSize), 8, Kind::Long, "size in bytes"},
    {offsetof(structAssetNode, ftCreateTime), 8, Kind::Time, "created"},
    {offsetof(structAssetNode, ftLastAccessTime), 8, Kind::Time, "accessed"},
    {offsetof(structAssetNode, ftLastWriteTime), 8, Kind::Time, "written"},
    {offsetof(structAssetNode, hStrComponent), 8, Kind::Handle, "directory part"},
    {offsetof(structAssetNode, hStrBaseName), 8, Kind::Handle, "base name"},
    {offsetof(structAssetNode, hStrExtension), 8, Kind::Handle, "extension"},
    {offsetof(structAssetNode, hStrClassifyName), 8, Kind::Handle, "name of the type"},
    {offsetof(structAssetNode, hStrPhysicsPath), 8, Kind::Handle, "physics path"},
    {offsetof(structAssetNodeParam, hStringParam), 8, Kind::Handle, "key"},
    {offsetof(structAssetNodeParam, dwParamState), 4, Kind::Word, "state (0 live, 2 removed)"}};
const Field kTypeFields[] = {
    {offsetof(structAssetNodeClassifyParam, nClassifyType), 4, Kind::SignedWord, "number"},
    {offsetof(structAssetNodeClassifyParam, szClassifyName), 100, Kind::Text, "name"},
    {offsetof(structAssetNodeClassifyParam, szExtensions), 200, Kind::Text, "extensions"},
    {offsetof(structAssetNodeClassifyParam, TypeColor), 4, Kind::Word, "colour"},
    {offsetof(structAssetNodeClassifyParam, BackgroundColor), 4, Kind::Word, "background colour"}};

std::string ShownBytes(ByteView bytes)
{
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string strResult;
    strResult.reserve(2 * kShownBytes + 2);
    for (uint64_t i = 0; i < bytes.Size() && i < kShownBytes; ++i)
    {
        strResult += kDigits[bytes.Data()[i] >> 4];
        strResult += kDigits[bytes.Data()[i] & 0xF];
    }
    if (bytes.Size() > kShownBytes)
    {
        strResult += "..";
    }
    return strResult;
}

std::string Quoted(VOWString strText)
{
    const bool bCut = strText.size() > kShownText;
    strText.resize(std::min(strText.size(), kShownText));
    return fmt::format("\"{}{}\"", WrittenForm(strText, Escape::Controls), bCut ? "..." : "");
}

// The text from the start of a view up to its end, of which no more than is shown is read.
VOWString TextAt(ByteView bytes)
{
    VOWString strText;
    for (uint64_t i = 0; bytes.Has(i, sizeof(VOWCHAR)) && strText.size() <= kShownText; i += sizeof(VOWCHAR))
    {
        const VOWCHAR ch = bytes.Load<VOWCHAR>(i);
        if (ch == 0)
        {
            break;
        }
        strText += ch;
    }
    return strText;
}

std::string ShownHandle(uint64_t ullHandle, const VOWString& strText)
{
    const std::string strNumber = ullHandle == kNoHandle ? "none" : fmt::format("{}", ullHandle);
    return strText.empty() ? strNumber : fmt::format("{} {}", strNumber, Quoted(strText));
}

std::string ShownValue(const ImageLayout& layout, ByteView bytes, Kind eKind)
{
    switch (eKind)
    {
        case Kind::SignedWord:
            return fmt::format("{}", bytes.Load<int32_t>(0));
        case Kind::Long:
            return fmt::format("{}", bytes.Long(0));
        case Kind::Time:
            return fmt::format("{} ({})", bytes.Load<int64_t>(0), LocalTime(bytes.Load<int64_t>(0)));
        case Kind::Handle:
            return ShownHandle(bytes.Long(0), StringText(layout, bytes.Long(0)));
        case Kind::Number:
            return bytes.Word(0) == kListEnd ? "end of list"
                   : bytes.Word(0) == kHole  ? "hole"
                                             : fmt::format("{}", bytes.Word(0));
        case Kind::PoolOffset:
            return ShownHandle(bytes.Long(0), TextAt(layout.texts.Part(bytes.Long(0), layout.texts.Size())));
        case Kind::Index:
            return bytes.Word(0) == kNoIndex ? "none" : fmt::format("{}", bytes.Word(0));
        case Kind::Text:
            return Quoted(TextAt(bytes));
        default:
            return fmt::format("{} ({:#x})", bytes.Word(0), bytes.Word(0));
    }
}

void WriteLine(uint64_t ullOffset, ByteView bytes, std::string_view strType, std::string_view strValue,
               std::string_view strMeaning, Output* pOutput)
{
    pOutput->Write(fmt::format("{:#010x}  {:<26}  {:<7}  {:<40}  {}\n", ullOffset, ShownBytes(bytes), strType, strValue,
                               strMeaning));
}

void DumpRecords(const ImageLayout& layout, const char* pszName, const RecordArray& records,
                 std::span<const Field> fields, uint32_t uRecords, Output* pOutput)
{
    const uint32_t uShown = std::min(uRecords, records.uCount);
    for (uint32_t i = 0; i < uShown; ++i)
    {
        const ByteView record = records.At(i);
        for (const Field& field : fields)
        {
            const ByteView bytes = record.Part(field.uAt, field.uSize);
            WriteLine(bytes.Offset(), bytes, kTypeNames[static_cast<size_t>(field.eKind)],
                      ShownValue(layout, bytes, field.eKind), fmt::format("{} {}: {}", pszName, i, field.pszMeaning),
                      pOutput);
        }
    }
    if (uShown < records.uCount)
    {
        pOutput->Write(fmt::format("            ... {} more: {}\n", records.uCount - uShown, pszName));
    }
}

}  // namespace

void DumpImage(const ImageLayout& layout, uint32_t uRecords, Output* pOutput)
{
    for (const HeadField& field : layout.vecFields)
    {
        WriteLine(field.ullOffset, layout.all.Part(field.ullOffset, field.uSize), field.pszType, field.strValue,
                  fmt::format("{}: {}", field.pszBlock, field.pszMeaning), pOutput);
    }
    DumpRecords(layout, "string", layout.strings, kStringFields, uRecords, pOutput);
    DumpRecords(layout, "text handle", layout.textHandles, kTextHandleFields, uRecords, pOutput);
    DumpRecords(layout, "primary slot", layout.primary.slots, kStringSlotFields, uRecords, pOutput);
    DumpRecords(layout, "conflict slot", layout.conflict.slots, kStringSlotFields, uRecords, pOutput);
    DumpRecords(layout, "node", layout.nodes, kNodeFields, uRecords, pOutput);
    DumpRecords(layout, "number", layout.numbers, kNumberFields, uRecords, pOutput);
    DumpRecords(layout, "key slot", layout.keys.slots, kKeySlotFields, uRecords, pOutput);
    DumpRecords(layout, "type", layout.types, kTypeFields, uRecords, pOutput);
}

}  // namespace lum
