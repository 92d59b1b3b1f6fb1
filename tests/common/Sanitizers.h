#pragma once

// What a test needs to know about a sanitized build: whether the allocator is the sanitizer's
// (then a test may not put its own in front of it), and how far limits on the clock stretch.

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define LENTO_SANITIZER_OWNS_THE_HEAP 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define LENTO_SANITIZER_OWNS_THE_HEAP 1
#endif
#endif
#ifndef LENTO_SANITIZER_OWNS_THE_HEAP
#define LENTO_SANITIZER_OWNS_THE_HEAP 0
#endif

#ifndef LENTO_TEST_TIME_SCALE
#define LENTO_TEST_TIME_SCALE 1
#endif

namespace timing {

// 1 in a normal build; set by the build for a sanitized one.
inline constexpr int kScale = LENTO_TEST_TIME_SCALE;

// A limit on elapsed time (milliseconds, seconds) as this build can meet it.
template <typename T>
constexpr T scaled(T limit)
{
    return static_cast<T>(limit * kScale);
}

} // namespace timing
