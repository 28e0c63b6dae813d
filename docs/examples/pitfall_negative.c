/* A timer that is kept without a new time, and the way round: arm it again. */
#include <stdio.h>
#include <userlib.h>

static Select loop;
static Pipe work;
static unsigned bytes;

static int32_t on_byte(void* a_unused, int32_t a_fd, uint32_t a_number) {
  char byte;
  (void)a_unused, (void)a_fd, (void)a_number;
  bytes += (unsigned)NUV_Pipe_read(&work, &byte, 1);
  return 0;
}

static int32_t just_stay(void* a_unused, struct timeval* a_remaining, uint32_t a_number) {
  (void)a_unused, (void)a_remaining, (void)a_number;
  return 1; /* its time is still negative */
}

static int32_t again(void* a_unused, struct timeval* a_remaining, uint32_t a_number) {
  const struct timeval period = {0, 20000};
  (void)a_unused, (void)a_number;
  return NUV_Timer_again(a_remaining, period); /* seconds and microseconds */
}

static void try_out(const char* a_how, NUV_TimeoutRecvFunc a_callback) {
  const struct timeval at_once = {0, 0};
  NUV_Select_construct(&loop);
  NUV_Pipe_construct(&work);
  NUV_Pipe_write(&work, "some bytes", 10);
  NUV_Select_setReadExternal(&loop, NUV_Pipe_readFd(&work), NULL, 0, on_byte);
  NUV_Timer_set(&loop, at_once, NULL, 0, a_callback);
  bytes = 0;
  printf("%s:", a_how);
  for (int turn = 0; turn < 5; ++turn)
    printf(" %d", (int)NUV_Select_process(&loop, NULL));
  printf("; %u bytes read\n", bytes);
  NUV_Pipe_destruct(&work);
  NUV_Select_destruct(&loop);
}

int main(void) {
  try_out("just stays", just_stay);
  try_out("armed again", again);
  return 0;
}
