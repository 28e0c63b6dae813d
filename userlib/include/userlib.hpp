/** @file userlib.hpp
 *
 * userlib for daemons in C++: owners of the library's records, and callables as callbacks.
 *
 * The library's records have to be constructed and destructed by hand, and its callbacks are functions that get what
 * they work on as a void pointer. This header lets C++ do both: every class here holds one
 * record, constructs it, destructs it when its own life ends, and offers the record's operations as members under
 * their own names, written in small letters. Timers, watched descriptors and commands of a console call what a program
 * hands over, a lambda for instance, and are taken back when they die:
 *
 *     int main() {
 *       userlib::Reactor loop;
 *       bool is_ending = false;
 *       userlib::Watch input(loop, [&] { is_ending = getchar() == EOF; });
 *       userlib::Timer dots(loop, [] { putchar('.'); });
 *       if (!input.read_external(STDIN_FILENO) || !dots.start_every(std::chrono::seconds(1))) return 1;
 *       while (!is_ending) loop.process();
 *     }
 *
 * What there is, in a header for each part, which may be included alone:
 *
 *     userlib_core.hpp       Memory, UniqueFd, Owned<...>, times
 *     userlib_containers.hpp Frame, IndexPool, IndexMap<N>
 *     userlib_loop.hpp       Reactor, Watch, Timer
 *     userlib_messaging.hpp  MessageData, Message, Pipe, UdpServer, UdpClient
 *     userlib_tracing.hpp    Tracing
 *     userlib_process.hpp    Console<N>, Command, Daemon, Signals
 *     userlib_output.hpp     Output, Capture
 *     userlib_resident.hpp   LineReader<N>, UnixListener, LockFile, TimeLimit, replace_file
 *     userlib_telephony.hpp  DigitMap
 *
 * It takes C++17, with or without exceptions and run-time type information, and nothing of the C++ run time: no heap,
 * no virtual function, nothing that throws. What it adds to a program is inline; all else are calls of the C interface,
 * whose headers say what each operation does, requires and reports. Contracts are checked there, not here. record()
 * gives the record itself to the operations that have no member.
 *
 * Rules of life:
 *
 *  - Memory, Frame, MessageData and Message move as their records do, and leave an empty one behind. IndexPool, Pipe,
 *    UniqueFd, UdpServer, UdpClient and DigitMap move too, and leave one behind that owns nothing. All others stay where
 *    they are made, because something points to them; they can be members, and live in std::optional or the nodes of a
 *    std::map.
 *  - A callable is kept inside its Timer, Watch or Command and may have the size of four pointers. It must be of a kind
 *    that needs no destructor and can be copied as bytes, such as a lambda that captures "this", pointers, references
 *    and numbers; and it must be callable as const, so what it changes lies elsewhere. A callable may destroy or stop
 *    the Timer, Watch or Command that it belongs to, and others, and start new ones; but not the Reactor that is
 *    running.
 *  - Timers and Watches of a Reactor may outlive it: they fall silent. They must not be started again then.
 *  - All of it belongs to one thread, as the library does. A callable must not throw.
 *
 * The classes have the names of the records, in their own namespace. So do not open it as a whole: with "using namespace
 * userlib", Frame is the record as well as its owner.
 */
#ifndef USERLIB_HPP
#define USERLIB_HPP

#if !defined(__cplusplus) || __cplusplus < 201703L
#error "userlib.hpp takes C++17; programs in C take userlib.h"
#endif

#include "userlib.h"
#include "userlib_containers.hpp"
#include "userlib_core.hpp"
#include "userlib_loop.hpp"
#include "userlib_messaging.hpp"
#include "userlib_output.hpp"
#include "userlib_process.hpp"
#include "userlib_resident.hpp"
#include "userlib_telephony.hpp"
#include "userlib_tracing.hpp"

#endif
