/* A tool that logs to its standard output. The stamp in front of a line is cut off here. */
#include <stdio.h>
#include <string.h>
#include <unistd.h>
#include <userlib.h>

/* Runs in a child, so that its lines can be read back without their stamps. */
static void say(void) {
  NUV_Syslog_set(0);
  NUV_Syslog_info(__FILE__, __LINE__, "3 lines");
  NUV_Syslog_error(__FILE__, __LINE__, "no such line");
  NUV_Syslog_dump(__FILE__, __LINE__, "digits", "0110", 4);
}

int main(void) {
  Pipe lines;
  char line[128];
  NUV_Pipe_construct(&lines);
  if (fork() == 0) {
    dup2(NUV_Pipe_writeFd(&lines), 1);
    say();
    return 0;
  }
  close(NUV_Pipe_writeFd(&lines));
  FILE* stream = fdopen(NUV_Pipe_readFd(&lines), "r");
  while (NUV_Utility_readLine(line, sizeof line, stream))
    puts(line + strlen("Mar  5 09:04:07:"));
  fclose(stream);
  return 0;
}
