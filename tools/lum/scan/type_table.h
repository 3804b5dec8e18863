// The classify table that a publisher gives its containers: a sensible one for 3D content, or one from a file.
#pragma once

#include <string>
#include <vector>

#include "base/files.h"
#include "tray_service_types.h"
#include "vo_types.h"

class VOTSAssetNodeContainer;

namespace lum
{

struct ClassifyType
{
    int nNumber = 0;
    VOWString strName;
    VOWString strExtensions;          // "png|tga|dds"
    LUMTrayService::Color typeColor;  // 0x00RRGGBB
    LUMTrayService::Color backgroundColor;
};

std::vector<ClassifyType> BuiltInTypes();

// Reads a table from a text file: one type per line, "number name ext|ext|ext #rrggbb #rrggbb", the colours optional.
// False with a message that names the line.
bool ReadTypesFile(const std::string& strNative, std::vector<ClassifyType>* pvecTypes, std::string* pstrError);

// The same of the lines of a text; strWhere names it in a message.
bool ReadTypes(const std::string& strWhere, const std::vector<TextLine>& vecLines, std::vector<ClassifyType>* pvecTypes,
               std::string* pstrError);

// Enters a table into an empty Provider. False when the library refuses a type.
bool EnterTypes(const std::vector<ClassifyType>& vecTypes, VOTSAssetNodeContainer* pContainer);

}  // namespace lum
