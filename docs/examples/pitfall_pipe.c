/* A command that prints more than a pipe holds, and two ways round. */
#include <stdio.h>
#include <string.h>
#include <userlib.h>

int main(void) {
  char output[16];
  int32_t status = NUV_Execute_Command_Timeout("yes | head -c 1000000", output, sizeof output, 1);
  printf("all of it: status %d, %u bytes\n", (int)status, (unsigned)strlen(output));
  status = NUV_Execute_Command_Timeout("yes | head -c 1000000 | tail -c 4", output, sizeof output, 10);
  printf("its end: status %d, %u bytes\n", (int)status, (unsigned)strlen(output));
  status = NUV_Execute_Command_Timeout("f=$(mktemp) && yes | head -c 1000000 >$f && wc -c <$f && rm $f", output,
                                       sizeof output, 10);
  printf("in a file: status %d, %s", (int)status, output);
  return 0;
}
