// A daemon in C++20 that uses the installed library. It sends itself a datagram, which a lambda receives and stores in
// a frame. It ends when the datagram arrives or a timer fires.
#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>
#include <userlib.h>

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

namespace {

struct FrameDeleter {
  void operator()(Frame* frame) const {
    NUV_Frame_destruct(frame);
    delete frame;
  }
};

using OwnedFrame = std::unique_ptr<Frame, FrameDeleter>;

OwnedFrame make_frame(uint32_t size) {
  OwnedFrame frame(new Frame);
  NUV_Frame_construct(frame.get(), size);
  return frame;
}

struct EchoDaemon {
  UdpServer server = {};
  Pipe requests = {};
  std::string received;
  bool is_ending = false;
};

EchoDaemon& daemon_of(void* context) {
  return *static_cast<EchoDaemon*>(context);
}

bool send_to(int socket, std::string_view text) {
  sockaddr_in address = {};
  socklen_t size = sizeof address;
  if (getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
    return false;
  }
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return sendto(socket, text.data(), text.size(), 0, reinterpret_cast<const sockaddr*>(&address), size) ==
         static_cast<ssize_t>(text.size());
}

}  // namespace

int main() {
  if (NUV_Userlib_checkVersion(NUV_USERLIB_VERSION_MAJOR, NUV_USERLIB_VERSION_MINOR) == 0) {
    return 2;
  }
  EchoDaemon daemon;
  Select loop;
  NUV_Select_construct(&loop);
  if (NUV_Pipe_construct(&daemon.requests) == 0 ||
      NUV_UdpServer_construct(&daemon.server, 0, NUV_Pipe_writeFd(&daemon.requests)) == 0 ||
      !send_to(NUV_UdpServer_socket(&daemon.server), "head:hello")) {
    std::perror("cpp_daemon");
    return 2;
  }
  NUV_Select_setReadExternal(&loop, NUV_UdpServer_socket(&daemon.server), &daemon, 0,
                             [](void* context, int32_t fd, uint32_t) {
                               NUV_UdpServer_socketRead(&daemon_of(context).server, fd);
                               return int32_t{0};
                             });
  NUV_Select_setRead(&loop, NUV_Pipe_readFd(&daemon.requests), &daemon, 0, [](void* context, int32_t, uint32_t) {
    const OwnedFrame frame = make_frame(64);
    const int32_t size =
        NUV_Pipe_read(&daemon_of(context).requests, NUV_Frame_begin(frame.get()), NUV_Frame_size(frame.get()));
    NUV_Frame_reduceRear(frame.get(), NUV_Frame_size(frame.get()) - static_cast<uint32_t>(size));
    NUV_Frame_reduceFront(frame.get(), static_cast<uint32_t>(std::string_view("head:").size()));
    daemon_of(context).received.assign(reinterpret_cast<const char*>(NUV_Frame_begin(frame.get())),
                                       NUV_Frame_size(frame.get()));
    daemon_of(context).is_ending = true;
    return int32_t{0};
  });
  NUV_Select_setTimeout(&loop, timeval{10, 0}, &daemon, 0, [](void* context, timeval*, uint32_t) {
    daemon_of(context).is_ending = true;
    return int32_t{0};
  });
  while (!daemon.is_ending) {
    NUV_Select_process(&loop, nullptr);
  }
  std::printf("cpp_daemon with %s: received '%s'\n", NUV_Userlib_getVersionString(), daemon.received.c_str());
  NUV_Select_destruct(&loop);
  NUV_UdpServer_destruct(&daemon.server);
  NUV_Pipe_destruct(&daemon.requests);
  return daemon.received == "hello" ? 0 : 1;
}
