/* Lines given out and taken back. */
#include <stdio.h>
#include <userlib.h>

int main(void) {
  IndexPool lines;
  NUV_IndexPool_construct(&lines, 256);
  NUV_IndexPool_occupyIndex(&lines, 0);
  if (NUV_IndexPool_available(&lines)) {
    uint32_t line = NUV_IndexPool_occupy(&lines);
    printf("line %u, %u free\n", (unsigned)line, (unsigned)NUV_IndexPool_free(&lines));
    NUV_IndexPool_release(&lines, line);
  }
  printf("%u busy\n", (unsigned)NUV_IndexPool_busy(&lines));
  NUV_IndexPool_destruct(&lines);
  return 0;
}
