/* A daemon in C99 that uses the installed library. Its timer fires three times and sends a digit through a pipe to the
 * dial plan. The daemon ends when the number is complete.
 *
 * With CONSUMER_CERT it also uses certificate matching. */
#include <stdio.h>
#include <userlib.h>

static Pipe digits;
static DigitMap plan;
static char dialled[8];
static int is_complete;

static int32_t dial(void* a_number, struct timeval* a_wait, uint32_t a_unused) {
  const char** const next = (const char**)a_number;
  (void)a_unused;
  if (**next == '\0')
    return 0;
  NUV_Pipe_write(&digits, (void*)*next, 1);
  ++*next;
  a_wait->tv_sec = 0;
  a_wait->tv_usec = 1000;
  return 1;
}

static int32_t collect(void* a_count, int32_t a_fd, uint32_t a_unused) {
  unsigned* const count = (unsigned*)a_count;
  char pattern[16];
  (void)a_fd;
  (void)a_unused;
  if (*count + 1 >= sizeof dialled || NUV_Pipe_read(&digits, dialled + *count, 1) != 1)
    return 0;
  dialled[++*count] = '\0';
  is_complete = NUV_DigitMap_checkDialString(&plan, NUV_DIGITMAP_BEST_MATCH, dialled, 0, pattern, sizeof pattern) ==
                NUV_DIGITMAP_COMPLETE;
  return 0;
}

int main(void) {
  static Select loop;
  const struct timeval soon = {0, 1000};
  const char* number = "112";
  unsigned count = 0;
  unsigned turns = 0;
  int is_right;

  if (!NUV_Userlib_checkVersion(NUV_USERLIB_VERSION_MAJOR, NUV_USERLIB_VERSION_MINOR))
    return 2;
  NUV_Select_construct(&loop);
  NUV_Pipe_construct(&digits);
  NUV_DigitMap_construct(&plan);
  NUV_DigitMap_setMap(&plan, "110|112|0x.T");
  NUV_Select_setRead(&loop, NUV_Pipe_readFd(&digits), &count, 0, collect);
  NUV_Select_setTimeout(&loop, soon, &number, 0, dial);
  while (!is_complete && ++turns < 1000)
    NUV_Select_process(&loop, NULL);
  is_right = is_complete && count == 3;
#ifdef CONSUMER_CERT
  is_right = is_right && NUV_CertVerify_Subject(NULL, "") != 0;
#endif
  printf("c_daemon with %s: %s is %s\n", NUV_Userlib_getVersionString(), dialled, is_right ? "complete" : "a failure");
  NUV_DigitMap_destruct(&plan);
  NUV_Pipe_destruct(&digits);
  NUV_Select_destruct(&loop);
  return is_right ? 0 : 1;
}
