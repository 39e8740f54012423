/* Stands in for fsync(2) in a tvkpack of the tests: forces nothing, and runs the command in AT_FSYNC, whose
   exit status is the error that fsync fails with. A new file is forced when nothing has been replaced yet,
   its folder afterwards. */
#include <errno.h>
#include <stdlib.h>
#include <sys/wait.h>

int __wrap_fsync(int descriptor);
int __wrap_fsync(int descriptor) {
  const char* command = getenv("AT_FSYNC");
  (void)descriptor;
  if (command == NULL || *command == '\0') return 0;
  errno = WEXITSTATUS(system(command));
  return errno == 0 ? 0 : -1;
}
