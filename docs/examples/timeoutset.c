/* A loop of its own over timers. Its time is made up: nobody sleeps. */
#include <stdio.h>
#include <userlib.h>

static int32_t ring(void* a_name, struct timeval* a_remaining, uint32_t a_number) {
  (void)a_remaining;
  printf("%s %u\n", (const char*)a_name, (unsigned)a_number);
  return 0;
}

int main(void) {
  static TimeoutSet timers;
  static char name[] = "timer";
  const struct timeval soon = {2, 500000}, later = {20, 0};
  NUV_TimeoutSet_construct(&timers);
  NUV_TimeoutSet_setReceiver(&timers, later, name, 1, 0, ring);
  NUV_TimeoutSet_setReceiver(&timers, soon, name, 2, 0, ring);

  struct timeval wait = {10, 0};
  NUV_TimeoutSet_setTimeout(&timers, &wait);
  printf("sleep %ld.%06ld s\n", (long)wait.tv_sec, (long)wait.tv_usec);
  const struct timeval elapsed = wait;
  NUV_TimeoutSet_process(&timers, NUV_TIMEOUT_UNLIMITED, &elapsed);
  NUV_TimeoutSet_internalRemoveDeleted(&timers);

  printf("%u timer left\n", (unsigned)timers.m_uCount);
  NUV_TimeoutSet_destruct(&timers);
  return 0;
}
