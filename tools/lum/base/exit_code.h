// What every command of lum ends with.
#pragma once

namespace lum
{

constexpr int kExitFound = 0;     // done, or found
constexpr int kExitNotFound = 1;  // the question was answered: there is no such thing
constexpr int kExitError = 2;     // it could not be done, or the question could not be answered

}  // namespace lum
