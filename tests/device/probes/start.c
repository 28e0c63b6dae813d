/* start COUNT PROGRAM [WORD...]: starts a program so many times, and prints for each start how many instructions the processor
   executes from the fork() until the program waits for the first time, those of the kernel included.

   For a board whose clock counts instructions (tests/device/counting.py). A loop of known length tells how long one takes.

   All of this has real-time priorities: the program has the processor until it waits, and this process has it next. */
#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

enum { LOOPS = 9, TURNS = 500000, INSTRUCTIONS_PER_TURN = 3 };
enum { OURS = 1, PROGRAMS = 2 };

static void fail(const char* what) {
  perror(what);
  exit(1);
}

static double now(void) {
  struct timespec time;
  clock_gettime(CLOCK_MONOTONIC, &time);
  return (double)time.tv_sec * 1e9 + (double)time.tv_nsec;
}

static void set_priority(int priority) {
  if (sched_setscheduler(0, SCHED_FIFO, &(struct sched_param){.sched_priority = priority}) != 0)
    fail("sched_setscheduler");
}

static double time_of_loop(void) {
  unsigned turns = TURNS;
  const double start = now();
  __asm__ volatile(
      ".set push\n.set noreorder\n"
      "1: addiu %0, %0, -1\n"
      "bnez %0, 1b\n"
      "nop\n"
      ".set pop\n"
      : "+r"(turns));
  return now() - start;
}

/* Of several loops, each shorter than a tick of the kernel, the shortest has no tick. */
static double nanoseconds_per_instruction(void) {
  double shortest = time_of_loop();
  for (int i = 1; i < LOOPS; ++i) {
    const double time = time_of_loop();
    if (time < shortest)
      shortest = time;
  }
  return shortest / ((double)TURNS * INSTRUCTIONS_PER_TURN);
}

static void run(int closed_by_exec, char** words) {
  const int null = open("/dev/null", O_RDWR);
  set_priority(PROGRAMS);
  for (int fd = 0; fd < 3; ++fd)
    dup2(null, fd);
  close(null);
  fcntl(closed_by_exec, F_SETFD, FD_CLOEXEC);
  execv(words[0], words);
  _exit(127);
}

/* How often a process has waited so far; -1 if it has ended. */
static int waits(pid_t pid) {
  char line[128];
  int count = -1;
  snprintf(line, sizeof line, "/proc/%d/status", (int)pid);
  FILE* const status = fopen(line, "r");
  while (status != NULL && fgets(line, sizeof line, status) != NULL)
    if (strncmp(line, "State:\tZ", 8) == 0)
      break;
    else
      (void)!sscanf(line, "voluntary_ctxt_switches: %d", &count);
  if (status != NULL)
    fclose(status);
  return count;
}

/* Returns the nanoseconds. */
static double start(char** words) {
  int ends[2];
  char unused;
  if (pipe(ends) != 0)
    fail("pipe");
  const double before = now();
  const pid_t pid = fork();
  if (pid < 0)
    fail("fork");
  if (pid == 0) {
    close(ends[0]);
    run(ends[1], words);
  }
  close(ends[1]);
  (void)!read(ends[0], &unused,
              1); /* until exec() closes the pipe; the program runs then, and this process when it waits */
  const double after = now();
  close(ends[0]);
  usleep(100000);
  const int count = waits(pid);
  kill(pid, SIGKILL);
  waitpid(pid, NULL, 0);
  if (count != 1) { /* the first wait was not for work */
    fprintf(stderr, "start: %s has ended, or waited %d times\n", words[0], count);
    exit(1);
  }
  return after - before;
}

int main(int argc, char** argv) {
  if (argc < 3) {
    fprintf(stderr, "usage: start COUNT PROGRAM [WORD...]\n");
    return 2;
  }
  set_priority(OURS);
  const double scale = nanoseconds_per_instruction();
  printf("%.4f ns per instruction\n", scale);
  for (int i = atoi(argv[1]); i > 0; --i)
    printf("%.0f\n", start(argv + 2) / scale);
  return 0;
}
