/** @file
 * userlib: console, a small command interpreter on a control channel.
 *
 * An operator talks to a running daemon in lines: the first word names a command that the daemon has registered, its
 * function gets the words and answers, and a prompt follows. The daemon watches the channel, such as a listening
 * socket, with a reactor, and lets the console handle each event:
 *
 *     NUV_Console_construct(&console, table, 8, "phoned> ");
 *     NUV_Console_setCommand(&console, "show", NULL, show);
 *     NUV_Select_setReadExternal(&loop, listening_socket, &console, 0, on_console);
 *
 * Limits: one read is one line of at most 255 bytes, up to its first newline, and 127 words. Reading and writing
 * block: let only operators connect, and ignore SIGPIPE. "help" always exists. Handling a line overwrites the text of
 * VAStr(). Commands may register and remove commands.
 */
#ifndef NUV_CONSOLE_H
#define NUV_CONSOLE_H

#include <stdint.h>

#include "nuv_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The function of a command: gets its context, the number of words, the words (the command first, null behind the
 * last, valid during the call), and the descriptor to answer on, which stays the console's. The result is ignored. */
typedef int32_t (*NUV_ConsoleFunc)(void* a_context, int32_t a_argc, char** a_argv, int32_t a_fd);

/** One command. All fields are left to the operations. */
typedef struct ConsoleCommand {
  const char* m_pName;     /**< the word that calls it; the caller's text, not copied */
  void* m_pContext;        /**< handed to the function as it is */
  NUV_ConsoleFunc m_pFunc; /**< what the command does */
} ConsoleCommand;

/** A console. All fields are left to the operations. */
typedef struct Console {
  ConsoleCommand* m_pStore; /**< the table of commands, the caller's, without gaps from the front on */
  uint32_t m_uMaxSize;      /**< number of commands that the table has room for */
  uint32_t m_uSize;         /**< number of commands in the table */
  const char* m_pPrompt;    /**< what is written after each line; the caller's text, not copied */
} Console;

/** NUV_Console_construct makes a console without commands, with room for a_size of them in a_store, and returns 1.
 * a_store and the text a_prompt stay the caller's and must live as long as the console. A null a_store takes a_size
 * 0: "help" only. */
NUV_API int32_t NUV_Console_construct(Console* a_this, ConsoleCommand* a_store, uint32_t a_size, const char* a_prompt);

/** NUV_Console_destruct releases nothing: store and texts are the caller's. */
NUV_API void NUV_Console_destruct(Console* a_this);

/** NUV_Console_maxSize returns the number of commands that fit, NUV_Console_size the number that there are. */
NUV_API uint32_t NUV_Console_maxSize(const Console* a_this);
NUV_API uint32_t NUV_Console_size(const Console* a_this);

/** NUV_Console_setCommand adds a command at the end of the table and returns the new number. The text a_name must live
 * as long as the command. The first of equal names wins. Requires a function and room. */
NUV_API uint32_t NUV_Console_setCommand(Console* a_this, const char* a_name, void* a_context,
                                        NUV_ConsoleFunc a_cmdfunc);

/** NUV_Console_removeCommand removes the first command named a_name; without one it changes nothing. */
NUV_API void NUV_Console_removeCommand(Console* a_this, const char* a_name);

/** NUV_Console_output writes a_text to a_fd with one write() and returns its result: the bytes written, or -1 with
 * errno set. */
NUV_API int32_t NUV_Console_output(int32_t a_fd, const char* a_text);

/** NUV_Console_handle reads one line and answers it, a_fd being:
 *
 *  - 0, standard input: answered on descriptor 1;
 *  - a listening socket: one connection is accepted, answered and closed. Returns the result of that close(), -1
 *    without one;
 *  - a FIFO or pipe: answered on a_outfd;
 *  - anything else: nothing is read. Returns the type bits of its mode (S_IFMT), or -1 if a_fd is not open.
 *
 * Otherwise it returns what read() returned if that is below 1, and nothing is written; else the result of writing
 * the prompt. */
NUV_API int32_t NUV_Console_handle(Console* a_this, int32_t a_fd, int32_t a_outfd);

#ifdef __cplusplus
}
#endif

#endif
