/* Into the background, with a pid file that keeps a second instance away. */
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>
#include <userlib.h>

static int run(const char* a_directory, int a_report) {
  static Daemon daemon;
  NUV_Daemon_construct(&daemon, "phoned", a_directory);
  if (NUV_Daemon_occupiedPidFile(&daemon))
    return 1;
  NUV_Daemon_daemonize(&daemon);
  NUV_Daemon_createPidFile(&daemon);
  const char file_is_right = NUV_Daemon_checkPidFile(&daemon) ? 'y' : 'n';
  NUV_Daemon_deletePidFile(&daemon);
  return write(a_report, &file_is_right, 1) == 1 ? 0 : 1;
}

int main(void) {
  char directory[] = "/tmp/userlib-docs-XXXXXX";
  char answer = '?';
  int report[2];
  if (mkdtemp(directory) == NULL || pipe(report) != 0)
    return 1;
  if (fork() == 0) {
    close(report[0]);
    _exit(run(directory, report[1]));
  }
  close(report[1]);
  wait(NULL); /* the process that called ends at once, the daemon goes on */
  if (read(report[0], &answer, 1) == 1)
    printf("is the pid file right? %c\n", answer);
  while (read(report[0], &answer, 1) > 0)
    ; /* until the daemon has ended, too */
  return rmdir(directory);
}
