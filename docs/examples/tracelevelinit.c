/* Masks that survive a restart. */
#include <stdio.h>
#include <userlib.h>

int main(void) {
  static TraceLevelInit init;
  char line[64];
  NUV_TraceLevelInit_construct(&init);
  NUV_Level_insert(&init, "VoipPhone", 48);
  FILE* file = tmpfile(); /* a daemon opens a file in its flash */
  if (file != NULL) {
    NUV_TraceLevelInit_save(&init, file);
    rewind(file);
    while (NUV_Utility_readLine(line, sizeof line, file))
      puts(line);
    rewind(file);
    NUV_TraceLevelInit_clean(&init);
    printf("restored: %d\n", NUV_TraceLevelInit_restore(&init, file));
    fclose(file);
  }
  NUV_TraceLevelInit_destruct(&init);
  return 0;
}
