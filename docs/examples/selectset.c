/* A loop of its own over one set. */
#include <stdio.h>
#include <unistd.h>
#include <userlib.h>

static int32_t on_byte(void* a_name, int32_t a_fd, uint32_t a_number) {
  char byte;
  printf("%s %u: %d byte\n", (const char*)a_name, (unsigned)a_number, (int)read(a_fd, &byte, 1));
  return 0;
}

int main(void) {
  static char name[] = "pipe";
  SelectSet set;
  Pipe bytes;
  NUV_Pipe_construct(&bytes);
  NUV_SelectSet_construct(&set);
  NUV_SelectSet_setReceiver(&set, NUV_Pipe_readFd(&bytes), name, 1, 0, on_byte);
  NUV_Pipe_write(&bytes, "x", 1);

  fd_set ready;
  FD_ZERO(&ready);
  NUV_SelectSet_setFdSet(&set, &ready);
  select(FD_SETSIZE, &ready, NULL, NULL, NULL);
  NUV_SelectSet_process(&set, 1, &ready);
  NUV_SelectSet_internalRemoveDeleted(&set, &ready);

  NUV_SelectSet_destruct(&set);
  NUV_Pipe_destruct(&bytes);
  return 0;
}
