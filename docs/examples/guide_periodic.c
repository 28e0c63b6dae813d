/* A periodic timer arms itself again; how often it still fires is its own business. */
#include <stdio.h>
#include <userlib.h>

static int32_t beat(void* a_left, struct timeval* a_remaining, uint32_t a_period_ms) {
  unsigned* left = a_left;
  printf("%u left\n", --*left);
  if (*left == 0)
    return 0; /* removes the timer */
  return NUV_Timer_again(a_remaining, (struct timeval){0, (suseconds_t)a_period_ms * 1000});
}

int main(void) {
  static Select loop;
  static unsigned left = 3;
  const struct timeval at_once = {0, 0};
  NUV_Select_construct(&loop);
  NUV_Select_setTimeout(&loop, at_once, &left, 20, beat);
  while (left > 0)
    NUV_Select_process(&loop, NULL);
  NUV_Select_destruct(&loop);
  return 0;
}
