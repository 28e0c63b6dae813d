/* A row of a level table, as the init file will hold it. */
#include <stdio.h>
#include <userlib.h>

int main(void) {
  static TraceLevelInit init;
  NUV_TraceLevelInit_construct(&init);
  uint16_t line = NUV_Level_insert(&init, "Line", 113);
  NUV_Level_setTraceLevel(&init, line, 48);
  NUV_Level_save(&init.Level, stdout);
  printf("row %u is %s, %s\n", (unsigned)line, NUV_Level_getModulName(&init, line),
         init.bChanged ? "not saved with its header yet" : "as in the file");
  NUV_TraceLevelInit_destruct(&init);
  return 0;
}
