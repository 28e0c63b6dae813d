/* A text gets a header in front of it without being copied. */
#include <stdio.h>
#include <string.h>
#include <userlib.h>

int main(void) {
  const char text[] = "hello";
  const uint32_t length = sizeof text - 1;
  Frame packet;
  NUV_Frame_construct(&packet, 1500);
  NUV_Frame_reduceFront(&packet, 20); /* leave room for a header */
  memcpy(NUV_Frame_begin(&packet), text, length);
  NUV_Frame_reduceRear(&packet, NUV_Frame_size(&packet) - length);
  NUV_Frame_expandFront(&packet, 20); /* the header's turn */
  memset(NUV_Frame_begin(&packet), '-', 20);
  printf("%u bytes: %.*s\n", (unsigned)NUV_Frame_size(&packet), (int)NUV_Frame_size(&packet),
         (const char*)NUV_Frame_begin(&packet));
  printf("headroom %u, tailroom %u\n", (unsigned)NUV_Frame_offsetFront(&packet),
         (unsigned)NUV_Frame_offsetRear(&packet));
  NUV_Frame_destruct(&packet);
  return 0;
}
