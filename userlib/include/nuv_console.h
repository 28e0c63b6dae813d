/** @file
 * userlib: console, a small command interpreter on a control channel.
 *
 * An operator talks to a running daemon in lines: the first word names a command that the daemon has registered, the
 * command's function gets the words and answers on a descriptor, and a prompt tells that it is done. The channel is
 * what the daemon has: a listening socket, a FIFO, or its standard input. The daemon watches it with a reactor and lets
 * the console handle each event:
 *
 *     static int32_t show(void* a_context, int32_t a_argc, char** a_argv, int32_t a_fd)
 *     {
 *       return NUV_Console_output(a_fd, a_argc > 1 ? a_argv[1] : "what?\n");
 *     }
 *     static int32_t on_console(void* a_console, int32_t a_fd, uint32_t a_unused)
 *     {
 *       NUV_Console_handle(a_console, a_fd, 1);
 *       return 1;
 *     }
 *     ...
 *     static ConsoleCommand table[8];
 *     static Console console;
 *     NUV_Console_construct(&console, table, 8, "phoned> ");
 *     NUV_Console_setCommand(&console, "show", NULL, show);
 *     NUV_Select_setReadExternal(&loop, listening_socket, &console, 0, on_console);
 *
 * Words are separated by blanks. A word that begins with a double quote goes on to the next one, blanks included, and
 * its quotes are taken off; a quote inside any other word is a character like others. One read is one line: of what it
 * gives, at most 255 bytes, the text up to the first newline counts and the rest is lost. A line has at most 127 words;
 * what follows them is ignored.
 *
 * The command "help" is always there: it prints its own name and those of the table on the standard output of the
 * daemon, wherever the line came from.
 *
 * Reading and writing block, so whoever may connect can keep the daemon waiting: let only operators do so. A daemon
 * with a socket or a FIFO ignores SIGPIPE, or it dies with the next answer to somebody who has gone. The console
 * formats with VAStr() of nuv_utility.h, so what that gave before is lost when a line has been handled.
 *
 * Contracts are reported under "nuv_console"; every operation on a console first requires "((void *)0) != a_this".
 * Commands may register and remove commands, their own included.
 */
#ifndef NUV_CONSOLE_H
#define NUV_CONSOLE_H

#include <stdint.h>

#include "nuv_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * The function of a command. It gets the context that was registered with it, the number of words, the words (the
 * command itself is the first, a null pointer follows the last; they may be changed, and are gone after the call), and
 * the descriptor to answer on, which stays the console's. The result is ignored.
 */
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

/**
 * NUV_Console_construct makes a console without commands and returns 1. a_store has room for a_size commands and must
 * live as long as the console, as must the text a_prompt; both stay the caller's. A null a_store with a_size 0 makes a
 * console that knows "help" only.
 *
 * Requires "( ((void *)0) == a_store) == ( 0 == a_size)" and "((void *)0) != a_prompt". Ensures
 * "NUV_Console_maxSize( a_this) == a_size" and "NUV_Console_size( a_this) == 0". After an error handler has returned, a
 * console without a store has room for nothing, and a null prompt is an empty one.
 */
NUV_API int32_t NUV_Console_construct(Console* a_this, ConsoleCommand* a_store, uint32_t a_size, const char* a_prompt);

/** NUV_Console_destruct releases nothing: store and texts are the caller's. */
NUV_API void NUV_Console_destruct(Console* a_this);

/** NUV_Console_maxSize returns the number of commands that the store has room for. */
NUV_API uint32_t NUV_Console_maxSize(const Console* a_this);

/** NUV_Console_size returns the number of commands. */
NUV_API uint32_t NUV_Console_size(const Console* a_this);

/**
 * NUV_Console_setCommand adds a command at the end of the table and returns the new number of commands. The text a_name
 * must live as long as the command is registered. Names may be equal, and the first of them wins; "help" is never
 * reached.
 *
 * Requires "((void *)0) != a_cmdfunc" and "NUV_Console_size( a_this) < NUV_Console_maxSize( a_this)". Ensures
 * "NUV_Console_size( a_this) == ( oldsize + 1)". After an error handler has returned, a full table stays as it was, and
 * a command without a function does nothing. A null name is never called.
 */
NUV_API uint32_t NUV_Console_setCommand(Console* a_this, const char* a_name, void* a_context,
                                        NUV_ConsoleFunc a_cmdfunc);

/**
 * NUV_Console_removeCommand removes the first command with exactly the name a_name; those behind it move up in their
 * order. A name that is not there, null included, changes nothing.
 */
NUV_API void NUV_Console_removeCommand(Console* a_this, const char* a_name);

/**
 * NUV_Console_output writes a_text, without its zero, to a_fd with one write() and returns its result: the number of
 * bytes, perhaps fewer than the text has, or -1 with errno set. Nothing is retried. A null text is an empty one.
 */
NUV_API int32_t NUV_Console_output(int32_t a_fd, const char* a_text);

/**
 * NUV_Console_handle reads one line and answers it. What it does and returns depends on what a_fd is:
 *
 *  - 0, the standard input: the line is read there and answered on descriptor 1; a_outfd does not matter. Returns the
 *    result of handling the line.
 *  - a socket, which must be listening: one connection is accepted, one line read from it and answered on it, and the
 *    connection is closed again. Returns the result of that close(): 0, or -1 if there was no connection.
 *  - a FIFO or pipe: the line is read there and answered on a_outfd. Returns the result of handling the line.
 *  - anything else, such as a file or a terminal: nothing is read. Returns the bits of its mode that tell its type
 *    (S_IFMT of <sys/stat.h>).
 *  - nothing that is open: returns -1.
 *
 * The result of handling a line is what read() returned when that is below 1: 0 at the end of the input, -1 with errno
 * set; then nothing is written. Otherwise it is the result of writing the prompt.
 *
 * After each line comes the prompt. Before it, a quote that is not closed is answered with "syntax error\n", an unknown
 * command with "command not found\n". A line without words gets the prompt alone.
 */
NUV_API int32_t NUV_Console_handle(Console* a_this, int32_t a_fd, int32_t a_outfd);

#ifdef __cplusplus
}
#endif

#endif
