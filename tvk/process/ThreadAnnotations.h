// Lock annotations that clang's -Wthread-safety checks; empty for other compilers.
#pragma once

#if defined(__clang__)
#define TVK_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define TVK_THREAD_ANNOTATION(x)
#endif

#define TVK_CAPABILITY(name) TVK_THREAD_ANNOTATION(capability(name))
#define TVK_SCOPED_CAPABILITY TVK_THREAD_ANNOTATION(scoped_lockable)
#define TVK_GUARDED_BY(lock) TVK_THREAD_ANNOTATION(guarded_by(lock))
#define TVK_REQUIRES(...) TVK_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define TVK_EXCLUDES(...) TVK_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define TVK_ACQUIRE(...) TVK_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define TVK_TRY_ACQUIRE(...) TVK_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define TVK_RELEASE(...) TVK_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define TVK_NO_THREAD_SAFETY_ANALYSIS TVK_THREAD_ANNOTATION(no_thread_safety_analysis)
