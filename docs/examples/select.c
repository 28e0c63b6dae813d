/* Prints what comes on standard input, and a dot every second. Ends with its input. */
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>
#include <userlib.h>

static int32_t echo(void* a_context, int32_t a_fd, uint32_t a_number) {
  char text[64];
  (void)a_number;
  ssize_t length = read(a_fd, text, sizeof text);
  if (length <= 0)
    NUV_Select_removeReadExternal((Select*)a_context, a_fd);
  else
    fwrite(text, 1, (size_t)length, stdout);
  if (length <= 0)
    exit(0);
  return 0;
}

static const struct timeval second = {1, 0};

static int32_t tick(void* a_context, struct timeval* a_time, uint32_t a_number) {
  (void)a_context;
  (void)a_number;
  putchar('.');
  return NUV_Timer_again(a_time, second); /* 0 would remove the timer */
}

int main(void) {
  static Select loop;
  NUV_Select_construct(&loop);
  NUV_Select_setReadExternal(&loop, 0, &loop, 0, echo);
  NUV_Timer_set(&loop, second, NULL, 0, tick);
  for (;;)
    NUV_Select_process(&loop, NULL);
}
