/* A pattern that goes on behind a repeated digit, asked after each digit. */
#include <stdio.h>
#include <userlib.h>

static void dial(const char* a_map, const char* a_digits) {
  static const char* const results[] = {"undecided", "complete", "?", "no match"};
  DigitMap plan;
  int32_t result = NUV_DIGITMAP_UNDECIDED;
  char digits[8] = "", pattern[32];
  NUV_DigitMap_construct(&plan);
  NUV_DigitMap_setMap(&plan, a_map);
  printf("%s:", a_map);
  for (size_t i = 0; result == NUV_DIGITMAP_UNDECIDED && a_digits[i] != '\0'; ++i) {
    digits[i] = a_digits[i];
    result = NUV_DigitMap_checkDialString(&plan, NUV_DIGITMAP_FIRST_MATCH, digits, 0, pattern, sizeof pattern);
    printf(" %s is %s%s", digits, results[result], a_digits[i + 1] != '\0' && result == 0 ? "," : "");
  }
  putchar('\n');
  NUV_DigitMap_destruct(&plan);
}

int main(void) {
  dial("x.#5", "12#5");
  dial("x.#", "12#");                 /* the way round: "#" ends the pattern */
  dial("x#5 | xx#5 | xxx#5", "12#5"); /* or: each length is a pattern of its own */
  return 0;
}
