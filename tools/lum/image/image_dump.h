// An image, value by value: offset, bytes, type, value, meaning.
#pragma once

#include <string>

#include "image/image_layout.h"

namespace lum
{

class Output;

// Writes all heads, and the first uRecords records of each array.
void DumpImage(const ImageLayout& layout, uint32_t uRecords, Output* pOutput);

}  // namespace lum
