// What the library's UDP bridges leave to their user: to look at a datagram before it is taken.
#ifndef EXAMPLES_PHONED_IO_DATAGRAM_H
#define EXAMPLES_PHONED_IO_DATAGRAM_H

#include <cstddef>
#include <optional>

namespace phoned {

// What one transfer of a bridge carries; of a longer datagram the rest would be lost.
inline constexpr size_t kMaxDatagram = 1024;

// The size of the datagram that waits in the socket, if one does. select() may call a socket readable whose datagram
// turns out to be damaged, and a bridge would then wait for the next one.
std::optional<size_t> waiting_datagram(int socket_fd);

// Tells whether a bridge can pass on a datagram of this size. It cannot pass on an empty one: its output is a stream.
bool can_be_bridged(size_t size);

// Throws the datagram away that waits in the socket.
void drop_datagram(int socket_fd);

}  // namespace phoned

#endif
