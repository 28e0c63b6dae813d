#include "nuv_udpserver.h"

#include <stdio.h>

#include "core/contract.h"
#include "messaging/udp_socket.h"

namespace {

constexpr char kFamily[] = "nuv_udpserver";

}  // namespace

int32_t NUV_UdpServer_construct(UdpServer* a_this, uint16_t a_port, int32_t a_outfd) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  a_this->m_iOutFd = a_outfd;
  a_this->m_iSocket = nuv::open_udp_socket();
  if (a_this->m_iSocket < 0) {
    return 0;
  }
  a_this->m_oLocal = {};
  nuv::set_address(a_this->m_oLocal, htonl(INADDR_ANY), a_port);
  a_this->m_oPeer = {};
  return nuv::bind_udp_socket(a_this->m_iSocket, a_this->m_oLocal) ? 1 : 0;
}

void NUV_UdpServer_destruct(UdpServer* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  nuv::close_udp_socket(a_this->m_iSocket);
}

int32_t NUV_UdpServer_socket(const UdpServer* a_this) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  return a_this->m_iSocket;
}

void NUV_UdpServer_socketRead(UdpServer* a_this, int32_t a_socket) {
  NUV_REQUIRE_OBJECT(((void *)0) != a_this);
  NUV_REQUIRE_TEXT(a_this->m_iSocket == a_socket, "NUV_UdpServer_socket( a_this) == a_socket");
  printf("NUV_UdpServer_socketRead ...");
  nuv::forward_datagram(a_socket, a_this->m_oPeer, a_this->m_iOutFd);
  printf("o.k.\n");
}

void NUV_UdpServer_fileRead(UdpServer* a_this, int32_t a_fd) {
  NUV_REQUIRE(((void *)0) != a_this);
  printf("NUV_UdpServer_fileRead ...");
  const nuv::Transfer transfer = nuv::send_from(a_fd, a_this->m_iSocket, a_this->m_oPeer);
  printf("%u %u o.k.\n", static_cast<uint32_t>(transfer.read), static_cast<uint32_t>(transfer.sent));
}
