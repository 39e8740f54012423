/* A program in C that loads the plugin again and again, twice unless told otherwise: each time it must find
 * everything fresh, and once the allocator's caches are filled nothing may grow.
 *
 *   host PLUGIN [ROUNDS] */
#include <dlfcn.h>
#include <malloc.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

static size_t memoryInUse(void) { return mallinfo2().uordblks + mallinfo2().hblkhd; }

static int nextDescriptor(void) {
  const int next = dup(STDIN_FILENO);
  close(next);
  return next;
}

enum { warmUp = 20 };

int main(int argc, char** argv) {
  const int rounds = argc > 2 ? atoi(argv[2]) : 2;
  size_t memory = 0;
  int descriptor = 0;
  int round;
  if (argc < 2) return 1;
  for (round = 1; round <= rounds; ++round) {
    void* plugin = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    int (*start)(void);
    const char* (*work)(void);
    int (*stop)(void);
    if (plugin == NULL) {
      fprintf(stderr, "%s\n", dlerror());
      return 1;
    }
    *(void**)&start = dlsym(plugin, "pluginStart");
    *(void**)&work = dlsym(plugin, "pluginWork");
    *(void**)&stop = dlsym(plugin, "pluginStop");
    if (start == NULL || work == NULL || stop == NULL || !start()) return 1;
    if (round <= 2) {
      printf("%d: %s\n", round, work());
      fflush(stdout);
    } else {
      work();
    }
    if (!stop()) return 1;
    dlclose(plugin);
    if (round == warmUp) {
      memory = memoryInUse();
      descriptor = nextDescriptor();
    }
  }
  if (rounds > warmUp && (memoryInUse() > memory || nextDescriptor() != descriptor)) {
    printf("%d rounds: %ld bytes more, descriptor %d after %d\n", rounds, (long)(memoryInUse() - memory),
           nextDescriptor(), descriptor);
    return 1;
  }
  return 0;
}
