/* A descriptor that is closed while its receiver is still registered, and the way round: remove first, then close. */
#include <stdio.h>
#include <unistd.h>
#include <userlib.h>

static Select loop;
static Pipe peer, work;
static unsigned calls;

static int32_t on_work(void* a_unused, int32_t a_fd, uint32_t a_number) {
  (void)a_unused, (void)a_fd, (void)a_number;
  ++calls;
  return 0;
}

static int32_t hang_up(void* a_unused, int32_t a_fd, uint32_t a_removes) {
  (void)a_unused;
  if (a_removes)
    NUV_Select_removeReadExternal(&loop, a_fd);
  close(a_fd);
  return 0;
}

static void try_out(const char* a_how, uint32_t a_removes) {
  NUV_Select_construct(&loop);
  NUV_Pipe_construct(&peer);
  NUV_Pipe_construct(&work);
  NUV_Pipe_write(&peer, "x", 1);
  NUV_Pipe_write(&work, "x", 1);
  NUV_Select_setReadExternal(&loop, NUV_Pipe_readFd(&work), NULL, 0, on_work);
  NUV_Select_setReadExternal(&loop, NUV_Pipe_readFd(&peer), NULL, a_removes, hang_up);
  calls = 0;
  printf("%s:", a_how);
  for (int turn = 0; turn < 4; ++turn)
    printf(" %d", (int)NUV_Select_process(&loop, NULL));
  printf("; %u calls for the other one\n", calls);
  NUV_Select_destruct(&loop);
  close(NUV_Pipe_writeFd(&peer));
  NUV_Pipe_destruct(&work);
}

int main(void) {
  try_out("closed", 0);
  try_out("removed, then closed", 1);
  return 0;
}
