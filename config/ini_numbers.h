// How numbers are written into an INI file.
#pragma once

// Of a double, where the caller names no format.
constexpr const char* kDefaultDoubleFormat = "%1.10lE";
