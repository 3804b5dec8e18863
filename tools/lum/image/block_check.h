// What the check of an image is put together from.
#pragma once

#include "image/image_check.h"

namespace lum
{

// The nodes of an image: records, child lists, and the table that leads from keys to nodes.
void CheckNodes(const ImageLayout& layout, ImageReport* pReport, Findings* pFindings);

// The string block of an image: records, texts, and the two tables that lead to the records.
void CheckStrings(const ImageLayout& layout, ImageReport* pReport, Findings* pFindings);

// Counts the slots of a table, and checks that a lookup comes to each used one.
TableReport CheckTable(const SlotTable& table, const char* pszName, Findings* pFindings);

// What is wrong with a handle that a record names as a text; an empty text when it is invalid or leads to one.
std::string WrongTextHandle(const ImageLayout& layout, uint64_t ullHandle);

}  // namespace lum
