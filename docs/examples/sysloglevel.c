/* A module, its mask, and the line that passes it. */
#include <stdio.h>
#include <userlib.h>

static void trace_digits(int module, unsigned number, const char* digits) {
  if (digits == 0)
    NUV_LOG_DEBUG(module, "nothing dialled");
  else
    NUV_LOG_TRACE(module, "line %u: %s", number, digits);
}

int main(void) {
  const char* init_file = ""; /* none */
  const unsigned seconds = 3;
  NUV_Sysloglevel_construct2(init_file, "phoned");
  int line = NUV_Sysloglevel_registerModul("Line");
  NUV_LOG_WARNING(line, "no answer for %u s", seconds);

  trace_digits(line, 7, "0110"); /* the mask of a new module has no traces: nothing is written */
  printf("warnings pass: %d, traces pass: %d\n", NUV_Sysloglevel_checkTracelevel(line, NUV_SYSLOGLEVEL_WARNING),
         NUV_Sysloglevel_checkTracelevel(line, NUV_SYSLOGLEVEL_TRACE));
  NUV_Sysloglevel_printTracelevel(NUV_SYSLOGLEVEL_DEFAULT_MASK);
  NUV_Sysloglevel_changeTracelevel("Line", NUV_SYSLOGLEVEL_DEFAULT_MASK | 1U << NUV_SYSLOGLEVEL_TRACE);
  printf("traces pass: %d\n", NUV_Sysloglevel_checkTracelevel(line, NUV_SYSLOGLEVEL_TRACE));
  return 0;
}
