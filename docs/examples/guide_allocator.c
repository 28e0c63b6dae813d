/* An allocator that counts, and refuses more than a daemon may have. */
#include <stdio.h>
#include <stdlib.h>
#include <userlib.h>

enum { LIMIT = 4096 };
static uint32_t in_use;

static void* take(uint32_t a_size) {
  if (a_size > LIMIT - in_use)
    return NULL;
  void* block = malloc(a_size);
  if (block != NULL)
    in_use += a_size;
  return block;
}

static void give_back(void* a_addr, uint32_t a_size) {
  if (a_addr != NULL) /* null stands for no block, whatever size was asked for */
    in_use -= a_size;
  free(a_addr);
}

/* A frame without memory is a result for this daemon and no reason to end. */
static void carry_on(uint32_t a_type, const char* a_file, uint32_t a_line, const char* a_expression) {
  (void)a_type, (void)a_line;
  printf("%s: %s\n", a_file, a_expression);
}

int main(void) {
  Frame frame, too_large;
  NUV_Assert_setErrorHandler(carry_on);
  NUV_installMemoryManager(take, give_back);
  NUV_Frame_construct(&frame, 1500);
  printf("%u bytes in use\n", (unsigned)in_use);
  NUV_Frame_construct(&too_large, 3000);
  if (NUV_Frame_address(&too_large) == NULL)
    printf("no frame of %u bytes\n", (unsigned)NUV_Frame_size(&too_large));
  NUV_Frame_destruct(&too_large);
  NUV_Frame_destruct(&frame);
  printf("%u bytes in use\n", (unsigned)in_use);
  return 0;
}
