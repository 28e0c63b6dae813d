/* Takes memory, and writes to it, until there is no more or it is killed: hog [MIB]. With a number it takes as much, says
   so and waits. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

int main(int argc, char** argv) {
  const long most = argc > 1 ? atol(argv[1]) : 0;
  for (long taken = 0; most == 0 || taken < most; ++taken) {
    char* const block = malloc(1 << 20);
    if (block == NULL) {
      printf("hog: malloc() refuses after %ld MiB\n", taken);
      return 1;
    }
    memset(block, 0x55, 1 << 20);
  }
  printf("hog: has %ld MiB\n", most);
  fflush(stdout);
  pause();
  return 0;
}
