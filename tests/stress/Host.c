/* A program in C that loads a plugin again and again: once the allocator's caches are filled nothing may grow.
 *
 *   host PLUGIN ROUNDS */
#include <dlfcn.h>
#include <malloc.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

int main(int argc, char** argv) {
  const int rounds = argc > 2 ? atoi(argv[2]) : 0;
  size_t memory = 0;
  int descriptor = 0;
  for (int round = 0; round < rounds; ++round) {
    void* const plugin = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    int (*run)(void) = NULL;
    if (plugin != NULL) *(void**)&run = dlsym(plugin, "pluginRun");
    const int result = run != NULL ? run() : 99;
    if (result != 0 || dlclose(plugin) != 0) return printf("round %d: %d\n", round, result), 1;
    const struct mallinfo2 used = mallinfo2();
    const int next = dup(STDIN_FILENO);
    close(next);
    if (round == 20) memory = used.uordblks + used.hblkhd, descriptor = next;
    if (round > 20 && (used.uordblks + used.hblkhd > memory || next != descriptor))
      return printf("round %d: %ld bytes, descriptor %d\n", round, (long)(used.uordblks - memory), next), 1;
  }
  return rounds > 20 ? 0 : 1;
}
