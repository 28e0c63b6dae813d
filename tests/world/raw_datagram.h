// Datagrams with any sender, and a look at all that pass on the loopback interface. Needs root; for a network namespace of
// the test's own, so that nobody else is spoken to in somebody's name.
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

// Sees every UDP datagram that arrives in the namespace from its construction on.
class Tap {
 public:
  Tap();
  ~Tap();
  Tap(const Tap&) = delete;
  Tap& operator=(const Tap&) = delete;

  // What has passed; waits until nothing more does for a while, or there is too much of it.
  std::vector<Datagram> take() const;

 private:
  int fd_;
};

}  // namespace world

#endif
