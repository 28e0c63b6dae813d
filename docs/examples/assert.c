/* A broken promise, and a daemon that dumps core instead of leaving quietly. */
#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>
#include <userlib.h>

static void dump_core(uint32_t a_type, const char* a_file, uint32_t a_line, const char* a_expression) {
  (void)a_line;
  printf("class %" PRIu32 " in %s: %s\n", a_type, a_file, a_expression);
  fflush(stdout);
  abort();
}

int main(void) {
  int status;
  if (!NUV_Userlib_checkVersion(NUV_USERLIB_VERSION_MAJOR, NUV_USERLIB_VERSION_MINOR))
    return 1;
  puts(NUV_Userlib_getVersionString());
  fflush(stdout);
  if (fork() == 0) {
    NUV_Assert_setErrorHandler(dump_core);
    NUV_Frame_size(NULL);
  }
  wait(&status);
  printf("ended by signal %d\n", WTERMSIG(status));
  return 0;
}
