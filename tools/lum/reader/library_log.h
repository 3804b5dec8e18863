// What the library reports while a command runs. The library's log goes to standard output as well, which it does only
// when something is wrong: a command that has seen a line doesn't vouch for its own result.
#pragma once

#include <string>

namespace lum
{

// Starts to listen.
void WatchLibraryLog();

// The first line that was reported since; empty when there was none.
std::string FirstLibraryError();

}  // namespace lum
