/* module_host MODULE PATH...: a plain C program that loads a module and asks it for real paths. */
#include <dlfcn.h>
#include <stdio.h>

#include "paths.h"

int main(int argc, char** argv) {
  void* module = argc > 1 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : NULL;
  if (module == NULL) {
    fprintf(stderr, "no module: %s\n", argc > 1 ? dlerror() : "name one");
    return 1;
  }
  PathsStart* start;
  PathsReal* real;
  PathsStop* stop;
  *(void**)&start = dlsym(module, "pathsStart");
  *(void**)&real = dlsym(module, "pathsReal");
  *(void**)&stop = dlsym(module, "pathsStop");
  if (start == NULL || real == NULL || stop == NULL || !start()) {
    fprintf(stderr, "the module does not start\n");
    return 1;
  }
  for (int i = 2; i < argc; ++i) {
    char text[4096];
    real(argv[i], text, sizeof text);
    puts(text);
  }
  const int isDown = stop();
  dlclose(module);
  if (fflush(stdout) != 0 || ferror(stdout)) {
    perror("module_host");
    return 1;
  }
  return isDown ? 0 : 1;
}
