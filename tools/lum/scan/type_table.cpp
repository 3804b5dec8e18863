#include "scan/type_table.h"

#include <fmt/format.h>

#include <limits>
#include <map>
#include <set>

#include "base/text.h"
#include "vots_asset_node_classify_manager.h"
#include "vots_asset_node_container.h"

using namespace LUMTrayService;

namespace lum
{

namespace
{

bool ParseColor(const VOWString& strWord, Color* pColor)
{
    if (strWord.size() != 7 || strWord[0] != '#')
    {
        return false;
    }
    const std::optional<uint32_t> uValue = ParseNumber("0x" + WrittenForm(strWord.substr(1), Escape::Controls));
    if (!uValue)
    {
        return false;
    }
    pColor->uValue = *uValue;
    return true;
}

// What a table must not hold twice.
struct Taken
{
    std::set<int> setNumbers;
    std::set<VOWString> setNames;
    std::map<VOWString, VOWString> mapExtensions;  // to the type's name
};

// Each of these gives a message when something is wrong, and an empty text otherwise.
std::string CheckNumber(const VOWString& strWord, Taken* pTaken, ClassifyType* pType)
{
    const std::string strShown = WrittenForm(strWord, Escape::Controls);
    const std::optional<uint32_t> uNumber = ParseNumber(strShown);
    if (!uNumber || *uNumber > static_cast<uint32_t>(std::numeric_limits<int>::max()))
    {
        return fmt::format("\"{}\" is no type number (0 to {})", strShown, std::numeric_limits<int>::max());
    }
    pType->nNumber = static_cast<int>(*uNumber);
    if (!pTaken->setNumbers.insert(pType->nNumber).second)
    {
        return fmt::format("the number {} is taken by an earlier type", pType->nNumber);
    }
    return {};
}

std::string CheckName(const VOWString& strWord, Taken* pTaken, ClassifyType* pType)
{
    const std::string strShown = WrittenForm(strWord, Escape::Controls);
    if (strWord.size() >= LENGTH_OF_CLASSIFYNAME)
    {
        return fmt::format("the name \"{}\" is longer than {} characters", strShown, LENGTH_OF_CLASSIFYNAME - 1);
    }
    if (!pTaken->setNames.insert(FoldAscii(strWord)).second)
    {
        return fmt::format("the name \"{}\" is taken by an earlier type", strShown);
    }
    pType->strName = strWord;
    return {};
}

std::string CheckExtensions(const VOWString& strWord, Taken* pTaken, ClassifyType* pType)
{
    if (strWord.size() >= LENGTH_OF_EXTENSIONS)
    {
        return fmt::format("the extension list is longer than {} characters", LENGTH_OF_EXTENSIONS - 1);
    }
    for (const VOWString& strEntry : SplitAt(strWord, VOTEXT("|")))
    {
        const std::string strShown = WrittenForm(strEntry, Escape::Controls);
        if (strEntry.empty())
        {
            return "the extension list has an empty entry";
        }
        if (strEntry.front() == '.' || strEntry.find_first_of(VOTEXT("/\\")) != VOWString::npos)
        {
            return fmt::format("\"{}\" is no extension: they are written without a leading dot and without slashes",
                               strShown);
        }
        const auto [itOwner, bNew] = pTaken->mapExtensions.emplace(FoldAscii(strEntry), pType->strName);
        if (!bNew)
        {
            return fmt::format("the extension \"{}\" belongs to the type \"{}\" already", strShown,
                               WrittenForm(itOwner->second, Escape::Controls));
        }
    }
    pType->strExtensions = strWord;
    return {};
}

std::string CheckColors(const std::vector<VOWString>& vecWords, ClassifyType* pType)
{
    Color* const apkColors[] = {&pType->typeColor, &pType->backgroundColor};
    for (size_t i = 3; i < vecWords.size(); ++i)
    {
        if (!ParseColor(vecWords[i], apkColors[i - 3]))
        {
            return fmt::format("\"{}\" is no colour such as #20a0ff", WrittenForm(vecWords[i], Escape::Controls));
        }
    }
    return {};
}

std::string ParseType(const VOWString& strLine, Taken* pTaken, ClassifyType* pType)
{
    std::vector<VOWString> vecWords = SplitAt(strLine, VOTEXT(" \t"));
    std::erase(vecWords, VOWString());
    if (vecWords.size() < 3 || vecWords.size() > 5)
    {
        return fmt::format("expected \"number name ext|ext|ext #rrggbb #rrggbb\", found {} word{}", vecWords.size(),
                           vecWords.size() == 1 ? "" : "s");
    }
    std::string strWrong = CheckNumber(vecWords[0], pTaken, pType);
    if (strWrong.empty())
    {
        strWrong = CheckName(vecWords[1], pTaken, pType);
    }
    if (strWrong.empty())
    {
        strWrong = CheckExtensions(vecWords[2], pTaken, pType);
    }
    return strWrong.empty() ? CheckColors(vecWords, pType) : strWrong;
}

}  // namespace

std::vector<ClassifyType> BuiltInTypes()
{
    return {
        {1,
         VOTEXT("model"),
         VOTEXT("fbx|obj|gltf|glb|dae|3ds|stl|ply|usd|usda|usdc|usdz|abc|x3d|wrl|lwo|mesh|geo|vox|step|stp|iges|igs"),
         {0x2E86C1},
         {0xEBF5FB}},
        {2,
         VOTEXT("texture"),
         VOTEXT("png|tga|dds|jpg|jpeg|bmp|tif|tiff|hdr|exr|ktx|ktx2|psd|gif|webp|svg|pvr|astc|ico|ppm|pgm"),
         {0x28B463},
         {0xEAFAF1}},
        {3, VOTEXT("material"), VOTEXT("mtl|mat|mtlx|material|mdl|sbs|sbsar|osl"), {0xD68910}, {0xFEF5E7}},
        {4,
         VOTEXT("animation"),
         VOTEXT("anim|ani|bvh|bip|skel|skeleton|motion|mot|clip|amc|asf|trc|c3d|vmd"),
         {0x884EA0},
         {0xF5EEF8}},
        {5,
         VOTEXT("shader"),
         VOTEXT("hlsl|glsl|vert|frag|geom|tesc|tese|comp|fx|fxh|cg|cginc|shader|usf|ush|wgsl|metal|spv"),
         {0xC0392B},
         {0xFDEDEC}},
        {6,
         VOTEXT("scene"),
         VOTEXT("scene|scn|level|map|prefab|world|layout|blend|max|ma|mb|c4d|hip|nif|terrain"),
         {0x17A589},
         {0xE8F8F5}},
        {7, VOTEXT("effect"), VOTEXT("vfx|sfx|pfx|particle|emitter|efx|vdb|vf"), {0xCA6F1E}, {0xFDF2E9}},
        {8, VOTEXT("sound"), VOTEXT("wav|ogg|mp3|flac|aif|aiff|opus|m4a|mid|midi|bank"), {0x2471A3}, {0xEAF2F8}},
        {9, VOTEXT("video"), VOTEXT("mp4|avi|mov|mkv|webm|wmv|ogv|m4v"), {0x7D3C98}, {0xF4ECF7}},
        {10, VOTEXT("font"), VOTEXT("ttf|otf|ttc|woff|woff2|fnt|bdf"), {0x707B7C}, {0xF4F6F6}},
        {11, VOTEXT("script"), VOTEXT("lua|py|js|ts|mel|ms|vbs|sh|bat|cmd|ps1|rb|pl|nut|as"), {0x9A7D0A}, {0xFEF9E7}},
        {12,
         VOTEXT("source"),
         VOTEXT("c|cc|cpp|cxx|h|hh|hpp|hxx|inl|ipp|cs|java|rs|go|m|mm|swift|asm|s|def|idl|tcc|cmake"),
         {0x1F618D},
         {0xEBF5FB}},
        {13,
         VOTEXT("data"),
         VOTEXT("json|xml|yaml|yml|toml|ini|cfg|conf|csv|tab|tsv|db|sqlite|bin|dat|lod|nav"),
         {0x5D6D7E},
         {0xEBEDEF}},
        {14,
         VOTEXT("document"),
         VOTEXT("txt|md|pdf|doc|docx|xls|xlsx|ppt|pptx|html|htm|css|rst|odt|ods|rtf|log"),
         {0x839192},
         {0xF2F4F4}},
        {15, VOTEXT("package"), VOTEXT("zip|7z|rar|tar|gz|bz2|xz|zst|tgz|pak|cab|iso"), {0x6E2C00}, {0xFBEEE6}},
    };
}

bool ReadTypesFile(const std::string& strNative, std::vector<ClassifyType>* pvecTypes, std::string* pstrError)
{
    std::vector<TextLine> vecLines;
    return ReadTextFile(strNative, &vecLines, pstrError) && ReadTypes(strNative, vecLines, pvecTypes, pstrError);
}

bool ReadTypes(const std::string& strWhere, const std::vector<TextLine>& vecLines, std::vector<ClassifyType>* pvecTypes,
               std::string* pstrError)
{
    Taken taken;
    for (const TextLine& line : vecLines)
    {
        ClassifyType type;
        const std::string strWrong = ParseType(line.strText, &taken, &type);
        if (!strWrong.empty())
        {
            *pstrError = fmt::format("{}:{}: {}", strWhere, line.uNumber, strWrong);
            return false;
        }
        pvecTypes->push_back(type);
    }
    return true;
}

bool EnterTypes(const std::vector<ClassifyType>& vecTypes, VOTSAssetNodeContainer* pContainer)
{
    for (const ClassifyType& type : vecTypes)
    {
        if (pContainer->InsertClassifyType(type.nNumber, type.strName.c_str(), type.strExtensions.c_str(),
                                           type.typeColor, type.backgroundColor) == 0)
        {
            return false;
        }
    }
    return pContainer->BuildUpExtensionsHash() != 0;
}

}  // namespace lum
