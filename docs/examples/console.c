/* An operator on a pipe; in a daemon it is a socket or a FIFO. */
#include <stdio.h>
#include <unistd.h>
#include <userlib.h>

static int32_t show(void* a_context, int32_t a_argc, char** a_argv, int32_t a_fd) {
  (void)a_context;
  return NUV_Console_output(a_fd, a_argc > 1 ? a_argv[1] : "what?\n");
}

static int32_t on_console(void* a_console, int32_t a_fd, uint32_t a_unused) {
  (void)a_unused;
  NUV_Console_handle(a_console, a_fd, 1);
  return 1;
}

int main(void) {
  static Select loop;
  static Pipe operator_line;
  static ConsoleCommand table[8];
  static Console console;
  const char* lines[] = {"show \"two words\"\n", "show\n", "shout\n"};
  NUV_Select_construct(&loop);
  NUV_Pipe_construct(&operator_line);
  const int listening_socket = NUV_Pipe_readFd(&operator_line);

  NUV_Console_construct(&console, table, 8, "phoned> ");
  NUV_Console_setCommand(&console, "show", NULL, show);
  NUV_Select_setReadExternal(&loop, listening_socket, &console, 0, on_console);

  for (int i = 0; i < 3; ++i) {
    NUV_Console_output(NUV_Pipe_writeFd(&operator_line), lines[i]);
    NUV_Select_process(&loop, NULL);
    NUV_Console_output(1, "\n");
  }
  NUV_Pipe_destruct(&operator_line);
  NUV_Select_destruct(&loop);
  return 0;
}
