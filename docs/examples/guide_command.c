/* A command with a time limit that says itself whether it has come to its end. */
#include <stdio.h>
#include <string.h>
#include <userlib.h>

static void run(const char* a_command) {
  char line[128], output[64];
  NUV_Utility_VAStr(line, sizeof line, "%s; echo status $?", a_command);
  const int32_t status = NUV_Execute_Command_Timeout(line, output, sizeof output, 1);
  if (status < 0)
    printf("%s: could not be started\n", a_command);
  else if (strstr(output, "status ") == NULL)
    printf("%s: out of time\n", a_command);
  else
    printf("%s: %s", a_command, output);
}

int main(void) {
  run("echo hello");
  run("false");
  run("sleep 3");
  return 0;
}
