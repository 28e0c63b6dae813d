// One sender floods phoned with garbage while others dial: their outcomes must be on time.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "phoned.h"
#include "udp_socket.h"

namespace {

using support::UdpSocket;
using world::Milliseconds;
using world::Phoned;
using Clock = std::chrono::steady_clock;

// Sends until it is destroyed, at most for half a minute. Reads no answers.
class Flood {
 public:
  Flood(uint16_t port, const std::string& datagram) : thread_([this, port, datagram] { run(port, datagram); }) {}
  ~Flood() {
    must_stop_ = true;
    thread_.join();
  }
  Flood(const Flood&) = delete;
  Flood& operator=(const Flood&) = delete;

 private:
  void run(uint16_t port, const std::string& datagram) {
    const UdpSocket sender(port);
    const auto end = Clock::now() + std::chrono::seconds(30);
    while (!must_stop_ && Clock::now() < end) {
      sender.send(datagram);
    }
  }

  std::atomic<bool> must_stop_ = false;
  std::thread thread_;
};

// A line card that gets the arrival time of each answer from the kernel, even if this process reads it late.
class PunctualCard {
 public:
  struct Answer {
    std::string text;
    std::chrono::nanoseconds at;
  };

  explicit PunctualCard(uint16_t port) : fd_(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in peer = {};
    peer.sin_family = AF_INET;
    peer.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    peer.sin_port = htons(port);
    const int on = 1;
    if (connect(fd_, reinterpret_cast<const sockaddr*>(&peer), sizeof peer) != 0 ||
        setsockopt(fd_, SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof on) != 0) {
      throw std::runtime_error("no socket");
    }
  }
  ~PunctualCard() { close(fd_); }
  PunctualCard(const PunctualCard&) = delete;
  PunctualCard& operator=(const PunctualCard&) = delete;

  std::optional<Answer> receive(Milliseconds time) const {
    pollfd state = {fd_, POLLIN, 0};
    if (poll(&state, 1, static_cast<int>(time.count())) != 1) {
      return std::nullopt;
    }
    char text[1024];
    alignas(cmsghdr) char control[256];
    iovec buffer = {text, sizeof text};
    msghdr message = {};
    message.msg_iov = &buffer;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    const ssize_t size = recvmsg(fd_, &message, 0);
    return Answer{std::string(text, static_cast<size_t>(std::max<ssize_t>(size, 0))), time_of(message)};
  }

  // Repeats the datagram until an answer begins like this, because a full socket drops it. If more than one got
  // through, the last answer counts.
  std::optional<Answer> insist(const std::string& datagram, const std::string& beginning) const {
    std::optional<Answer> answer;
    for (int i = 0; i < 1000 && !answer; ++i) {
      send(fd_, datagram.data(), datagram.size(), 0);
      for (auto next = receive(Milliseconds(10)); next; next = receive(Milliseconds(50))) {
        answer = next->text.starts_with(beginning) ? next : answer;
      }
    }
    return answer;
  }

 private:
  static std::chrono::nanoseconds time_of(msghdr& message) {
    timespec time = {};
    const cmsghdr* const part = CMSG_FIRSTHDR(&message);  // the only one requested
    if (part != nullptr && part->cmsg_level == SOL_SOCKET && part->cmsg_type == SO_TIMESTAMPNS) {
      std::memcpy(&time, CMSG_DATA(part), sizeof time);
    }
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
  }

  int fd_;
};

class FloodTest : public testing::Test {
 protected:
  static constexpr int kCalls = 7;
  static constexpr Milliseconds kInterdigit{200};
  static constexpr Milliseconds kPatience{20000};

  void SetUp() override { ASSERT_TRUE(phoned_.is_up()); }

  struct Wait {
    Milliseconds total;
    Milliseconds with_a_processor;  // at most

    bool operator<(const Wait& other) const { return with_a_processor < other.with_a_processor; }
  };

  // The times from the last answer to a digit to the outcome, for some calls, in ascending order. On a busy machine
  // phoned has to wait for a processor meanwhile.
  std::vector<Wait> waits() const {
    std::vector<Wait> waits;
    const PunctualCard card(phoned_.port());
    for (int line = 0; line < kCalls; ++line) {
      const std::string name = std::to_string(line);
      const bool is_ready = card.insist(name + " offhook", name + " ready").has_value();
      const auto processor_wait = world::processor_wait_of(phoned_.pid());
      auto digit = card.insist(name + " digit 0", name + " more 0");
      auto outcome = card.receive(kPatience);
      while (outcome && outcome->text.starts_with(name + " more")) {  // a repeated digit was late, and counts
        digit = std::exchange(outcome, card.receive(kPatience));
      }
      if (!is_ready || !digit || !outcome || !outcome->text.starts_with(name + " complete 0")) {
        ADD_FAILURE() << (digit ? digit->text : "nothing") << ", " << (outcome ? outcome->text : "nothing");
        break;
      }
      const auto total = outcome->at - digit->at;
      const auto active = total - (world::processor_wait_of(phoned_.pid()) - processor_wait);
      waits.push_back(
          {std::chrono::duration_cast<Milliseconds>(total), std::chrono::duration_cast<Milliseconds>(active)});
    }
    std::sort(waits.begin(), waits.end());
    return waits;
  }

  // Within 100 ms after the delay.
  void expect_punctual_outcomes(const std::string& datagram) const {
    const Flood flood(phoned_.port(), datagram);
    const std::vector<Wait> times = waits();
    ASSERT_EQ(times.size(), static_cast<size_t>(kCalls));
    for (const Wait& wait : times) {
      EXPECT_GT(wait.total, kInterdigit - Milliseconds(50));
    }
    EXPECT_LT(times[kCalls - 2].with_a_processor, kInterdigit + Milliseconds(100)) << "only one may be late";
    EXPECT_LT(times.back().with_a_processor, kInterdigit + Milliseconds(400));
  }

  Phoned phoned_{{.options = {"--interdigit", std::to_string(kInterdigit.count())}}};
};

TEST_F(FloodTest, NoticesAreOnTimeDuringGarbage) {
  expect_punctual_outcomes("garbage");
}

TEST_F(FloodTest, NoticesAreOnTimeDuringEvents) {
  expect_punctual_outcomes("255 onhook");
}

TEST_F(FloodTest, NoticesAreOnTimeDuringEmptyDatagrams) {
  expect_punctual_outcomes("");
}

TEST_F(FloodTest, NoticesAreOnTimeDuringLongDatagrams) {
  expect_punctual_outcomes(std::string(2000, 'x'));
}

TEST_F(FloodTest, EndsDuringAFlood) {
  const Flood flood(phoned_.port(), "garbage");
  world::expect_a_clean_end(phoned_);
}

TEST_F(FloodTest, IsIdleAfterwards) {
  {
    const Flood flood(phoned_.port(), "garbage");
    std::this_thread::sleep_for(Milliseconds(500));
  }
  ASSERT_TRUE(PunctualCard(phoned_.port()).insist("254 onhook", "254 idle")) << "the socket is still full";
  world::expect_prompt_answers(phoned_, 10);
  EXPECT_TRUE(world::is_idle(phoned_.pid()));
}

}  // namespace
