/* A million microseconds is not a second, and the way round. */
#include <stdio.h>
#include <userlib.h>

static void normalise(struct timeval* a_time) {
  if (a_time->tv_usec == 1000000) {
    a_time->tv_sec += 1;
    a_time->tv_usec = 0;
  }
}

int main(void) {
  const struct timeval second = {1, 0};
  const struct timeval part = {0, 400000};
  struct timeval sum = {0, 600000};
  NUV_timeval_inc(&sum, &part);
  printf("{%ld, %ld}: %d\n", (long)sum.tv_sec, (long)sum.tv_usec, (int)NUV_timeval_cmp(&sum, &second));
  normalise(&sum);
  printf("{%ld, %ld}: %d\n", (long)sum.tv_sec, (long)sum.tv_usec, (int)NUV_timeval_cmp(&sum, &second));
  return 0;
}
