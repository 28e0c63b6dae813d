#include "nuv_udpclient.h"

#include <stdio.h>

#include "core/contract.h"
#include "messaging/udp_socket.h"

namespace {

constexpr char kFamily[] = "nuv_udpclient";

}  // namespace

int32_t NUV_UdpClient_construct(UdpClient* a_this, const char* a_server, uint16_t a_port, int32_t a_outfd) {
  NUV_REQUIRE(((void *)0) != a_this);
  NUV_REQUIRE(((void *)0) != a_server);
  a_this->m_iOutFd = a_outfd;
  a_this->m_iSocket = nuv::open_udp_socket();
  if (a_this->m_iSocket < 0) {
    return 0;
  }
  a_this->m_oServer = {};
  nuv::set_address(a_this->m_oServer, a_server != nullptr ? inet_addr(a_server) : INADDR_NONE, a_port);
  nuv::set_address(a_this->m_oLocal, htonl(INADDR_ANY), /*port=*/0);
  return nuv::bind_udp_socket(a_this->m_iSocket, a_this->m_oLocal) ? 1 : 0;
}

void NUV_UdpClient_destruct(UdpClient* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  nuv::close_udp_socket(a_this->m_iSocket);
}

int32_t NUV_UdpClient_socket(const UdpClient* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  return a_this->m_iSocket;
}

void NUV_UdpClient_socketRead(UdpClient* a_this, int32_t a_socket) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  NUV_REQUIRE_TEXT(a_this->m_iSocket == a_socket, "NUV_UdpClient_socket( a_this) == a_socket");
  printf("NUV_UdpClient_socketRead ...");
  nuv::forward_datagram(a_socket, a_this->m_oLocal, a_this->m_iOutFd);
  printf("o.k.\n");
}

void NUV_UdpClient_fileRead(UdpClient* a_this, int32_t a_fd) {
  NUV_REQUIRE(((void *)0) != a_this);
  printf("NUV_UdpClient_fileRead ...");
  nuv::send_from(a_fd, a_this->m_iSocket, a_this->m_oServer);
  printf("o.k.\n");
}
