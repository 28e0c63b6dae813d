#include "input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace flow_tool {

Counts& Counts::operator+=(const Counts& other) {
  lines += other.lines;
  traces += other.traces;
  foreign += other.foreign;
  broken += other.broken;
  cut += other.cut;
  return *this;
}

std::string Counts::text() const {
  return with_commas(lines) + (lines == 1 ? " line: " : " lines: ") + with_commas(traces) +
         (traces == 1 ? " trace, " : " traces, ") + with_commas(foreign) + " foreign, " + with_commas(broken) +
         " broken, " + with_commas(cut) + " cut";
}

std::string with_commas(uint64_t number) {
  std::string text = std::to_string(number);
  for (size_t at = text.size(); at > 3;) {
    at -= 3;
    text.insert(at, ",");
  }
  return text;
}

InputFile::InputFile(const std::string& path)
    : fd_(path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}

InputFile::~InputFile() {
  if (fd_ > STDIN_FILENO) {
    close(fd_);
  }
}

InputFile::InputFile(InputFile&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

InputFile& InputFile::operator=(InputFile&& other) noexcept {
  std::swap(fd_, other.fd_);
  return *this;
}

Input::Input(std::string name, size_t index, time_t now)
    : name_(std::move(name)),
      index_(index),
      file_(name_),
      error_(file_.fd() < 0 ? errno : 0),
      lines_(file_.fd()),
      parser_(now) {}

bool Input::take(const Line& line) {
  ++counts_.lines;
  counts_.cut += line.is_cut ? 1 : 0;
  std::string_view text = line.text;
  if (!text.empty() && text.back() == '\r') {
    text.remove_suffix(1);
  }
  switch (parser_.parse(text, record_)) {
    case Verdict::kForeign:
      ++counts_.foreign;
      return false;
    case Verdict::kBroken:
      ++counts_.broken;
      return false;
    case Verdict::kTrace:
      break;
  }
  ++counts_.traces;
  record_.input = index_;
  record_.number = counts_.lines;
  order_ = std::max(order_, record_.time);
  return true;
}

bool Input::advance(End end) {
  if (error_ != 0) {
    return false;
  }
  while (const auto line = lines_.next()) {
    if (take(*line)) {
      return true;
    }
  }
  const auto rest = end == End::kTakeRest ? lines_.take_rest() : std::nullopt;
  return rest && take(*rest);
}

bool Input::reopen_if_rotated() {
  struct stat ours = {};
  struct stat named = {};
  if (name_ == "-" || fstat(file_.fd(), &ours) != 0 || stat(name_.c_str(), &named) != 0) {
    return false;
  }
  const bool is_other = ours.st_ino != named.st_ino || ours.st_dev != named.st_dev;
  if (!is_other && !(S_ISREG(ours.st_mode) && ours.st_size < lseek(file_.fd(), 0, SEEK_CUR))) {
    return false;
  }
  // Read first what was written between the last read and the rotation.
  if (!std::exchange(is_rotated_, true)) {
    return false;
  }
  is_rotated_ = false;
  InputFile file(name_);
  if (file.fd() < 0) {
    return false;  // the new file will appear soon
  }
  file_ = std::move(file);
  lines_.reopen(file_.fd());
  return true;
}

}  // namespace flow_tool
