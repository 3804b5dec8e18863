#include "image/image_check.h"

#include <fmt/format.h>

#include <set>

#include "image/node_check.h"
#include "image/string_check.h"
#include "vots_asset_node_classify_manager.h"

namespace lum
{

namespace
{

// A text in a field of a fixed number of units.
VOWString FieldText(ByteView kField, const char* pszWhat, Findings* pkFindings)
{
    VOWString strResult;
    for (uint64_t ullAt = 0; ullAt < kField.Size(); ullAt += sizeof(VOWCHAR))
    {
        const VOWCHAR ch = kField.Load<VOWCHAR>(ullAt);
        if (ch == 0)
        {
            return strResult;
        }
        strResult += ch;
    }
    pkFindings->Add(kField.Offset(), fmt::format("a {} without an end", pszWhat));
    return strResult;
}

}  // namespace

std::vector<TypeReport> TypesOf(const ImageLayout& kLayout, Findings* pkFindings)
{
    std::vector<TypeReport> vecTypes;
    std::set<int32_t> setNumbers;
    for (uint32_t i = 0; i < kLayout.kTypes.uCount; ++i)
    {
        const ByteView kRecord = kLayout.kTypes.At(i);
        TypeReport kType;
        kType.nNumber = kRecord.Load<int32_t>(0);
        kType.strName = FieldText(kRecord.Part(offsetof(structAssetNodeClassifyParam, szClassifyName),
                                               LENGTH_OF_CLASSIFYNAME * sizeof(VOWCHAR)),
                                  "type name", pkFindings);
        kType.strExtensions = FieldText(
            kRecord.Part(offsetof(structAssetNodeClassifyParam, szExtensions), LENGTH_OF_EXTENSIONS * sizeof(VOWCHAR)),
            "list of extensions", pkFindings);
        kType.uTypeColor = kRecord.Word(offsetof(structAssetNodeClassifyParam, TypeColor));
        kType.uBackgroundColor = kRecord.Word(offsetof(structAssetNodeClassifyParam, BackgroundColor));
        if (!setNumbers.insert(kType.nNumber).second)
        {
            pkFindings->Add(kRecord.Offset(), fmt::format("a second type with the number {}", kType.nNumber));
        }
        vecTypes.push_back(std::move(kType));
    }
    return vecTypes;
}

ImageReport CheckImage(const ImageLayout& kLayout, Findings* pkFindings)
{
    ImageReport kReport;
    CheckStrings(kLayout, &kReport, pkFindings);
    CheckNodes(kLayout, &kReport, pkFindings);
    kReport.vecTypes = TypesOf(kLayout, pkFindings);
    kReport.strRootPath = StringText(kLayout, kLayout.ullRootPath);
    kReport.strRootName = StringText(kLayout, kLayout.ullRootName);
    return kReport;
}

}  // namespace lum
