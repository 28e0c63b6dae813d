/* A block that changes hands. */
#include <stdio.h>
#include <string.h>
#include <userlib.h>

int main(void) {
  Memory queue_slot;
  NUV_Memory_construct(&queue_slot, 0);
  Memory request;
  NUV_Memory_construct(&request, 64);
  uint8_t* address_field = NUV_Memory_get(&request, 4, 12); /* 4 bytes at offset 12 */
  memcpy(address_field, "\300\000\002\001", 4);
  NUV_Memory_move(&queue_slot, &request); /* request is empty now */
  NUV_Memory_destruct(&request);
  printf("queued %u bytes, address %u.%u.%u.%u\n", (unsigned)NUV_Memory_size(&queue_slot),
         NUV_Memory_begin(&queue_slot)[12], NUV_Memory_begin(&queue_slot)[13], NUV_Memory_begin(&queue_slot)[14],
         NUV_Memory_begin(&queue_slot)[15]);
  NUV_Memory_destruct(&queue_slot);
  return 0;
}
