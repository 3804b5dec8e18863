// Which sanitizer a test runs under.
#pragma once

namespace votest
{
// The thread sanitizer holds signals back until the thread makes one of the calls that it knows, so a thread that makes
// none is never interrupted.
#if defined(__SANITIZE_THREAD__)
constexpr bool kHoldsSignalsBack = true;
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
constexpr bool kHoldsSignalsBack = true;
#else
constexpr bool kHoldsSignalsBack = false;
#endif
#else
constexpr bool kHoldsSignalsBack = false;
#endif

// The undefined-behaviour sanitizer asks the system for descriptors to look at an object's type, and takes the lack of
// them for a wrong one: a program of it must not run out of them.
#if defined(__has_feature)
#if __has_feature(undefined_behavior_sanitizer)
constexpr bool kNeedsDescriptors = true;
#else
constexpr bool kNeedsDescriptors = false;
#endif
#else
constexpr bool kNeedsDescriptors = false;
#endif
}  // namespace votest
