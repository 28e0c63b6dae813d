/*
 * The layout of all public records. Daemons allocate them in their own storage, so a field that moves breaks all
 * compiled daemons. Then this file does not compile, and the version of the shared object must change.
 *
 * The first number is for 32-bit targets, the last one for 64-bit targets. Records that depend on timeval have a number
 * between them for 32-bit C libraries with 64-bit time. It holds if 64-bit numbers are aligned to 8 bytes; i386 with
 * such a C library is not checked.
 */
#include <stddef.h>

#include "userlib.h"

struct alignment {
  char byte;
  long long number;
};

#define IS_64_BIT         (sizeof(void*) == 8)
#define HAS_64_BIT_TIME   (sizeof(struct timeval) == 16)
#define IS_LISTED         (!HAS_64_BIT_TIME || offsetof(struct alignment, number) == 8)
#define HOLDS(a, b)       (!IS_LISTED || (a) == (b))
#define PICK(a, b, on_64) (IS_64_BIT ? (size_t)(on_64) : HAS_64_BIT_TIME ? (size_t)(b) : (size_t)(a))

/* An array of negative size is a compile error that names the record and the field. */
#define TIMED_RECORD(type, a, b, on_64) typedef char size_of_##type[HOLDS(sizeof(type), PICK(a, b, on_64)) ? 1 : -1]
#define TIMED_FIELD(type, field, a, b, on_64) \
  typedef char offset_in_##type##_of_##field[HOLDS(offsetof(type, field), PICK(a, b, on_64)) ? 1 : -1]
#define RECORD(type, on_32, on_64)       TIMED_RECORD(type, on_32, on_32, on_64)
#define FIELD(type, field, on_32, on_64) TIMED_FIELD(type, field, on_32, on_32, on_64)

#include "records.inc"
