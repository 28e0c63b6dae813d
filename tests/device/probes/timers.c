/* timers SECONDS PERIOD...: for so long, keeps a one-shot timer and a periodic one of each period, in seconds. At the end it
   says of each how often it fired, and how many microseconds after it was due, by the monotonic clock: at least, where less
   than 0 is early, and at most. */
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <time.h>
#include <userlib.h>

struct Clockwork {
  const char* kind;
  long long period; /* microseconds, as all that follow */
  long long due;
  struct timeval phase;
  long fired;
  long long least;
  long long most;
};

/* Those that are due at the end still count. */
static const long long margin = 500000;
static Select loop;
static long long stop;
static int is_ending;

static long long now(void) {
  struct timespec time;
  clock_gettime(CLOCK_MONOTONIC, &time);
  return time.tv_sec * 1000000LL + time.tv_nsec / 1000;
}

static void note(struct Clockwork* a_clockwork) {
  const long long late = now() - a_clockwork->due;
  if (a_clockwork->due > stop) /* the end may be late, too */
    return;
  a_clockwork->due += a_clockwork->period;
  ++a_clockwork->fired;
  if (late < a_clockwork->least)
    a_clockwork->least = late;
  if (late > a_clockwork->most)
    a_clockwork->most = late;
}

static int32_t fire_once(void* a_clockwork, struct timeval* a_remaining, uint32_t a_unused) {
  (void)a_remaining, (void)a_unused;
  note(a_clockwork);
  return 0;
}

static int32_t fire_again(void* a_clockwork, struct timeval* a_remaining, uint32_t a_unused) {
  struct Clockwork* const clockwork = a_clockwork;
  (void)a_unused;
  note(clockwork);
  return NUV_Timer_againInPhase(a_remaining, &clockwork->phase, NUV_Timer_time(clockwork->period));
}

static int32_t end(void* a_unused, struct timeval* a_remaining, uint32_t a_unused_too) {
  (void)a_unused, (void)a_remaining, (void)a_unused_too;
  is_ending = 1;
  return 0;
}

static void start(struct Clockwork* a_clockwork, const char* a_kind, long a_seconds, NUV_TimeoutRecvFunc a_fire) {
  a_clockwork->kind = a_kind;
  a_clockwork->period = a_seconds * 1000000LL;
  a_clockwork->least = LLONG_MAX;
  a_clockwork->most = LLONG_MIN;
  a_clockwork->due = now() + a_clockwork->period;
  NUV_Timer_set(&loop, NUV_Timer_time(a_clockwork->period), a_clockwork, 0, a_fire);
}

static void tell(const struct Clockwork* a_clockwork) {
  printf("%s %lld s: %ld times, %lld to %lld us late\n", a_clockwork->kind, a_clockwork->period / 1000000,
         a_clockwork->fired, a_clockwork->least, a_clockwork->most);
}

int main(int argc, char** argv) {
  static struct Clockwork clockworks[20];
  int count = 0;
  if (argc < 3 || argc > 12)
    return 2;
  /* What has to be read from the disk first takes a time of the emulator's, not of the board's. */
  if (mlockall(MCL_CURRENT | MCL_FUTURE) != 0)
    return 1;
  NUV_Select_construct(&loop);
  stop = now() + atol(argv[1]) * 1000000LL + margin;
  for (int i = 2; i < argc; ++i) {
    start(&clockworks[count++], "once", atol(argv[i]), fire_once);
    start(&clockworks[count++], "every", atol(argv[i]), fire_again);
  }
  NUV_Timer_set(&loop, NUV_Timer_time(stop - now()), NULL, 0, end);
  while (!is_ending)
    NUV_Select_process(&loop, NULL);
  for (int i = 0; i < count; ++i)
    tell(&clockworks[i]);
  return 0;
}
