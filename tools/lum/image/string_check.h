// The string block of an image: records, texts, and the two tables that lead to the records.
#pragma once

#include "image/image_check.h"

namespace lum
{

void CheckStrings(const ImageLayout& layout, ImageReport* pReport, Findings* pFindings);

// Counts the slots of a table, and checks that a lookup comes to each used one.
TableReport CheckTable(const SlotTable& table, const char* pszName, Findings* pFindings);

// What is wrong with a handle that a record names as a text; an empty text when it is invalid or leads to one.
std::string WrongTextHandle(const ImageLayout& layout, uint64_t ullHandle);

}  // namespace lum
