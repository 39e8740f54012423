// Which sanitizers the code is compiled with, in one way for gcc and clang.
#pragma once

#if defined(__has_feature)
#define TVK_HAS_FEATURE(x) __has_feature(x)
#else
#define TVK_HAS_FEATURE(x) 0
#endif

#if defined(__SANITIZE_THREAD__) || TVK_HAS_FEATURE(thread_sanitizer)
#define TVK_THREAD_SANITIZER 1
#else
#define TVK_THREAD_SANITIZER 0
#endif

#if defined(__SANITIZE_ADDRESS__) || TVK_HAS_FEATURE(address_sanitizer)
#define TVK_ADDRESS_SANITIZER 1
#else
#define TVK_ADDRESS_SANITIZER 0
#endif
