#include <userlib.h>

static int32_t tick(void* a_text, struct timeval* a_remaining, uint32_t a_seconds) {
  fputs((const char*)a_text, stderr);
  return NUV_Timer_again(a_remaining, (struct timeval){(time_t)a_seconds, 0}); /* 0 would remove the timer */
}

int main(void) {
  static char text[] = "a second has passed\n";
  static Select loop;
  const struct timeval second = {1, 0};
  NUV_Select_construct(&loop);
  NUV_Timer_set(&loop, second, text, 1, tick);
  for (;;)
    NUV_Select_process(&loop, NULL);
}
