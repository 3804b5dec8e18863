#include "image/image_check.h"

#include <set>

#include "image/block_check.h"
#include "vots_asset_node_classify_manager.h"

namespace lum
{

namespace
{

// A text in a field of a fixed number of units.
VOWString FieldText(ByteView field, const char* pszWhat, Findings* pFindings)
{
    VOWString strResult;
    for (uint64_t ullAt = 0; ullAt < field.Size(); ullAt += sizeof(VOWCHAR))
    {
        const VOWCHAR ch = field.Load<VOWCHAR>(ullAt);
        if (ch == 0)
        {
            return strResult;
        }
        strResult += ch;
    }
    pFindings->Add(field.Offset(), "a {} without an end", pszWhat);
    return strResult;
}

}  // namespace

std::vector<TypeReport> TypesOf(const ImageLayout& layout, Findings* pFindings)
{
    std::vector<TypeReport> vecTypes;
    std::set<int32_t> setNumbers;
    for (uint32_t i = 0; i < layout.types.uCount; ++i)
    {
        const ByteView record = layout.types.At(i);
        TypeReport type;
        type.nNumber = record.Load<int32_t>(0);
        type.strName = FieldText(record.Part(offsetof(structAssetNodeClassifyParam, szClassifyName),
                                             LENGTH_OF_CLASSIFYNAME * sizeof(VOWCHAR)),
                                 "type name", pFindings);
        type.strExtensions = FieldText(
            record.Part(offsetof(structAssetNodeClassifyParam, szExtensions), LENGTH_OF_EXTENSIONS * sizeof(VOWCHAR)),
            "list of extensions", pFindings);
        type.uTypeColor = record.Word(offsetof(structAssetNodeClassifyParam, TypeColor));
        type.uBackgroundColor = record.Word(offsetof(structAssetNodeClassifyParam, BackgroundColor));
        if (!setNumbers.insert(type.nNumber).second)
        {
            pFindings->Add(record.Offset(), "a second type with the number {}", type.nNumber);
        }
        vecTypes.push_back(std::move(type));
    }
    return vecTypes;
}

ImageReport CheckImage(const ImageLayout& layout, Findings* pFindings)
{
    ImageReport report;
    CheckStrings(layout, &report, pFindings);
    CheckNodes(layout, &report, pFindings);
    report.vecTypes = TypesOf(layout, pFindings);
    report.strRootPath = StringText(layout, layout.ullRootPath);
    report.strRootName = StringText(layout, layout.ullRootName);
    return report;
}

}  // namespace lum
