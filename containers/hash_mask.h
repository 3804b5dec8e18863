// In which of a set's two maps a string stands: the bits of a lookup's mask.
#pragma once

#include "vo_types.h"

constexpr VOULONG kMaskPrimary = 1;
constexpr VOULONG kMaskConflict = 2;
