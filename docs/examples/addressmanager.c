/* A call number for each call, the lowest that is free. */
#include <stdio.h>
#include <userlib.h>

int main(void) {
  if (NUV_AddressManager_available()) {
    uint32_t call = NUV_AddressManager_allocate();
    uint32_t second = NUV_AddressManager_allocate();
    printf("calls %u and %u\n", (unsigned)call, (unsigned)second);
    NUV_AddressManager_deallocate(call);
    printf("%u is %s, %u is %s\n", (unsigned)call, NUV_AddressManager_busy(call) ? "busy" : "free", (unsigned)second,
           NUV_AddressManager_busy(second) ? "busy" : "free");
    NUV_AddressManager_deallocate(second);
  }
  return 0;
}
