/*
 * The layout of the records as texts in an object file, where layout.cmake finds them. This program is never run, so that
 * a compiler for another processor can tell, too. A line is "LAYOUT", offset (of a record: alignment), size and name.
 */
#include <stddef.h>

#include "userlib.h"

#define DIGIT(number, power) (char)('0' + (number) / (power) % 10)
#define DIGITS(number) \
  { DIGIT(number, 10000U), DIGIT(number, 1000U), DIGIT(number, 100U), DIGIT(number, 10U), DIGIT(number, 1U) }

struct layout_line {
  char mark[7];
  char offset[5];
  char blank;
  char size[5];
  char another_blank;
  char name[64]; /* ends in a zero byte, and with it the line */
};

#define LINE(variable, offset, size, name)  \
  extern const struct layout_line variable; \
  const struct layout_line variable = {     \
      {'L', 'A', 'Y', 'O', 'U', 'T', ' '}, DIGITS(offset), ' ', DIGITS(size), ' ', name}

#define RECORD(type, on_32, on_64) \
  struct aligned_##type {          \
    char byte;                     \
    type record;                   \
  };                               \
  LINE(layout_of_##type, offsetof(struct aligned_##type, record), sizeof(type), #type)
#define FIELD(type, field, on_32, on_64) \
  LINE(layout_of_##type##_##field, offsetof(type, field), sizeof(((type*)0)->field), #type "." #field)
#define TIMED_RECORD(type, a, b, on_64)       RECORD(type, a, on_64)
#define TIMED_FIELD(type, field, a, b, on_64) FIELD(type, field, a, on_64)

LINE(layout_of_pointer, sizeof(void*), sizeof(void*), "*pointer");
LINE(layout_of_timeval, sizeof(struct timeval), sizeof(struct timeval), "*timeval");
#include "records.inc"
