/* A message with a line's number, handed to a queue. */
#include <stdio.h>
#include <userlib.h>

enum { MSG_OFFHOOK = 1, PORT_CARD = 10, PORT_DIAL = 20, TYPE_LINE = 1 };

int main(void) {
  static Message queue[2];
  const int last = 0;
  Memory line_block;
  NUV_Message_construct(&queue[last], 0, 0, 0);
  NUV_Memory_construct(&line_block, 1);
  *NUV_Memory_begin(&line_block) = 7;

  Message offhook;
  NUV_Message_construct(&offhook, MSG_OFFHOOK, PORT_DIAL, PORT_CARD);
  NUV_Message_add(&offhook, TYPE_LINE, &line_block); /* line_block is empty now */
  NUV_Message_move(&queue[last], &offhook);          /* offhook is empty now */
  NUV_Message_destruct(&offhook);

  printf("type %d, from %d to %d, %u item\n", (int)NUV_Message_msgType(&queue[last]),
         (int)NUV_Message_srcPort(&queue[last]), (int)NUV_Message_destPort(&queue[last]),
         (unsigned)NUV_Message_size(&queue[last]));
  printf("line %u\n", *NUV_Memory_begin(NUV_MessageData_data(NUV_Message_data(&queue[last], 0))));
  NUV_Memory_destruct(&line_block);
  NUV_Message_destruct(&queue[last]);
  return 0;
}
