/* Commands of the shell: one that answers, one that fails, one that is too slow. */
#include <stdio.h>
#include <userlib.h>

int main(void) {
  char output[256];
  int32_t status = NUV_Execute_Command_Timeout("echo answer", output, sizeof output, 5);
  if (status == 0)
    puts(output);
  status = NUV_Execute_Command("echo to standard error >&2; exit 3", output, sizeof output);
  printf("status %d: %s", (int)status, output);
  status = NUV_Execute_Command_Timeout("exec sleep 60", output, sizeof output, 1);
  printf("status %d, '%s'\n", (int)status, output);
  return 0;
}
