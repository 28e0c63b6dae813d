/* Prints the layout of the records as a running program sees it. */
#include <stddef.h>
#include <stdio.h>

#include "userlib.h"

#define RECORD(type, on_32, on_64) printf("%s %zu\n", #type, sizeof(type))
#define FIELD(type, field, on_32, on_64) \
  printf("%s.%s %zu %zu\n", #type, #field, offset_of(&((type*)place)->field), sizeof(((type*)place)->field))
#define TIMED_RECORD(type, a, b, on_64)       RECORD(type, a, on_64)
#define TIMED_FIELD(type, field, a, b, on_64) FIELD(type, field, a, on_64)

/* Memory for a record of any type, to compute the offsets of its fields. */
static struct timeval block[1024];
static void* const place = block;

static size_t offset_of(const void* a_field) {
  return (size_t)((const char*)a_field - (const char*)block);
}

int main(void) {
  static const unsigned one = 1;
  printf("*pointer %zu\n*timeval %zu\n", sizeof(void*), sizeof(struct timeval));
  printf("*order %s\n", *(const char*)&one == 1 ? "little" : "big");
#include "records.inc"
  return 0;
}
