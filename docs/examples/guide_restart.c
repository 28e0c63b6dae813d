/* A handler that returns, and a daemon that starts the broken part anew when the turn is over. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <userlib.h>

static IndexPool slots; /* the part */
static int slots_are_broken;

/* Runs in the middle of the failed operation, so it only takes a note. Any other family's failure ends the process. */
static void note(uint32_t a_type, const char* a_file, uint32_t a_line, const char* a_expression) {
  (void)a_type, (void)a_line;
  printf("broken: %s: %s\n", a_file, a_expression);
  if (strcmp(a_file, "nuv_indexpool") != 0)
    exit(255);
  slots_are_broken = 1;
}

static int32_t work(void* a_unused, struct timeval* a_remaining, uint32_t a_number) {
  (void)a_unused, (void)a_remaining, (void)a_number;
  NUV_IndexPool_release(&slots, 3); /* nobody holds it: the slip of some other part */
  return 0;
}

int main(void) {
  static Select loop;
  const struct timeval at_once = {0, 0};
  NUV_Assert_setErrorHandler(note);
  NUV_Select_construct(&loop);
  NUV_IndexPool_construct(&slots, 8);
  NUV_Select_setTempTimeout(&loop, at_once, NULL, 0, work);
  for (int turn = 0; turn < 2; ++turn) {
    struct timeval no_wait = {0, 0};
    NUV_Select_process(&loop, &no_wait);
    if (slots_are_broken) {
      NUV_IndexPool_destruct(&slots);
      NUV_IndexPool_construct(&slots, 8);
      slots_are_broken = 0;
      puts("slots: started anew");
    }
  }
  NUV_IndexPool_destruct(&slots);
  NUV_Select_destruct(&loop);
  return 0;
}
