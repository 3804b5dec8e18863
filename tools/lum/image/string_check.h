// The string block of an image: records, texts, and the two tables that lead to the records.
#pragma once

#include "image/image_check.h"

namespace lum
{

void CheckStrings(const ImageLayout& kLayout, ImageReport* pkReport, Findings* pkFindings);

// Counts the slots of a table, and checks that a lookup comes to each used one.
TableReport CheckTable(const SlotTable& kTable, const char* pszName, Findings* pkFindings);

// What is wrong with a handle that a record names as a text; an empty text when it is invalid or leads to one.
std::string WrongTextHandle(const ImageLayout& kLayout, uint64_t ullHandle);

}  // namespace lum
