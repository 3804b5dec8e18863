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
}  // namespace votest
