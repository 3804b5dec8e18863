// The INI file that public options are written in. docs/lum.md says what its keys are.
#pragma once

#include <string>

#include "vo_public_option.h"

namespace lum
{

// The record that a file stands for, to the byte. False with a message for a file that can't be read, and for anything
// in it that wouldn't be published as it is written.
bool ReadOptionFile(const std::string& strNative, VOPublicOptionRecord* pRecord, std::string* pstrError);

}  // namespace lum
