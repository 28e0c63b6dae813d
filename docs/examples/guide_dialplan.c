/* Plans, and what they say while somebody dials. */
#include <stdio.h>
#include <string.h>
#include <userlib.h>

/* While digits come they are checked in one mode; when the subscriber pauses, the first match is asked. */
static void dial(const DigitMap* a_plan, int32_t a_mode, const char* a_digits) {
  char digits[16] = "", pattern[32];
  int32_t result = NUV_DIGITMAP_UNDECIDED;
  for (size_t i = 0; result == NUV_DIGITMAP_UNDECIDED && a_digits[i] != '\0'; ++i) {
    strncat(digits, &a_digits[i], 1);
    result = NUV_DigitMap_checkDialString(a_plan, a_mode, digits, 0, pattern, sizeof pattern);
  }
  if (result == NUV_DIGITMAP_UNDECIDED) {
    printf("%s ... ", digits);
    result = NUV_DigitMap_checkDialString(a_plan, NUV_DIGITMAP_FIRST_MATCH, digits, 1, pattern, sizeof pattern);
  }
  if (result == NUV_DIGITMAP_COMPLETE)
    printf("%s is complete by %s\n", digits, pattern);
  else
    printf("%s is no number\n", digits);
}

int main(void) {
  const int32_t first = NUV_DIGITMAP_FIRST_MATCH, best = NUV_DIGITMAP_BEST_MATCH;
  DigitMap plan;
  NUV_DigitMap_construct(&plan);

  puts("first match, 110 | 118xx | 11T | 0x.T | [2-7]xx");
  if (!NUV_DigitMap_setMap(&plan, "110 | 118xx | 11T | 0x.T | [2-7]xx"))
    return 1;
  dial(&plan, first, "110");
  dial(&plan, first, "11833");
  dial(&plan, first, "11");
  dial(&plan, first, "0301234");
  dial(&plan, first, "2011");
  dial(&plan, first, "9");

  puts("first match, 1x | 110: the second pattern is never reached");
  NUV_DigitMap_setMap(&plan, "1x | 110");
  dial(&plan, first, "110");

  puts("first match, 110 | 1xT: all of them, the short ones after a pause");
  NUV_DigitMap_setMap(&plan, "110 | 1xT");
  dial(&plan, first, "110");
  dial(&plan, first, "11");
  dial(&plan, first, "12");

  puts("best match, 1x | 11T | 110: 12 need not wait, 11 must");
  NUV_DigitMap_setMap(&plan, "1x | 11T | 110");
  dial(&plan, best, "110");
  dial(&plan, best, "11");
  dial(&plan, best, "12");
  NUV_DigitMap_destruct(&plan);
  return 0;
}
