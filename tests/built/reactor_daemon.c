/*
 * A daemon that uses only the reactor, to measure how much of the static library it links. It ends after a timer has
 * fired and a descriptor was readable.
 */
#include <unistd.h>

#include <nuv_select.h>

static int32_t take_byte(void* a_fired, int32_t a_fd, uint32_t a_bit) {
  char byte = 0;
  if (read(a_fd, &byte, 1) == 1) {
    *(uint32_t*)a_fired |= a_bit;
  }
  return 0;
}

static int32_t run_out(void* a_fired, struct timeval* a_remaining, uint32_t a_bit) {
  (void)a_remaining;
  *(uint32_t*)a_fired |= a_bit;
  return 0;
}

int main(void) {
  static Select loop;
  uint32_t fired = 0;
  const struct timeval at_once = {0, 0};
  int ends[2];
  if (pipe(ends) != 0 || write(ends[1], "", 1) != 1) {
    return 1;
  }
  NUV_Select_construct(&loop);
  NUV_Select_setTimeout(&loop, at_once, &fired, 1, run_out);
  NUV_Select_setRead(&loop, ends[0], &fired, 2, take_byte);
  while (fired != 3) {
    NUV_Select_process(&loop, NULL);
  }
  NUV_Select_removeRead(&loop, ends[0]);
  NUV_Select_destruct(&loop);
  return 0;
}
