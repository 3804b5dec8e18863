// The INI file that public options are written in. docs/lum.md says what its keys are.
#pragma once

#include <string>

#include "vo_public_option.h"

namespace lum
{

// The record that a file stands for, to the byte. A Failure for a file that can't be read, and for anything in it that
// wouldn't be published as it is written.
VOPublicOptionRecord ReadOptionFile(const std::string& strNative);

}  // namespace lum
