#undef _FORTIFY_SOURCE
#define _GNU_SOURCE
#include "FaultShim.h"

#include <dlfcn.h>
#include <errno.h>
#include <fnmatch.h>
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

/* CALLS and OWN_CALLS, from calls.py: what the calls answer for a failure. Those of CALLS take up to six whole numbers
   or pointers. They are passed on as they lie in the registers, which goes for variadic functions as well on the
   systems that this project is tested on. */
#include "FaultCalls.h"

#define NUMBER(name, failure) call_##name,
#define NAME(name, failure) #name,
enum { CALLS(NUMBER) OWN_CALLS(NUMBER) callCount };
static const char* const s_calls[] = {CALLS(NAME) OWN_CALLS(NAME)};

enum { SHORT = 1000, KILL };

static volatile enum { NoCall, NotCounted, AnyCall, ChosenCalls } s_which; /* those that are to fail */
static char s_isChosen[callCount];
static int s_error;
static long s_first, s_last, s_uses[callCount], s_allUses, s_fired, s_blocks;
static long s_room = -1; /* bytes that may still be written; -1 for no limit */

#define ADD(variable, amount) __atomic_add_fetch(&(variable), (amount), __ATOMIC_RELAXED)

/* The error that this use is to fail with, or 0. */
static int nextUse(int call) {
  if (s_which == NotCounted) return 0;
  const long own = ADD(s_uses[call], 1);
  const long all = call != call_malloc ? ADD(s_allUses, 1) : 0;
  const long use = s_which == AnyCall ? all : s_which == ChosenCalls && s_isChosen[call] ? own : 0;
  if (use < s_first || use > s_last || use == 0) return 0;
  if (s_error == KILL) raise(SIGKILL);
  ADD(s_fired, 1);
  return errno = s_error;
}

static void* find(const char* name) { return dlsym(RTLD_NEXT, name); }

#define WRAP(name, failure)                                                        \
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

long faultLiveBlocks(void) { return ADD(s_blocks, 0); }

const char* faultCounts(void) {
  static char text[4000];
  size_t end = 0;
  for (int call = 0; call < callCount; ++call)
    if (s_uses[call] != 0)
      end += (size_t)snprintf(text + end, sizeof text - end, "%s %ld\n", s_calls[call], s_uses[call]);
  snprintf(text + end, sizeof text - end, "any %ld\nfired %ld\n", s_allUses, s_fired);
  return text;
}

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
  char name[32] = "", separator[8] = "", error[32] = "";
  int count = 0;
  s_which = NotCounted;
  if (fault == NULL) return;
  s_fired = s_allUses = 0;
  memset(s_uses, 0, sizeof s_uses);
  sscanf(fault, "%31[^:]:%ld%7[+:]%31s", name, &s_first, separator, error);
  s_last = separator[0] == '+' ? LONG_MAX : s_first;
  for (int call = 0; call < callCount; ++call)
    count += s_isChosen[call] = fnmatch(name, s_calls[call], 0) == 0;
  s_error = errorCalled(error);
  if (s_error == 0 || (count == 0 && strcmp(name, "any") != 0)) {
    dprintf(STDERR_FILENO, "no such fault: %s\n", fault);
    abort();
  }
  s_which = count != 0 ? ChosenCalls : AnyCall;
}

__attribute__((constructor)) static void begin(void) {
  const char* const room = getenv("TVK_FAULT_BYTES");
  if (room != NULL) s_room = atol(room);
  if (getenv("TVK_FAULT") != NULL) faultSet(getenv("TVK_FAULT"));
}

__attribute__((destructor)) static void end(void) {
  s_which = NotCounted;
  s_room = -1;
  const char* const path = getenv("TVK_FAULT_COUNTS");
  FILE* const counts = path != NULL ? fopen(path, "w") : NULL;
  if (counts == NULL) return;
  fputs(faultCounts(), counts);
  fclose(counts);
}
