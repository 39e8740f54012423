/* A program in C that loads the plugin twice: the second time must find everything fresh. */
#include <dlfcn.h>
#include <stdio.h>

int main(int argc, char** argv) {
  int round;
  if (argc != 2) return 1;
  for (round = 1; round <= 2; ++round) {
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
    printf("%d: %s\n", round, work());
    fflush(stdout);
    if (!stop()) return 1;
    dlclose(plugin);
  }
  return 0;
}
