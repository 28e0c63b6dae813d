/* An item takes a block over. */
#include <stdio.h>
#include <string.h>
#include <userlib.h>

enum { TYPE_DIGITS = 2 };

int main(void) {
  Memory block;
  NUV_Memory_construct(&block, 4);
  memcpy(NUV_Memory_begin(&block), "0110", 4);

  MessageData digits;
  NUV_MessageData_construct(&digits);
  NUV_MessageData_set(&digits, TYPE_DIGITS, &block); /* block is empty now */
  printf("type %d, %.*s; the block has %u bytes\n", (int)NUV_MessageData_type(&digits),
         (int)NUV_Memory_size(NUV_MessageData_data(&digits)),
         (const char*)NUV_Memory_begin(NUV_MessageData_data(&digits)), (unsigned)NUV_Memory_size(&block));
  NUV_MessageData_destruct(&digits);
  NUV_Memory_destruct(&block);
  return 0;
}
