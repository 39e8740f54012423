/* What the module offers to its host, in C. */
#ifndef PATHS_H
#define PATHS_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* To be called before all else and after it; 1 on success, 0 otherwise. */
typedef int PathsStart(void);
typedef int PathsStop(void);

/* Writes the real path of `path`, or why there is none, into the buffer as far as it fits, zero-terminated.
   1 for a path, 0 for a failure. */
typedef int PathsReal(const char* path, char* buffer, size_t size);

#ifdef __cplusplus
}
#endif

#endif
