// The nodes of an image: records, child lists, and the table that leads from keys to nodes.
#pragma once

#include "image/image_check.h"

namespace lum
{

void CheckNodes(const ImageLayout& layout, ImageReport* pReport, Findings* pFindings);

}  // namespace lum
