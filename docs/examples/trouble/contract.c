/* Breaks a contract: with the handler that every daemon begins with or, where it is told "abort", with one of its own. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <userlib.h>

static void die(uint32_t a_type, const char* a_file, uint32_t a_line, const char* a_expression) {
  fprintf(stderr, "broken contract of class %u in %s:%u: %s\n", (unsigned)a_type, a_file, (unsigned)a_line,
          a_expression);
  abort();
}

int main(int argc, char** argv) {
  static IndexPool pool;
  if (argc == 2 && strcmp(argv[1], "abort") == 0)
    NUV_Assert_setErrorHandler(die);
  if (argc == 2 && strcmp(argv[1], "console") == 0)
    NUV_Sysloglevel_set(0); /* traces and reports to standard output */
  NUV_IndexPool_construct(&pool, 4);
  NUV_IndexPool_release(&pool, 2); /* which nobody has taken */
  return 0;
}
