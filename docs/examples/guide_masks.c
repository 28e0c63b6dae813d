/* Trace masks that are saved, and found again at the next start. */
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>
#include <userlib.h>

static int start(const char* a_init_file) {
  NUV_Sysloglevel_construct2(a_init_file, "guide");
  return NUV_Sysloglevel_registerModul("Line"); /* with the mask from the file, if it has one */
}

int main(void) {
  char directory[] = "/tmp/userlib-docs-XXXXXX", path[64], line[64];
  if (mkdtemp(directory) == NULL)
    return 1;
  NUV_Utility_VAStr(path, sizeof path, "%s/guide.ini", directory);

  int module = start("");
  printf("traces are on: %d\n", NUV_Sysloglevel_checkTracelevel(module, NUV_SYSLOGLEVEL_TRACE));
  NUV_Sysloglevel_changeTracelevel("Line", NUV_SYSLOGLEVEL_DEFAULT_MASK | 1U << NUV_SYSLOGLEVEL_TRACE);
  if (!NUV_Sysloglevel_saveInitFile(path))
    return 1;

  FILE* file = fopen(path, "r");
  while (file != NULL && NUV_Utility_readLine(line, sizeof line, file))
    puts(line);
  if (file != NULL)
    fclose(file);

  module = start(path); /* as after a restart */
  printf("traces are on: %d\n", NUV_Sysloglevel_checkTracelevel(module, NUV_SYSLOGLEVEL_TRACE));
  unlink(path);
  return rmdir(directory);
}
