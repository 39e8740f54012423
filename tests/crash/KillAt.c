/* Runs a program and kills it when its threads together come to their n-th system call, before that call is
   made: kill_at N COUNT PROGRAM ARGUMENTS... With 0 it is never killed. The number of the calls goes to the
   file COUNT; the exit status is that of the program, 137 when it was killed. */
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/ptrace.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

static int comes_to_call(pid_t thread, int status) {
  struct __ptrace_syscall_info info;
  return WSTOPSIG(status) == (SIGTRAP | 0x80) &&
         ptrace(PTRACE_GET_SYSCALL_INFO, thread, sizeof info, &info) > 0 &&
         info.op == PTRACE_SYSCALL_INFO_ENTRY;
}

int main(int argc, char** argv) {
  const long last = argc > 3 ? strtol(argv[1], NULL, 10) : 0;
  long calls = 0;
  int status, result = 0;
  if (argc < 4) return 2;
  const pid_t program = fork();
  if (program == 0) {
    ptrace(PTRACE_TRACEME, 0, NULL, NULL);
    raise(SIGSTOP);
    execv(argv[3], argv + 3);
    _exit(127);
  }
  if (program < 0 || waitpid(program, &status, 0) != program || !WIFSTOPPED(status)) return 2;
  ptrace(PTRACE_SETOPTIONS, program, NULL,
         PTRACE_O_EXITKILL | PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_TRACEEXEC |
             PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK);
  ptrace(PTRACE_SYSCALL, program, NULL, 0L);
  for (pid_t thread; (thread = waitpid(-1, &status, __WALL)) > 0;) {
    long signal = 0;
    if (!WIFSTOPPED(status)) {
      if (thread == program) result = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
      continue;
    }
    if (comes_to_call(thread, status)) {
      if (++calls == last) kill(program, SIGKILL);
    } else if (WSTOPSIG(status) != (SIGTRAP | 0x80) && WSTOPSIG(status) != SIGTRAP &&
               WSTOPSIG(status) != SIGSTOP) {
      signal = WSTOPSIG(status);
    }
    ptrace(PTRACE_SYSCALL, thread, NULL, signal);
  }
  FILE* const count = fopen(argv[2], "w");
  return count != NULL && fprintf(count, "%ld\n", calls) > 0 && fclose(count) == 0 ? result : 2;
}
