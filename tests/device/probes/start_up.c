/* How long a program takes from fork() to its end: start_up ROUNDS PROGRAM [ARGUMENT...]. Prints the least, in
   microseconds. */
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

static long microseconds(void) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return (long)now.tv_sec * 1000000 + now.tv_nsec / 1000;
}

static long once(char** program) {
  const long start = microseconds();
  int status = 0;
  const pid_t child = fork();
  if (child == 0) {
    execv(program[0], program);
    _exit(127);
  }
  if (waitpid(child, &status, 0) != child || status != 0) {
    fprintf(stderr, "start_up: %s ends with status %d\n", program[0], status);
    exit(1);
  }
  return microseconds() - start;
}

int main(int argc, char** argv) {
  long least = -1;
  if (argc < 3)
    return 2;
  for (long round = atol(argv[1]); round > 0; --round) {
    const long took = once(argv + 2);
    if (least < 0 || took < least)
      least = took;
  }
  printf("%ld\n", least);
  return 0;
}
