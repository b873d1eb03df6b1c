#pragma once

// Runs code where recursion over a deep tree could not survive.

#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <functional>

namespace vesk::test {

#if defined(__SANITIZE_ADDRESS__)
#define VESK_TEST_LARGE_FRAMES 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VESK_TEST_LARGE_FRAMES 1
#endif
#endif

/// Address sanitizer makes frames larger and keeps data of its own on each thread's stack.
#ifdef VESK_TEST_LARGE_FRAMES
inline constexpr std::size_t kSmallStack = 256 * 1024;
#undef VESK_TEST_LARGE_FRAMES
#else
inline constexpr std::size_t kSmallStack = 64 * 1024;
#endif

/// Calls a piece on a thread that has a stack of `kSmallStack` bytes, or the smallest that the
/// machine gives a thread if that is more, and waits for its end. More stack than that ends the
/// process.
inline void on_small_stack(std::function<void()> piece) {
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  const auto smallest = static_cast<std::size_t>(sysconf(_SC_THREAD_STACK_MIN));
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, std::max(kSmallStack, smallest)), 0);
  pthread_t thread;
  const auto run = [](void* argument) -> void* {
    (*static_cast<std::function<void()>*>(argument))();
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, run, &piece), 0);
  ASSERT_EQ(pthread_join(thread, nullptr), 0);
  ASSERT_EQ(pthread_attr_destroy(&attributes), 0);
}

}  // namespace vesk::test
