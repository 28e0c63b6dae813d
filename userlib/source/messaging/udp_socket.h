// What the UDP client and the UDP server have in common.
#ifndef USERLIB_SOURCE_MESSAGING_UDP_SOCKET_H
#define USERLIB_SOURCE_MESSAGING_UDP_SOCKET_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <stdint.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <unistd.h>

namespace nuv {

// The most that one transfer carries.
inline constexpr size_t kUdpBufferSize = 1024;

// Fills in an IPv4 address, both parts in network byte order. The padding keeps what it holds.
inline void set_address(sockaddr_in& address, in_addr_t host, in_port_t port) {
  address.sin_family = AF_INET;
  address.sin_port = port;
  address.sin_addr.s_addr = host;
}

// Opens a UDP socket. Returns -1 where the system gives none.
inline int open_udp_socket() {
  return socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
}

// Binds the socket to the address. Where the system refuses, returns false and leaves nothing open: the socket is -1.
inline bool bind_udp_socket(int32_t& fd, const sockaddr_in& local) {
  if (bind(fd, reinterpret_cast<const sockaddr*>(&local), sizeof local) == 0) {
    return true;
  }
  close(fd);
  fd = -1;
  return false;
}

inline void close_udp_socket(int fd) {
  if (fd >= 0) {
    close(fd);
  }
}

// Receives one datagram, whose sender is noted, and writes it to the output. A failed receive writes nothing: its
// result taken for a length would send the stack to whoever reads the output.
inline void forward_datagram(int socket_fd, sockaddr_in& sender, int out_fd) {
  char buffer[kUdpBufferSize];
  socklen_t length = sizeof sender;
  const ssize_t received = recvfrom(socket_fd, buffer, sizeof buffer, 0, reinterpret_cast<sockaddr*>(&sender), &length);
  if (received >= 0) {
    static_cast<void>(!write(out_fd, buffer, static_cast<size_t>(received)));
  }
}

struct Transfer {
  ssize_t read;
  ssize_t sent;
};

// Reads from the descriptor and sends what it gave as one datagram. A failed read sends nothing, for the same reason.
inline Transfer send_from(int fd, int socket_fd, const sockaddr_in& receiver) {
  char buffer[kUdpBufferSize];
  const ssize_t length = read(fd, buffer, sizeof buffer);
  if (length < 0) {
    return {length, -1};
  }
  const ssize_t sent = sendto(socket_fd, buffer, static_cast<size_t>(length), 0,
                              reinterpret_cast<const sockaddr*>(&receiver), sizeof receiver);
  return {length, sent};
}

}  // namespace nuv

#endif
