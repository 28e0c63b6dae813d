/* A line of an init file in its three fields. */
#include <stdio.h>
#include <userlib.h>

int main(void) {
  char line[] = "7;\"Line\";113";
  char* field[3];
  uint16_t id;
  char name[sizeof line];
  uint32_t mask;
  if (NUV_Convert_split(field, 3, line, ';') == 3 && NUV_Convert_uint16(&id, field[0]) &&
      NUV_Convert_string(name, field[1]) && NUV_Convert_uint32(&mask, field[2])) {
    printf("id %u, name %s, mask %u\n", (unsigned)id, name, (unsigned)mask);
  }
  printf("65535 converts: %d\n", (int)NUV_Convert_uint16(&id, "65535"));
  printf("65536 converts: %d, and the value is still %u\n", (int)NUV_Convert_uint16(&id, "65536"), (unsigned)id);
  return 0;
}
