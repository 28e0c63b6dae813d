// A telephone line in C++: digits come through a pipe, and when nobody dials on, the plan says what they are.
#include <cstdio>
#include <string>

#include <userlib.hpp>

namespace {

class Line {
 public:
  explicit Line(userlib::Reactor& loop) : digit_(loop, [this] { take(); }), pause_(loop, [this] { decide(); }) {}

  bool open() { return plan_.set("110|[2-9]xxx|0x.T") && keys_.open() && digit_.read(keys_.read_fd()); }
  void press(const char* digits) { keys_.write(digits); }
  bool is_over() const { return is_over_; }

 private:
  void take() {
    char digits[16];
    const int32_t count = keys_.read(digits, sizeof digits);
    dialled_.append(digits, count > 0 ? static_cast<std::size_t>(count) : 0);
    std::printf("dialled %s\n", dialled_.c_str());
    // Each digit starts the pause anew.
    if (!pause_.start(std::chrono::milliseconds(20))) {
      decide();
    }
  }

  void decide() {
    const auto result = plan_.check_at_timeout(userlib::DigitMap::Mode::kFirst, dialled_.c_str());
    std::printf("%s %s\n",
                result == userlib::DigitMap::Result::kComplete ? "call" : "no such number:", dialled_.c_str());
    is_over_ = true;
  }

  userlib::DigitMap plan_;
  userlib::Pipe keys_;
  userlib::Watch digit_;
  userlib::Timer pause_;
  std::string dialled_;
  bool is_over_ = false;
};

}  // namespace

int main() {
  userlib::Reactor loop;
  Line line(loop);
  if (!line.open()) {
    return 1;
  }
  line.press("04");
  loop.process();
  line.press("21");
  while (!line.is_over()) {
    loop.process();
  }
  return 0;
}
