/* Names with ranges, and addresses in a row. */
#include <stdio.h>
#include <userlib.h>

int main(void) {
  int32_t is_one_of_them = NUV_Utility_fnmatch("port01-03", "port02", "01-03", 0);
  int32_t by_wildcard = NUV_Utility_fnmatch("port*", "port02", "*", 0);
  int32_t is_the_very_name = NUV_Utility_fnmatch("port", "port02", "", 0);
  printf("%d %d %d\n", (int)is_one_of_them, (int)by_wildcard, (int)is_the_very_name);

  char mac[18];
  NUV_Utility_MacAddOffset("00:11:22:33:44:55", 2, mac);
  puts(mac);

  char path[32] = "/flash/";
  puts(NUV_Utility_basename(NUV_Utility_path_cat(path, "phoned.ini")));
  return 0;
}
