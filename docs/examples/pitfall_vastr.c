/* The buffer that all share, and the way round: a buffer of one's own. */
#include <stdio.h>
#include <userlib.h>

int main(void) {
  const char* first = VAStr("line %d", 1);
  const char* second = VAStr("line %d", 2);
  printf("%s, %s\n", first, second);

  char own[8]; /* 6 characters, one zero behind them, and the last byte stays zero */
  const char* kept = NUV_Utility_VAStr(own, sizeof own, "line %d", 1);
  printf("%s, %s\n", kept, VAStr("line %d", 2));
  return 0;
}
