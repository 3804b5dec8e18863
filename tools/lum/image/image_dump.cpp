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

std::string ShownBytes(ByteView kBytes)
{
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string strResult;
    strResult.reserve(2 * kShownBytes + 2);
    for (uint64_t i = 0; i < kBytes.Size() && i < kShownBytes; ++i)
    {
        strResult += kDigits[kBytes.Data()[i] >> 4];
        strResult += kDigits[kBytes.Data()[i] & 0xF];
    }
    if (kBytes.Size() > kShownBytes)
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

const char* TypeName(Kind eKind)
{
    switch (eKind)
    {
        case Kind::SignedWord:
            return "i32";
        case Kind::Long:
            return "u64";
        case Kind::Time:
            return "i64";
        case Kind::Handle:
        case Kind::PoolOffset:
            return "handle";
        case Kind::Text:
            return "u16[]";
        default:
            return "u32";
    }
}

// The text from the start of a view up to its end, of which no more than is shown is read.
VOWString TextAt(ByteView kBytes)
{
    VOWString strText;
    for (uint64_t i = 0; kBytes.Has(i, sizeof(VOWCHAR)) && strText.size() <= kShownText; i += sizeof(VOWCHAR))
    {
        const VOWCHAR ch = kBytes.Load<VOWCHAR>(i);
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

std::string ShownValue(const ImageLayout& kLayout, ByteView kBytes, Kind eKind)
{
    switch (eKind)
    {
        case Kind::SignedWord:
            return fmt::format("{}", kBytes.Load<int32_t>(0));
        case Kind::Long:
            return fmt::format("{}", kBytes.Long(0));
        case Kind::Time:
            return fmt::format("{} ({})", kBytes.Load<int64_t>(0), LocalTime(kBytes.Load<int64_t>(0)));
        case Kind::Handle:
            return ShownHandle(kBytes.Long(0), StringText(kLayout, kBytes.Long(0)));
        case Kind::Number:
            return kBytes.Word(0) == kListEnd ? "end of list"
                   : kBytes.Word(0) == kHole  ? "hole"
                                              : fmt::format("{}", kBytes.Word(0));
        case Kind::PoolOffset:
            return ShownHandle(kBytes.Long(0), TextAt(kLayout.kTexts.Part(kBytes.Long(0), kLayout.kTexts.Size())));
        case Kind::Index:
            return kBytes.Word(0) == kNoIndex ? "none" : fmt::format("{}", kBytes.Word(0));
        case Kind::Text:
            return Quoted(TextAt(kBytes));
        default:
            return fmt::format("{} ({:#x})", kBytes.Word(0), kBytes.Word(0));
    }
}

void WriteLine(uint64_t ullOffset, ByteView kBytes, std::string_view strType, std::string_view strValue,
               std::string_view strMeaning, Output* pkOutput)
{
    pkOutput->Write(fmt::format("{:#010x}  {:<26}  {:<7}  {:<40}  {}\n", ullOffset, ShownBytes(kBytes), strType,
                                strValue, strMeaning));
}

void DumpRecords(const ImageLayout& kLayout, const char* pszName, const RecordArray& kRecords,
                 std::span<const Field> kFields, uint32_t uRecords, Output* pkOutput)
{
    const uint32_t uShown = std::min(uRecords, kRecords.uCount);
    for (uint32_t i = 0; i < uShown; ++i)
    {
        const ByteView kRecord = kRecords.At(i);
        for (const Field& kField : kFields)
        {
            const ByteView kBytes = kRecord.Part(kField.uAt, kField.uSize);
            WriteLine(kBytes.Offset(), kBytes, TypeName(kField.eKind), ShownValue(kLayout, kBytes, kField.eKind),
                      fmt::format("{} {}: {}", pszName, i, kField.pszMeaning), pkOutput);
        }
    }
    if (uShown < kRecords.uCount)
    {
        pkOutput->Write(fmt::format("            ... {} more: {}\n", kRecords.uCount - uShown, pszName));
    }
}

}  // namespace

void DumpImage(const ImageLayout& kLayout, uint32_t uRecords, Output* pkOutput)
{
    for (const HeadField& kField : kLayout.vecFields)
    {
        WriteLine(kField.ullOffset, kLayout.kAll.Part(kField.ullOffset, kField.uSize), kField.pszType, kField.strValue,
                  fmt::format("{}: {}", kField.pszBlock, kField.pszMeaning), pkOutput);
    }
    DumpRecords(kLayout, "string", kLayout.kStrings, kStringFields, uRecords, pkOutput);
    DumpRecords(kLayout, "text handle", kLayout.kTextHandles, kTextHandleFields, uRecords, pkOutput);
    DumpRecords(kLayout, "primary slot", kLayout.kPrimary.kSlots, kStringSlotFields, uRecords, pkOutput);
    DumpRecords(kLayout, "conflict slot", kLayout.kConflict.kSlots, kStringSlotFields, uRecords, pkOutput);
    DumpRecords(kLayout, "node", kLayout.kNodes, kNodeFields, uRecords, pkOutput);
    DumpRecords(kLayout, "number", kLayout.kNumbers, kNumberFields, uRecords, pkOutput);
    DumpRecords(kLayout, "key slot", kLayout.kKeys.kSlots, kKeySlotFields, uRecords, pkOutput);
    DumpRecords(kLayout, "type", kLayout.kTypes, kTypeFields, uRecords, pkOutput);
}

}  // namespace lum
