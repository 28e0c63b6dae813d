/* What a trace shows of a message. */
#include <stdio.h>
#include <userlib.h>

int main(void) {
  Message message;
  NUV_Message_construct(&message, 5, 3, 1);
  char line[80];
  NUV_MessageHeader_trace(line, sizeof line, &message.m_oHeader, "tx", "dial", "card", "digit 5");
  puts(line);
  NUV_Message_destruct(&message);
  return 0;
}
