/* A timer that is set after a sleep is late before it begins, and the way round: a delay that counts from now. */
#include <stdio.h>
#include <unistd.h>
#include <userlib.h>

static Select loop;
static Pipe work;
static int is_in_turn, has_fired;

static int32_t on_time(void* a_unused, struct timeval* a_remaining, uint32_t a_number) {
  (void)a_unused, (void)a_remaining, (void)a_number;
  printf("no answer, %s\n", is_in_turn ? "in the turn that asked" : "in a later turn");
  has_fired = 1;
  return 0;
}

static int32_t ask(void* a_unused, int32_t a_fd, uint32_t a_counts_from_now) {
  const struct timeval patience = {0, 500000};
  char byte;
  (void)a_unused;
  NUV_Pipe_read(&work, &byte, 1);
  sleep(1); /* work that takes its time; then a peer is asked, who has half a second to answer */
  if (a_counts_from_now)
    NUV_Timer_setTemp(&loop, patience, NULL, 0, on_time);
  else
    NUV_Select_setTempTimeout(&loop, patience, NULL, 0, on_time);
  NUV_Select_removeReadExternal(&loop, a_fd);
  return 0;
}

static void try_out(const char* a_function, uint32_t a_counts_from_now) {
  printf("%s: ", a_function);
  has_fired = 0;
  NUV_Select_setReadExternal(&loop, NUV_Pipe_readFd(&work), NULL, a_counts_from_now, ask);
  NUV_Pipe_write(&work, "x", 1);
  for (is_in_turn = 1; !has_fired; is_in_turn = 0)
    NUV_Select_process(&loop, NULL);
}

int main(void) {
  NUV_Select_construct(&loop);
  NUV_Pipe_construct(&work);
  try_out("NUV_Select_setTempTimeout", 0);
  try_out("NUV_Timer_setTemp", 1);
  NUV_Pipe_destruct(&work);
  NUV_Select_destruct(&loop);
  return 0;
}
