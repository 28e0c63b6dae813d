/** @file
 * userlib: UDP client, a bridge between one local descriptor and one UDP server.
 *
 * What the socket receives is written to the output descriptor; what is read from any descriptor is sent to the server
 * as one datagram. A reactor's callbacks drive both directions:
 *
 *     if (!NUV_UdpClient_construct(&client, "127.0.0.1", port, 1)) return errno;    // port is, say, htons(5060)
 *     NUV_Select_setReadExternal(&loop, NUV_UdpClient_socket(&client), &client, 0, from_socket);
 *
 * A transfer carries at most 1024 bytes; bytes beyond that are lost. Each prints a line on standard output, the name
 * of the operation and " ...o.k.", whatever came of it: results are not checked, and nothing is retried. They block
 * until data is there.
 */
#ifndef NUV_UDPCLIENT_H
#define NUV_UDPCLIENT_H

#include <netinet/in.h>
#include <stdint.h>

#include "nuv_api.h"

#ifdef __cplusplus
extern "C" {
#endif

/** A client. All fields are left to the operations. */
typedef struct UdpClient {
  int32_t m_iOutFd;             /**< where received datagrams go; the caller's, who closes it */
  int32_t m_iSocket;            /**< the socket, the client's; -1 after a failed construct */
  struct sockaddr_in m_oServer; /**< where datagrams go to */
  struct sockaddr_in m_oLocal;  /**< bound address; after a receive the sender of that datagram */
} UdpClient;

/** NUV_UdpClient_construct opens a socket on any free port for the server at a_server, an IPv4 address in dotted form
 * (anything else becomes 255.255.255.255), and a_port, in network byte order: htons(5060). Received data will go to
 * a_outfd. Returns 1; or 0, with nothing left open, if the system refuses. */
NUV_API int32_t NUV_UdpClient_construct(UdpClient* a_this, const char* a_server, uint16_t a_port, int32_t a_outfd);

/** NUV_UdpClient_destruct closes the socket; the output descriptor stays open. */
NUV_API void NUV_UdpClient_destruct(UdpClient* a_this);

/** NUV_UdpClient_socket returns the socket's descriptor, for a reactor. It stays the client's. */
NUV_API int32_t NUV_UdpClient_socket(const UdpClient* a_this);

/** NUV_UdpClient_socketRead receives one datagram from a_socket, which must be the client's, and writes it to the
 * output descriptor; after a failed receive nothing is written. */
NUV_API void NUV_UdpClient_socketRead(UdpClient* a_this, int32_t a_socket);

/** NUV_UdpClient_fileRead reads at most 1024 bytes from a_fd and sends them to the server; after a failed read nothing
 * is sent, at the end of the data an empty datagram. */
NUV_API void NUV_UdpClient_fileRead(UdpClient* a_this, int32_t a_fd);

#ifdef __cplusplus
}
#endif

#endif
