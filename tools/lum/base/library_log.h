// What the library reports while a command runs: on standard error, in the log file where there is one, and for a
// command that doesn't vouch for its own result once something was reported.
#pragma once

#include <string>

namespace lum
{

// From this call on. The library's own way to standard output is closed by KeepStandardOutput (base/console.h).
void WatchLibraryLog();

// The first error that was reported since; empty when there was none.
std::string FirstLibraryError();

}  // namespace lum
