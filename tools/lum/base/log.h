// What is reported while a command runs: lum's own log file, and the reports of the library. docs/log-file.md says
// where a log file is and what its lines look like.
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

// From this call on, what the library reports goes to standard error, and into the log file where there is one; a
// command doesn't vouch for its own result once something was reported. The library's own way to standard output is
// closed by KeepStandardOutput (base/console.h).
void WatchLibraryLog();

// The first error that the library has reported since; empty when there was none.
std::string FirstLibraryError();

// A text of the library's brings its line end.
inline std::string_view WithoutLineEnd(std::string_view strText)
{
    return strText.substr(0, strText.find_last_not_of('\n') + 1);
}

}  // namespace lum
