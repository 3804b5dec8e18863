// The log file of a lum that runs for long. docs/log-file.md says where it is and what its lines look like.
#pragma once

#include <string>
#include <string_view>

#include "vo_log.h"

namespace lum
{

// From this call on, what lum says on standard error goes to a new file below this folder as well. False with a message
// when the file can't be written. Once in a program.
bool StartLogFile(const std::string& strFolder, std::string* pstrError);

// One line, given without its line end. Nothing happens where no log file was started. Any thread may call it.
void LogLine(VOLOG_PRIORITY emPriority, std::string_view strLine);

// The same for a text of the library's, which brings its line end.
void LogLibraryText(VOLOG_PRIORITY emPriority, const char* pszText);

}  // namespace lum
