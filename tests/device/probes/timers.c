/* Lets timers fire for some time, and compares each with the monotonic clock: timers SECONDS TICK, where TICK is what they
   may be late by, in microseconds. None may be early, and none may be missing. Ends with 1 if one was, and says how late the
   latest came.

   What timer callbacks take ages no timer, so a long one is late by all that the others have taken meanwhile. Those that are
   not "plain" are armed for ten seconds at most, as a daemon does that has to be on time in an hour, too. */
#include <stdio.h>
#include <stdlib.h>
#include <time.h>
#include <userlib.h>

struct Clockwork {
  long long period; /* microseconds */
  int is_plain;
  long long due;   /* since the start, as all that follow */
  long long armed; /* when it has to fire at the earliest: when it is due, or before */
  long long late;  /* the most that it was */
  long long early; /* the most that it was */
  long fired;
};

static struct Clockwork clockworks[] = {{.period = 130000},
                                        {.period = 1000000},
                                        {.period = 7000000},
                                        {.period = 60000000},
                                        {.period = 61300000},
                                        {.period = 599999999},
                                        {.period = 3600000000},
                                        {.period = 21600000000},
                                        {.period = 60000000, .is_plain = 1},
                                        {.period = 3600000000, .is_plain = 1}};

enum { COUNT = sizeof clockworks / sizeof *clockworks };

/* A plain one may be late by a thousandth of its period, too. */
enum { PLAIN_SHARE = 1000 };

static const long long hop = 10000000;
static Select loop;
static long long start;
static long long stop;
static int is_ending;

static long long since_start(void) {
  struct timespec time;
  clock_gettime(CLOCK_MONOTONIC, &time);
  return time.tv_sec * 1000000LL + time.tv_nsec / 1000 - start;
}

static struct timeval arm(struct Clockwork* a_clockwork) {
  const long long now = since_start();
  const long long left = a_clockwork->due - now;
  const long long delay = !a_clockwork->is_plain && left > hop ? hop : left > 0 ? left : 0;
  a_clockwork->armed = now + delay;
  return NUV_Timer_time(delay);
}

static int32_t fire(void* a_clockwork, struct timeval* a_remaining, uint32_t a_unused) {
  struct Clockwork* const clockwork = a_clockwork;
  const long long now = since_start();
  (void)a_unused;
  if (clockwork->armed - now > clockwork->early)
    clockwork->early = clockwork->armed - now;
  if (now >= clockwork->due) {
    if (now - clockwork->due > clockwork->late)
      clockwork->late = now - clockwork->due;
    ++clockwork->fired;
    clockwork->due += clockwork->period;
  }
  return NUV_Timer_again(a_remaining, arm(clockwork));
}

static int32_t end(void* a_unused, struct timeval* a_remaining, uint32_t a_unused_too) {
  (void)a_unused, (void)a_unused_too;
  is_ending = since_start() >= stop;
  return NUV_Timer_again(a_remaining, NUV_Timer_time(hop));
}

static int tell(const struct Clockwork* a_clockwork, long long a_length, long long a_tick) {
  const long expected = (long)(a_length / a_clockwork->period);
  const long long allowed = a_tick + (a_clockwork->is_plain ? a_clockwork->period / PLAIN_SHARE : 0);
  const int is_right = a_clockwork->fired >= expected && a_clockwork->late <= allowed && a_clockwork->early == 0;
  printf("timers: every %lld us%s: %ld times (%ld expected), at most %lld us early, %lld us late (%lld allowed)%s\n",
         a_clockwork->period, a_clockwork->is_plain ? ", plain" : "", a_clockwork->fired, expected, a_clockwork->early,
         a_clockwork->late, allowed, is_right ? "" : ": WRONG");
  return is_right;
}

int main(int argc, char** argv) {
  const long long length = argc == 3 ? atoll(argv[1]) * 1000000 : 0;
  const long long tick = argc == 3 ? atoll(argv[2]) : 0;
  int right = 0;
  if (length <= 0 || tick <= 0)
    return 2;
  NUV_Select_construct(&loop);
  start = since_start();
  stop = length + tick;
  for (int i = 0; i < COUNT; ++i) {
    clockworks[i].due = clockworks[i].period;
    NUV_Timer_set(&loop, arm(&clockworks[i]), &clockworks[i], 0, fire);
  }
  NUV_Timer_set(&loop, NUV_Timer_time(hop), NULL, 0, end);
  while (!is_ending)
    NUV_Select_process(&loop, NULL);
  for (int i = 0; i < COUNT; ++i)
    right += tell(&clockworks[i], length, tick);
  printf("timers: %d of %d clockworks right, after %lld s\n", right, COUNT, since_start() / 1000000);
  return right != COUNT;
}
