/* The digest of a message that comes in two pieces. */
#include <stdio.h>
#include <string.h>
#include <userlib.h>

int main(void) {
  const char header[3] = {'m', 'e', 's'};
  const char* body = "sage digest";
  const uint32_t body_length = (uint32_t)strlen(body);

  NUV_MDContext context;
  uint8_t digest[16];
  NUV_MDInit(&context);
  NUV_MDUpdate(&context, header, sizeof header);
  NUV_MDUpdate(&context, body, body_length);
  NUV_MDFinal(digest, &context);

  for (int i = 0; i < 16; ++i)
    printf("%02x", digest[i]);
  puts("");
  return 0;
}
