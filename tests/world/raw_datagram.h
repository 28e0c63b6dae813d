// Sends datagrams with any sender, and captures those on the loopback interface. Needs root, and a network namespace,
// so that no forged datagram reaches another process.
#ifndef TESTS_WORLD_RAW_DATAGRAM_H
#define TESTS_WORLD_RAW_DATAGRAM_H

#include <cstdint>
#include <string>
#include <vector>

namespace world {

struct Endpoint {
  std::string address = "127.0.0.1";
  uint16_t port = 0;

  bool operator==(const Endpoint&) const = default;
};

struct Datagram {
  Endpoint from;
  Endpoint to;
  std::string text;
};

class Forger {
 public:
  Forger();
  ~Forger();
  Forger(const Forger&) = delete;
  Forger& operator=(const Forger&) = delete;

  void send(const Datagram& datagram) const;

 private:
  int fd_;
};

// Captures the UDP datagrams that arrive in the namespace during its lifetime.
class Tap {
 public:
  Tap();
  ~Tap();
  Tap(const Tap&) = delete;
  Tap& operator=(const Tap&) = delete;

  // Returns the captured datagrams. Waits until none arrives for a while, or there are too many.
  std::vector<Datagram> take() const;

 private:
  int fd_;
};

}  // namespace world

#endif
