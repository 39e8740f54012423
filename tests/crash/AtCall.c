/* Runs a program and does something when its threads together come to their n-th system call, before that call is
   made: kills it, runs a command of the shell, or exchanges what two names stand for and puts them back SPAN calls
   later (never for 0).

     at_call kill N COUNT PROGRAM ARGUMENTS...
     at_call run COMMAND N COUNT PROGRAM ARGUMENTS...
     at_call swap NAME NAME SPAN N COUNT PROGRAM ARGUMENTS...

   With N 0 nothing is done. The number of the calls goes to the file COUNT; the exit status is that of the program,
   137 when it was killed. */
#define _GNU_SOURCE
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
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
  if (argc < 5) return 2;
  const int kills = strcmp(argv[1], "kill") == 0, swaps = strcmp(argv[1], "swap") == 0;
  char** const run = argv + (kills ? 2 : swaps ? 5 : 3);
  if (run + 2 >= argv + argc) return 2;
  const long first = strtol(run[0], NULL, 10);
  const long second = swaps && strtol(argv[4], NULL, 10) > 0 ? first + strtol(argv[4], NULL, 10) : first;
  long calls = 0;
  int status, result = 0;
  const pid_t program = fork();
  if (program == 0) {
    ptrace(PTRACE_TRACEME, 0, NULL, NULL);
    raise(SIGSTOP);
    execv(run[2], run + 2);
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
      ++calls;
      const int isTime = first > 0 && (calls == first || calls == second);
      if (isTime && swaps) renameat2(AT_FDCWD, argv[2], AT_FDCWD, argv[3], RENAME_EXCHANGE);
      if (isTime && kills) kill(program, SIGKILL);
      if (isTime && !kills && !swaps && system(argv[2]) != 0) return 2;
    } else if (WSTOPSIG(status) != (SIGTRAP | 0x80) && WSTOPSIG(status) != SIGTRAP &&
               WSTOPSIG(status) != SIGSTOP) {
      signal = WSTOPSIG(status);
    }
    ptrace(PTRACE_SYSCALL, thread, NULL, signal);
  }
  FILE* const count = fopen(run[1], "w");
  return count != NULL && fprintf(count, "%ld\n", calls) > 0 && fclose(count) == 0 ? result : 2;
}
