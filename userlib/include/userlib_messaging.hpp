/** @file userlib_messaging.hpp
 *
 * Part of userlib.hpp: messages, and ways for bytes between processes: MessageData, Message, Pipe, UdpServer, UdpClient.
 */
#ifndef USERLIB_MESSAGING_HPP
#define USERLIB_MESSAGING_HPP

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include "nuv_message.h"
#include "nuv_messagedata.h"
#include "nuv_messageheader.h"
#include "nuv_pipe.h"
#include "nuv_udpclient.h"
#include "nuv_udpserver.h"
#include "userlib_core.hpp"

namespace userlib {

/// MessageData owns one typed item.
class MessageData {
 public:
  MessageData() { NUV_MessageData_construct(&record_); }

  /// An item with the block, which is left empty.
  MessageData(int32_t type, Memory&& block) : MessageData() { set(type, std::move(block)); }

  ~MessageData() { NUV_MessageData_destruct(&record_); }
  MessageData(MessageData&& other) noexcept : MessageData() { NUV_MessageData_swap(&record_, &other.record_); }
  MessageData& operator=(MessageData&& other) noexcept {
    if (this != &other) {
      NUV_MessageData_move(&record_, &other.record_);
    }
    return *this;
  }

  int32_t type() const { return NUV_MessageData_type(&record_); }
  void set(int32_t type, Memory&& block) { NUV_MessageData_set(&record_, type, &block.record()); }

  /// text shows the bytes as characters, none without memory. Good as long as the item keeps its block.
  std::string_view text() const {
    const uint8_t* bytes = NUV_Memory_begin(&record_.m_oData);
    return {reinterpret_cast<const char*>(bytes), bytes != nullptr ? NUV_Memory_size(&record_.m_oData) : 0};
  }

  ::MessageData& record() { return record_; }
  const ::MessageData& record() const { return record_; }

 private:
  ::MessageData record_;
};

/// Message owns a header and up to five items.
class Message {
 public:
  Message() : Message(0, 0, 0) {}
  Message(int32_t type, int32_t dest_port, int32_t src_port) {
    NUV_Message_construct(&record_, type, dest_port, src_port);
  }

  ~Message() { NUV_Message_destruct(&record_); }
  Message(Message&& other) noexcept : Message() { NUV_Message_swap(&record_, &other.record_); }
  Message& operator=(Message&& other) noexcept {
    if (this != &other) {
      NUV_Message_move(&record_, &other.record_);
    }
    return *this;
  }

  int32_t msg_type() const { return NUV_Message_msgType(&record_); }
  int32_t dest_port() const { return NUV_Message_destPort(&record_); }
  int32_t src_port() const { return NUV_Message_srcPort(&record_); }
  const MessageHeader& header() const { return record_.m_oHeader; }
  uint32_t size() const { return NUV_Message_size(&record_); }
  uint32_t max_size() const { return NUV_Message_maxSize(&record_); }

  /// add appends an item with the block, which is left empty. The caller sees to it that there is room.
  void add(int32_t type, Memory&& block) { NUV_Message_add(&record_, type, &block.record()); }

  /// text shows the bytes of an item as characters, none if there is no such item. Good as long as it keeps its block.
  std::string_view text(uint32_t index) {
    if (index >= size()) {
      return {};
    }
    const ::Memory* const block = NUV_MessageData_data(data(index));
    const uint8_t* const bytes = NUV_Memory_begin(block);
    return {reinterpret_cast<const char*>(bytes), bytes != nullptr ? NUV_Memory_size(block) : 0};
  }

  /// data returns an item, which stays the message's, for the operations of nuv_messagedata.h.
  ::MessageData* data(uint32_t index) { return NUV_Message_data(&record_, index); }

  ::Message& record() { return record_; }
  const ::Message& record() const { return record_; }

 private:
  ::Message record_;
};

/// Pipe is a pipe of the operating system, closed until it is opened.
class Pipe {
 public:
  Pipe() = default;
  ~Pipe() { close(); }
  Pipe(Pipe&& other) noexcept : record_(std::exchange(other.record_, kNone)) {}
  Pipe& operator=(Pipe other) noexcept {
    std::swap(record_, other.record_);
    return *this;
  }

  /// open makes a pipe; one that was there is closed. Returns false, with errno set, if the system gives none.
  [[nodiscard]] bool open() {
    close();
    if (NUV_Pipe_construct(&record_) == 1) {
      return true;
    }
    record_ = kNone;
    return false;
  }

  /// open_nonblocking makes a pipe whose reads and writes fail with EAGAIN where they would wait.
  [[nodiscard]] bool open_nonblocking() {
    return open() && fcntl(read_fd(), F_SETFL, O_NONBLOCK) == 0 && fcntl(write_fd(), F_SETFL, O_NONBLOCK) == 0;
  }

  void close() {
    NUV_Pipe_destruct(&record_);
    record_ = kNone;
  }

  bool is_open() const { return record_.m_bCreated != 0; }
  int read_fd() const { return NUV_Pipe_readFd(&record_); }
  int write_fd() const { return NUV_Pipe_writeFd(&record_); }
  bool is_empty() const {
    int size = 0;
    return ioctl(read_fd(), FIONREAD, &size) == 0 && size == 0;
  }

  /// read and write return the number of bytes, or -1 with errno set, as the calls of the system do.
  int32_t read(void* buffer, uint32_t size) { return NUV_Pipe_read(&record_, buffer, size); }
  int32_t write(const void* bytes, uint32_t size) { return NUV_Pipe_write(&record_, bytes, size); }
  int32_t write(std::string_view text) { return write(text.data(), static_cast<uint32_t>(text.size())); }

  ::Pipe& record() { return record_; }
  const ::Pipe& record() const { return record_; }

 private:
  static constexpr ::Pipe kNone = {0, -1, -1};

  ::Pipe record_ = kNone;
};

/// A bridge loses the bytes of a datagram beyond this, and cannot pass on an empty one, because its output is a stream.
inline constexpr std::size_t kMaxDatagram = 1024;

/// Whether a datagram of this size gets through a bridge whole.
constexpr bool can_be_bridged(std::size_t size) {
  return size > 0 && size <= kMaxDatagram;
}

/// waiting_datagram returns the size of the next datagram in a socket, if there is one. It is asked before a bridge reads,
/// which would wait: select() may report a datagram that turns out to be damaged.
inline std::optional<std::size_t> waiting_datagram(int socket) {
  char byte = 0;
  const ssize_t size = recv(socket, &byte, sizeof byte, MSG_PEEK | MSG_TRUNC | MSG_DONTWAIT);
  return size < 0 ? std::nullopt : std::optional(static_cast<std::size_t>(size));
}

/// drop_datagram takes the next datagram out of a socket.
inline void drop_datagram(int socket) {
  char byte = 0;
  static_cast<void>(recv(socket, &byte, sizeof byte, MSG_DONTWAIT));
}

/// UdpServer is a bridge between a descriptor and the peers that send to one port, closed until it is opened.
class UdpServer {
 public:
  UdpServer() = default;
  ~UdpServer() { close(); }
  UdpServer(UdpServer&& other) noexcept : record_(std::exchange(other.record_, none())) {}
  UdpServer& operator=(UdpServer other) noexcept {
    std::swap(record_, other.record_);
    return *this;
  }

  /// open listens on the port, in network byte order as everywhere (htons(5060); 0 lets the system choose). What comes in
  /// goes to out_fd. Returns false, with errno set, if the system refuses.
  [[nodiscard]] bool open(uint16_t port, int out_fd) {
    close();
    if (NUV_UdpServer_construct(&record_, port, out_fd) == 1) {
      return true;
    }
    record_ = none();
    return false;
  }

  void close() {
    if (is_open()) {
      NUV_UdpServer_destruct(&record_);
      record_ = none();
    }
  }

  bool is_open() const { return socket() >= 0; }
  int socket() const { return NUV_UdpServer_socket(&record_); }
  void socket_read() { NUV_UdpServer_socketRead(&record_, socket()); }
  void file_read(int fd) { NUV_UdpServer_fileRead(&record_, fd); }

  /// peer is who sent the last datagram, and whom the next one goes to, port and address in network byte order. It may be
  /// changed.
  sockaddr_in& peer() { return record_.m_oPeer; }
  const sockaddr_in& peer() const { return record_.m_oPeer; }

  ::UdpServer& record() { return record_; }
  const ::UdpServer& record() const { return record_; }

 private:
  static ::UdpServer none() {
    ::UdpServer record = {};
    record.m_iOutFd = -1;
    record.m_iSocket = -1;
    return record;
  }

  ::UdpServer record_ = none();
};

/// UdpClient is a bridge between a descriptor and one server, closed until it is opened.
class UdpClient {
 public:
  UdpClient() = default;
  ~UdpClient() { close(); }
  UdpClient(UdpClient&& other) noexcept : record_(std::exchange(other.record_, none())) {}
  UdpClient& operator=(UdpClient other) noexcept {
    std::swap(record_, other.record_);
    return *this;
  }

  /// open makes a socket for talking to the server, an IPv4 address in dotted form, at the port, in network byte order as
  /// everywhere: htons(5060). What comes in goes to out_fd. Returns false, with errno set, if the system refuses.
  [[nodiscard]] bool open(const char* server, uint16_t port, int out_fd) {
    close();
    if (NUV_UdpClient_construct(&record_, server, port, out_fd) == 1) {
      return true;
    }
    record_ = none();
    return false;
  }

  void close() {
    if (is_open()) {
      NUV_UdpClient_destruct(&record_);
      record_ = none();
    }
  }

  bool is_open() const { return socket() >= 0; }
  int socket() const { return NUV_UdpClient_socket(&record_); }
  void socket_read() { NUV_UdpClient_socketRead(&record_, socket()); }
  void file_read(int fd) { NUV_UdpClient_fileRead(&record_, fd); }

  ::UdpClient& record() { return record_; }
  const ::UdpClient& record() const { return record_; }

 private:
  static ::UdpClient none() {
    ::UdpClient record = {};
    record.m_iOutFd = -1;
    record.m_iSocket = -1;
    return record;
  }

  ::UdpClient record_ = none();
};

}  // namespace userlib

#endif
