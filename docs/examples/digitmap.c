/* A dial plan, asked after each digit. */
#include <stdio.h>
#include <userlib.h>

int main(void) {
  DigitMap plan;
  char pattern[32];
  NUV_DigitMap_construct(&plan);
  NUV_DigitMap_setMap(&plan, "(0x.T | 110 | [1-9]xxx)");
  switch (NUV_DigitMap_checkDialString(&plan, NUV_DIGITMAP_FIRST_MATCH, "110", 0, pattern, sizeof pattern)) {
    case NUV_DIGITMAP_COMPLETE:
      printf("110 is complete by %s\n", pattern);
      break;
    default:
      puts("110 is not complete");
  }
  printf("11: %d\n", (int)NUV_DigitMap_checkDialString(&plan, NUV_DIGITMAP_FIRST_MATCH, "11", 0, NULL, 0));
  printf("04: %d\n", (int)NUV_DigitMap_checkDialString(&plan, NUV_DIGITMAP_FIRST_MATCH, "04", 0, NULL, 0));
  printf("04, time is up: %d\n", (int)NUV_DigitMap_checkDialString(&plan, NUV_DIGITMAP_FIRST_MATCH, "04", 1, NULL, 0));
  printf("*: %d\n", (int)NUV_DigitMap_checkDialString(&plan, NUV_DIGITMAP_FIRST_MATCH, "*", 0, NULL, 0));
  NUV_DigitMap_destruct(&plan);
  return 0;
}
