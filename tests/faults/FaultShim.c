#undef _FORTIFY_SOURCE
#define _GNU_SOURCE
#include "FaultShim.h"

#include <dlfcn.h>
#include <errno.h>
#include <glob.h>
#include <limits.h>
#include <malloc.h>
#include <netdb.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/uio.h>
#include <unistd.h>

#define FIND "EACCES EIO ENOMEM"
#define REMOVE "EROFS EPERM " FIND
#define CHANGE "ENOSPC EDQUOT ENOENT ENOTDIR " REMOVE
#define OPEN "EMFILE ENFILE EINTR " CHANGE

/* Calls that take up to six whole numbers or pointers: what they answer for a failure, and the errors that fit. They
   are passed on as they lie in the registers, which goes for variadic functions as well on the systems that this
   project is tested on. The failure may use the arguments a, b ... and `real`, which runs the call all the same. */
#define CALLS(X)                                                                 \
  X(open, -1, OPEN)                                                              \
  X(openat, -1, OPEN)                                                            \
  X(fopen64, 0, "EMFILE EACCES ENOMEM")                                          \
  X(fdopen, 0, "ENOMEM EMFILE")                                                  \
  X(mkostemp, -1, "EMFILE ENFILE EEXIST " CHANGE)                                \
  X(close, (real(a, b, c, d, e, f), -1), "EIO EINTR ENOSPC EDQUOT")              \
  X(fclose, (real(a, b, c, d, e, f), -1), "EIO EINTR ENOSPC EDQUOT")             \
  X(fsync, -1, "EIO ENOSPC EINTR EDQUOT EROFS EINVAL EOPNOTSUPP")                \
  X(ftruncate, -1, "EIO ENOSPC EINTR EPERM")                                     \
  X(lseek, -1, "EIO ESPIPE ENXIO")                                               \
  X(lseek64, -1, "EIO ESPIPE")                                                   \
  X(fstat, -1, "EIO ENOMEM")                                                     \
  X(stat, -1, FIND)                                                              \
  X(lstat, -1, FIND)                                                             \
  X(fstatat, -1, FIND)                                                           \
  X(rename, -1, CHANGE " EXDEV EEXIST")                                          \
  X(renameat, -1, CHANGE " EXDEV")                                               \
  X(renameat2, -1, CHANGE " EEXIST EINVAL ENOSYS EXDEV")                         \
  X(linkat, -1, CHANGE " EMLINK EXDEV")                                          \
  X(symlinkat, -1, CHANGE)                                                       \
  X(unlink, -1, REMOVE)                                                          \
  X(unlinkat, -1, REMOVE " EBUSY")                                               \
  X(remove, -1, REMOVE)                                                          \
  X(mkdir, -1, CHANGE " EEXIST")                                                 \
  X(mkdirat, -1, CHANGE " EEXIST")                                               \
  X(rmdir, -1, REMOVE " EBUSY")                                                  \
  X(mknodat, -1, CHANGE)                                                         \
  X(readlink, -1, FIND)                                                          \
  X(readlinkat, -1, FIND)                                                        \
  X(realpath, 0, FIND)                                                           \
  X(getcwd, 0, "ENOENT EACCES ENOMEM")                                           \
  X(getdents64, -1, "EIO ENOENT ENOMEM")                                         \
  X(fchmod, -1, "EPERM EROFS EIO")                                               \
  X(fchmodat, -1, "EPERM EROFS EIO")                                             \
  X(fchown, -1, "EPERM EROFS EIO")                                               \
  X(fchownat, -1, "EPERM EROFS EIO")                                             \
  X(utimensat, -1, CHANGE)                                                       \
  X(futimens, -1, "EPERM EROFS EIO")                                             \
  X(flistxattr, -1, "EOPNOTSUPP ERANGE EIO")                                     \
  X(fgetxattr, -1, "ENODATA ERANGE EIO")                                         \
  X(fsetxattr, -1, "EOPNOTSUPP ENOSPC EPERM")                                    \
  X(glob, error == ENOMEM ? GLOB_NOSPACE : GLOB_ABORTED, "ENOMEM EIO")           \
  X(getentropy, -1, "ENOSYS EIO")                                                \
  X(fcntl, -1, "EMFILE EINVAL")                                                  \
  X(dup3, -1, "EBUSY EINTR EMFILE")                                              \
  X(ioctl, -1, "ENOTTY EIO")                                                     \
  X(isatty, 0, "ENOTTY EIO")                                                     \
  X(tcgetattr, -1, "EIO ENOTTY")                                                 \
  X(tcsetattr, -1, "EIO EINTR")                                                  \
  X(tcgetpgrp, -1, "ENOTTY EIO")                                                 \
  X(select, -1, "EINTR ENOMEM EBADF")                                            \
  X(fwrite_unlocked, 0, "ENOSPC EIO EPIPE")                                      \
  X(fflush_unlocked, EOF, "ENOSPC EIO EPIPE")                                    \
  X(getc_unlocked, EOF, "EIO EINTR")                                             \
  X(vsnprintf, -1, "EILSEQ ENOMEM")                                              \
  X(iconv_open, -1, "EMFILE ENOMEM EINVAL")                                      \
  X(iconv, -1, "EILSEQ EINVAL")                                                  \
  X(pthread_create, error, "EAGAIN EPERM ENOMEM")                                \
  X(pthread_attr_init, error, "ENOMEM")                                          \
  X(pthread_attr_setstacksize, error, "EINVAL")                                  \
  X(pthread_mutex_init, error, "EAGAIN ENOMEM")                                  \
  X(socket, -1, "EMFILE EACCES ENOMEM")                                          \
  X(getaddrinfo, error == ENOMEM ? EAI_MEMORY : EAI_SYSTEM, "ENOMEM EIO EMFILE") \
  X(getnameinfo, error == ENOMEM ? EAI_MEMORY : EAI_SYSTEM, "ENOMEM EIO EMFILE") \
  X(gethostname, -1, "ENAMETOOLONG")                                             \
  X(uname, -1, "EFAULT")                                                         \
  X(clock_gettime, -1, "EINVAL")                                                 \
  X(localtime_r, 0, "EOVERFLOW")                                                 \
  X(mktime, -1, "EOVERFLOW")                                                     \
  X(dlopen, real((long)"/dev/null/none", b, c, d, e, f), "EACCES")               \
  X(dlclose, -1, "EINVAL")

/* Those with a wrapper of their own below. */
#define MORE_CALLS(X)                              \
  X(read, -1, "EIO EINTR SHORT")                   \
  X(write, -1, "ENOSPC EIO EINTR EDQUOT SHORT")    \
  X(writev, -1, "ENOSPC EIO EINTR EDQUOT SHORT")   \
  X(copy_file_range, -1, "ENOSPC EIO EXDEV SHORT") \
  X(malloc, 0, "ENOMEM")

#define NUMBER(name, failure, errors) call_##name,
#define ROW(name, failure, errors) {#name, " " errors " "},
enum { CALLS(NUMBER) MORE_CALLS(NUMBER) callCount };
static const char* const s_calls[][2] = {CALLS(ROW) MORE_CALLS(ROW){NULL, NULL}};

enum { anyCall = -1, noCall = -2, SHORT = 1000, KILL };

static volatile int s_call = noCall; /* the one that is to fail */
static int s_error;
static long s_first, s_last, s_uses[callCount], s_allUses, s_fired, s_blocks;
static long s_room = -1; /* bytes that may still be written; -1 for no limit */

#define ADD(variable, amount) __atomic_add_fetch(&(variable), (amount), __ATOMIC_RELAXED)

/* The error that this use is to fail with, or 0. */
static int nextUse(int call) {
  const long own = ADD(s_uses[call], 1);
  const long all = call != call_malloc ? ADD(s_allUses, 1) : 0;
  const long use = s_call == call ? own : s_call == anyCall ? all : 0;
  if (use < s_first || use > s_last || use == 0) return 0;
  if (s_error == KILL) raise(SIGKILL);
  ADD(s_fired, 1);
  return errno = s_error;
}

static void* find(const char* name) { return dlsym(RTLD_NEXT, name); }

#define WRAP(name, failure, errors)                                                \
  long wrap_##name(long a, long b, long c, long d, long e, long f) __asm__(#name); \
  long wrap_##name(long a, long b, long c, long d, long e, long f) {               \
    static long (*real)(long, long, long, long, long, long);                       \
    if (real == NULL) *(void**)&real = find(#name);                                \
    const int error = nextUse(call_##name);                                        \
    if (error == 0) return real(a, b, c, d, e, f);                                 \
    const long answer = failure;                                                   \
    return errno = error, answer;                                                  \
  }
CALLS(WRAP)

#define REAL(name)                                \
  static __typeof__(name)* real;                  \
  if (real == NULL) *(void**)&real = find(#name); \
  const int error = nextUse(call_##name);         \
  if (error != 0 && error != SHORT) return -1

/* Cuts a piece to write to half, or to the room that is left; false when there is none. */
static int cut(int error, size_t* size) {
  if (error == SHORT) *size = (*size + 1) / 2;
  if (s_room < 0 || *size == 0) return 1;
  if (s_room == 0) return errno = ENOSPC, 0;
  if ((long)*size > s_room) *size = (size_t)s_room;
  return 1;
}

static ssize_t wrote(ssize_t written) {
  if (s_room >= 0 && written > 0) ADD(s_room, -written);
  return written;
}

ssize_t read(int descriptor, void* buffer, size_t size) {
  REAL(read);
  return real(descriptor, buffer, error == SHORT ? (size + 1) / 2 : size);
}

ssize_t write(int descriptor, const void* buffer, size_t size) {
  REAL(write);
  return cut(error, &size) ? wrote(real(descriptor, buffer, size)) : -1;
}

/* The first piece alone is a short write, too. */
ssize_t writev(int descriptor, const struct iovec* pieces, int count) {
  REAL(writev);
  if (error == 0 && s_room < 0) return real(descriptor, pieces, count);
  struct iovec first = *pieces;
  return cut(error, &first.iov_len) ? wrote(real(descriptor, &first, 1)) : -1;
}

ssize_t copy_file_range(int from, off64_t* at, int to, off64_t* toAt, size_t size, unsigned flags) {
  REAL(copy_file_range);
  return cut(error, &size) ? wrote(real(from, at, to, toAt, size, flags)) : -1;
}

#ifndef TVK_FAULTS_WITHOUT_ALLOCATIONS
void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);
void* __libc_memalign(size_t, size_t);
void __libc_free(void*);

static void* counted(void* block) { return ADD(s_blocks, block != NULL), block; }

void* malloc(size_t n) { return nextUse(call_malloc) != 0 ? NULL : counted(__libc_malloc(n)); }
void* calloc(size_t m, size_t n) { return nextUse(call_malloc) != 0 ? NULL : counted(__libc_calloc(m, n)); }
void* memalign(size_t a, size_t n) {
  return nextUse(call_malloc) != 0 ? NULL : counted(__libc_memalign(a, n));
}
void* aligned_alloc(size_t a, size_t n) { return memalign(a, n); }
int posix_memalign(void** block, size_t a, size_t n) {
  return (*block = memalign(a, n)) != NULL ? 0 : ENOMEM;
}

void* realloc(void* block, size_t n) {
  if (nextUse(call_malloc) != 0) return NULL;
  void* const moved = __libc_realloc(block, n);
  ADD(s_blocks, (moved != NULL) - (block != NULL && (moved != NULL || n == 0)));
  return moved;
}

void free(void* block) {
  ADD(s_blocks, -(block != NULL));
  __libc_free(block);
}
#endif

const char* faultCall(int call) { return s_calls[call][0]; }
const char* faultErrors(int call) { return s_calls[call][1]; }
long faultsFired(void) { return s_fired; }
long faultUses(int call) { return s_uses[call]; }
long faultLiveBlocks(void) { return __atomic_load_n(&s_blocks, __ATOMIC_RELAXED); }

static int errorCalled(const char* name) {
  if (strcmp(name, "SHORT") == 0) return SHORT;
  if (strcmp(name, "KILL") == 0) return KILL;
  for (int error = 1; error < 134; ++error) {
    const char* const known = strerrorname_np(error);
    if (known != NULL && strcmp(known, name) == 0) return error;
  }
  return 0;
}

void faultSet(const char* fault) {
  char name[32] = "", error[32] = "";
  int call = 0;
  s_call = noCall;
  s_fired = s_allUses = 0;
  memset(s_uses, 0, sizeof s_uses);
  if (fault == NULL) return;
  if (sscanf(fault, "%31[^:]:%ld+:%31s", name, &s_first, error) == 3) {
    s_last = LONG_MAX;
  } else if (sscanf(fault, "%31[^:]:%ld:%31s", name, &s_first, error) == 3) {
    s_last = s_first;
  }
  while (call < callCount && strcmp(s_calls[call][0], name) != 0) ++call;
  s_error = errorCalled(error);
  if (s_error == 0 || (call == callCount && strcmp(name, "any") != 0)) {
    dprintf(STDERR_FILENO, "no such fault: %s\n", fault);
    abort();
  }
  s_call = call < callCount ? call : anyCall;
}

__attribute__((constructor)) static void begin(void) {
  const char* const room = getenv("TVK_FAULT_BYTES");
  if (room != NULL) s_room = atol(room);
  faultSet(getenv("TVK_FAULT"));
}

__attribute__((destructor)) static void end(void) {
  s_call = noCall;
  s_room = -1;
  const char* const path = getenv("TVK_FAULT_COUNTS");
  FILE* const counts = path != NULL ? fopen(path, "w") : NULL;
  if (counts == NULL) return;
  for (int call = 0; call < callCount; ++call)
    if (s_uses[call] != 0) fprintf(counts, "%s %ld\n", s_calls[call][0], s_uses[call]);
  fprintf(counts, "any %ld\nfired %ld\n", s_allUses, s_fired);
  fclose(counts);
}
