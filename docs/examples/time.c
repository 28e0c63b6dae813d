/* What is left of a time limit after some work. */
#include <stdio.h>
#include <userlib.h>

static void work(void) {}

int main(void) {
  const struct timeval limit = {5, 0};
  struct timeval remaining = limit;

  struct timeval before, now;
  nuv_gettimeofday_absolute(&before);
  work();
  nuv_gettimeofday_absolute(&now);
  NUV_timeval_dec(&now, &before);
  NUV_timeval_dec(&remaining, &now);

  printf("less than five seconds: %s\n", NUV_timeval_cmp(&remaining, &limit) <= 0 ? "yes" : "no");

  struct timeval sum = {2, 999999};
  const struct timeval more = {3, 999999};
  NUV_timeval_inc(&sum, &more);
  printf("%ld.%06ld\n", (long)sum.tv_sec, (long)sum.tv_usec);
  return 0;
}
