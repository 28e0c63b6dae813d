/** @file
 * userlib: UDP server, a bridge between one local descriptor and the peers that send to one UDP port.
 *
 * What the socket receives is written to the output descriptor, and its sender is remembered; what is read from any
 * descriptor is sent to the last sender as one datagram. To answer later, keep a copy of m_oPeer with the request:
 *
 *     request[i].peer = server.m_oPeer;
 *     ...
 *     server.m_oPeer = request[i].peer;
 *     NUV_UdpServer_fileRead(&server, NUV_Pipe_readFd(&answers));
 *
 * A transfer carries at most 1024 bytes; bytes beyond that are lost. Each prints a line on standard output, whatever
 * came of it: results are not checked, and nothing is retried. All may be called from a reactor's callbacks; they
 * block until data is there.
 */
#ifndef NUV_UDPSERVER_H
#define NUV_UDPSERVER_H

#include <netinet/in.h>
#include <stdint.h>

#include "nuv_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/** A server. m_oPeer may be read and written; the other fields are left to the operations. */
typedef struct UdpServer {
  int32_t m_iOutFd;            /**< where received datagrams go; the caller's, who closes it */
  int32_t m_iSocket;           /**< the socket, the server's; -1 after a failed construct */
  struct sockaddr_in m_oLocal; /**< bound address: any interface, and the port as it was given */
  struct sockaddr_in m_oPeer;  /**< sender of the last datagram, destination of the next; all zero before the first */
} UdpServer;

/** NUV_UdpServer_construct opens a socket on a_port, in network byte order (htons(5060); 0: the system chooses), of
 * every interface. Received data will go to a_outfd. Returns 1; or 0, with nothing left open, if the system refuses. */
NUV_API int32_t NUV_UdpServer_construct(UdpServer* a_this, uint16_t a_port, int32_t a_outfd);

/** NUV_UdpServer_destruct closes the socket; the output descriptor stays open. */
NUV_API void NUV_UdpServer_destruct(UdpServer* a_this);

/** NUV_UdpServer_socket returns the socket's descriptor, for a reactor. It stays the server's. */
NUV_API int32_t NUV_UdpServer_socket(const UdpServer* a_this);

/** NUV_UdpServer_socketRead receives one datagram from a_socket, which must be the server's, remembers its sender as
 * the peer, and writes the data to the output descriptor. After a failed receive nothing is written and the peer
 * stays. */
NUV_API void NUV_UdpServer_socketRead(UdpServer* a_this, int32_t a_socket);

/** NUV_UdpServer_fileRead reads at most 1024 bytes from a_fd and sends them to the peer; after a failed read nothing
 * is sent, at the end of the data an empty datagram. */
NUV_API void NUV_UdpServer_fileRead(UdpServer* a_this, int32_t a_fd);

#ifdef __cplusplus
}
#endif

#endif
