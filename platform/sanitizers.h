// Which sanitizers the compiler builds with: each name is 1 or 0. gcc doesn't tell of the one for undefined behaviour,
// which therefore counts as absent there.
#pragma once

#if defined(__has_feature)
#define VO_HAS_FEATURE(Name) __has_feature(Name)
#else
#define VO_HAS_FEATURE(Name) 0
#endif

#if defined(__SANITIZE_ADDRESS__) || VO_HAS_FEATURE(address_sanitizer)
#define VO_ADDRESS_SANITIZER 1
#else
#define VO_ADDRESS_SANITIZER 0
#endif

#if defined(__SANITIZE_THREAD__) || VO_HAS_FEATURE(thread_sanitizer)
#define VO_THREAD_SANITIZER 1
#else
#define VO_THREAD_SANITIZER 0
#endif

#define VO_UNDEFINED_SANITIZER VO_HAS_FEATURE(undefined_behavior_sanitizer)
