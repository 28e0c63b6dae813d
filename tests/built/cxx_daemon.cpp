// A daemon in C++17 that uses the records of userlib.hpp, without exceptions and RTTI, linked by the C compiler. This
// shows that the header needs no C++ run time. check_undefined.sh checks the symbols that its object file needs.
#include <userlib.hpp>

#include <utility>

namespace {

int32_t g_failures = 0;

void expect(bool holds) {
  g_failures += holds ? 0 : 1;
}

// Digits are sent through a pipe to a dial plan, one at a time.
class Dialling {
 public:
  bool open() {
    return plan_.set("110|0x.T") && plan_.add("12") && pipe_.open() && input_.read(pipe_.read_fd()) &&
           idle_.start_every(std::chrono::hours(1)) && clock_.start(std::chrono::microseconds(1));
  }

  void run() {
    while (!is_over_) {
      loop_.process(std::chrono::seconds(10));
    }
    idle_.stop();
    expect(calls_.size() == 1 && calls_.at(1) == 3);
  }

 private:
  void dial() {
    expect(pipe_.write(&"110"[digits_], 1) == 1);
    expect(clock_.start(std::chrono::microseconds(10)));
  }

  void take(int fd) {
    expect(fd == pipe_.read_fd());
    expect(digits_ < 3 && pipe_.read(&text_[digits_], 1) == 1);
    ++digits_;
    char pattern[8];
    const auto result =
        plan_.check(userlib::DigitMap::Mode::kBest, text_, userlib::DigitMap::Timer::kRunning, pattern, sizeof pattern);
    if (result == userlib::DigitMap::Result::kComplete) {
      calls_.insert(1, digits_);
      is_over_ = true;
      clock_.stop();
    }
  }

  userlib::Reactor loop_;
  userlib::Pipe pipe_;
  userlib::DigitMap plan_;
  userlib::IndexMap<4> calls_;
  userlib::Watch input_{loop_, [this](int fd) { take(fd); }};
  userlib::Timer clock_{loop_, [this] {
                          if (digits_ < 3) {
                            dial();
                          }
                        }};
  userlib::Timer idle_{loop_, [] {}};
  uint32_t digits_ = 0;
  char text_[4] = {};
  bool is_over_ = false;
};

void hand_on_messages() {
  userlib::Frame frame = userlib::Frame::copy_of("1 offhook");
  frame.reduce_front(2);
  userlib::Frame taken;
  taken = std::move(frame);
  userlib::Message message(1, 2, 3);
  message.add(4, userlib::Memory::copy_of(taken.text()));
  const userlib::Message sent(std::move(message));
  expect(sent.size() == 1 && taken.text() == "offhook");
  userlib::MessageData item(5, userlib::Memory::copy_of("x"));
  const userlib::MessageData moved(std::move(item));
  expect(moved.text() == "x");
}

void number_lines() {
  userlib::IndexPool pool(2);
  const auto first = pool.try_occupy();
  userlib::IndexPool moved(std::move(pool));
  expect(first.has_value() && moved.busy() == 1);
  userlib::IndexMap<2> map;
  map.insert(1, 1);
  uint32_t sum = 0;
  for (const IndexMapPair& pair : map) {
    sum += pair.m_uValue;
  }
  expect(sum == 1 && map.remove(1) && !map.contains(1));
}

void hear_operators() {
  userlib::Pipe lines;
  userlib::Pipe answers;
  userlib::Console<2> console("> ");
  int calls = 0;
  const userlib::Command command(console, "count", [&calls](const userlib::Invocation& call) { calls += call.count; });
  expect(lines.open() && answers.open() && lines.write("count on me\n") > 0);
  console.handle(lines.read_fd(), answers.write_fd());
  expect(calls == 3);
}

void listen() {
  userlib::UdpServer server;
  userlib::UdpClient client;
  userlib::Pipe out;
  expect(out.open() && server.open(0, out.write_fd()) && client.open("127.0.0.1", htons(9), out.write_fd()));
  const userlib::UdpServer moved(std::move(server));
  expect(moved.is_open() && !server.is_open());  // NOLINT(bugprone-use-after-move)
}

}  // namespace

int main() {
  const userlib::Tracing tracing("", "cxx_daemon");
  const userlib::Daemon daemon("cxx_daemon", "/nowhere");
  expect(!daemon.daemonized());
  const userlib::Owned<Select, NUV_Select_construct, NUV_Select_destruct> other_loop;
  expect(other_loop->m_oTimeout.m_uCount == 0);
  Dialling dialling;
  expect(dialling.open());
  if (g_failures == 0) {
    dialling.run();
  }
  hand_on_messages();
  number_lines();
  hear_operators();
  listen();
  return g_failures == 0 ? 0 : 1;
}
