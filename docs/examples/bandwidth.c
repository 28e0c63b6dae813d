/* What a call will need on the line before it is accepted. */
#include <stdio.h>
#include <userlib.h>

int main(void) {
  uint32_t plain = NUV_Bandwidth_compute(40, 0, 8.0F, 20, 1.0F, 160);
  uint32_t in_cells = NUV_Bandwidth_compute(40, 1, 8.0F, 20, 1.0F, 160);
  printf("%u bytes a second, %u in ATM cells\n", (unsigned)plain, (unsigned)in_cells);
  return 0;
}
