/* Removing a timer when all 80 are set, and the way round: the 80th is never set. */
#include <stdio.h>
#include <userlib.h>

static int32_t never(void* a_unused, struct timeval* a_remaining, uint32_t a_number) {
  (void)a_unused, (void)a_remaining, (void)a_number;
  return 0;
}

static void tell(uint32_t a_type, const char* a_file, uint32_t a_line, const char* a_expression) {
  (void)a_type, (void)a_line;
  printf("%s: %s\n", a_file, a_expression);
}

/* Sets a timer only while one more would fit. */
static int set_timer(Select* a_loop, struct timeval a_time, uint32_t* r_id) {
  if (a_loop->m_oTimeout.m_uCount >= NUV_TIMEOUTSET_SIZE - 1)
    return 0;
  *r_id = NUV_Select_setTimeout(a_loop, a_time, NULL, 0, never);
  return 1;
}

int main(void) {
  static Select loop;
  const struct timeval later = {3600, 0};
  uint32_t id = 0;
  NUV_Assert_setErrorHandler(tell); /* the default would end the process here */
  NUV_Select_construct(&loop);
  while (NUV_TimeoutSet_available(&loop.m_oTimeout))
    id = NUV_Select_setTimeout(&loop, later, NULL, 0, never);
  NUV_Select_removeTimeout(&loop, id);
  NUV_Select_destruct(&loop);

  NUV_Select_construct(&loop);
  while (set_timer(&loop, later, &id))
    ;
  printf("%u timers\n", (unsigned)loop.m_oTimeout.m_uCount);
  NUV_Select_removeTimeout(&loop, id); /* nothing to complain about */
  printf("%u timers\n", (unsigned)loop.m_oTimeout.m_uCount);
  NUV_Select_destruct(&loop);
  return 0;
}
