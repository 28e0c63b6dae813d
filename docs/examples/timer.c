/* Timers that count from now: one that is put off by each event, and one that ticks. */
#include <stdio.h>
#include <unistd.h>
#include <userlib.h>

static const struct timeval period = {0, 20000};

static int32_t tick(void* a_left, struct timeval* a_remaining, uint32_t a_number) {
  unsigned* left = a_left;
  (void)a_number;
  printf("tick\n");
  if (--*left == 0)
    return 0; /* removes the timer */
  return NUV_Timer_again(a_remaining, period);
}

static int32_t give_up(void* a_done, struct timeval* a_remaining, uint32_t a_number) {
  (void)a_remaining, (void)a_number;
  printf("no answer\n");
  *(int*)a_done = 1;
  return 0;
}

int main(void) {
  static Select loop;
  static unsigned left = 3;
  static int is_done;
  NUV_Select_construct(&loop);
  sleep(1); /* what the daemon does before its loop costs its timers nothing */
  NUV_Timer_set(&loop, period, &left, 0, tick);
  const struct timeval patience = {1, 0};
  const uint32_t id = NUV_Timer_setTemp(&loop, patience, &is_done, 0, give_up);
  while (!is_done) {
    NUV_Select_process(&loop, NULL);
    if (left > 0)
      NUV_Timer_update(&loop, id, patience); /* as long as something happens */
  }
  NUV_Select_destruct(&loop);
  return 0;
}
