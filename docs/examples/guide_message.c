/* One part of a daemon sends a message to another one, which takes it in a turn of its own. */
#include <stdio.h>
#include <string.h>
#include <userlib.h>

enum { MSG_DIALLED = 1, PORT_CARD = 10, PORT_DIAL = 20, TYPE_DIGITS = 2 };

static Message mailbox; /* room for one; a daemon with more to say takes an array and an index pool */
static Pipe bell;       /* wakes the part that the mailbox belongs to */

static void card_dialled(const char* a_digits) {
  Memory digits;
  Message message;
  NUV_Memory_construct(&digits, (uint32_t)strlen(a_digits));
  memcpy(NUV_Memory_begin(&digits), a_digits, NUV_Memory_size(&digits));
  NUV_Message_construct(&message, MSG_DIALLED, PORT_DIAL, PORT_CARD);
  NUV_Message_add(&message, TYPE_DIGITS, &digits); /* takes the block */
  NUV_Message_move(&mailbox, &message);            /* takes the message */
  NUV_Message_destruct(&message);
  NUV_Memory_destruct(&digits);
  NUV_Pipe_write(&bell, "m", 1);
}

static int32_t on_mail(void* a_unused, int32_t a_fd, uint32_t a_number) {
  char byte;
  Message message;
  (void)a_unused, (void)a_fd, (void)a_number;
  NUV_Pipe_read(&bell, &byte, 1);
  NUV_Message_construct(&message, 0, 0, 0);
  NUV_Message_move(&message, &mailbox); /* the mailbox is free for the next one */
  const Memory* digits = NUV_MessageData_data(NUV_Message_data(&message, 0));
  printf("from port %d: %.*s\n", (int)NUV_Message_srcPort(&message), (int)NUV_Memory_size(digits),
         (const char*)NUV_Memory_begin(digits));
  NUV_Message_destruct(&message); /* and the digits with it */
  return 0;
}

int main(void) {
  static Select loop;
  NUV_Select_construct(&loop);
  NUV_Pipe_construct(&bell);
  NUV_Message_construct(&mailbox, 0, 0, 0);
  NUV_Select_setRead(&loop, NUV_Pipe_readFd(&bell), NULL, 0, on_mail);
  card_dialled("0110");
  puts("sent");
  NUV_Select_process(&loop, NULL);
  NUV_Message_destruct(&mailbox);
  NUV_Pipe_destruct(&bell);
  NUV_Select_destruct(&loop);
  return 0;
}
