// What a test can't ask for under a sanitizer.
#pragma once

#include "platform/sanitizers.h"

namespace votest
{
// The thread sanitizer holds signals back until the thread makes one of the calls that it knows, so a thread that makes
// none is never interrupted.
constexpr bool kHoldsSignalsBack = VO_THREAD_SANITIZER != 0;

// The undefined-behaviour sanitizer asks the system for descriptors to look at an object's type, and takes the lack of
// them for a wrong one: a program of it must not run out of them.
constexpr bool kNeedsDescriptors = VO_UNDEFINED_SANITIZER != 0;
}  // namespace votest
