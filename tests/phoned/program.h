// Runs one of the built programs, and looks at it from outside.
#ifndef TESTS_PHONED_PROGRAM_H
#define TESTS_PHONED_PROGRAM_H

#include <functional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace support {

// A file that goes with its owner.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& content = "");
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  const std::string& path() const { return path_; }
  void write(const std::string& content) const;
  std::string content() const { return content_of(path_); }

  static std::string content_of(const std::string& path);

 private:
  std::string path_;
};

// Asks again and again, until the answer is yes or patience is at its end. Returns false then.
bool comes_true(const std::function<bool()>& question);

// A program that runs until it ends by itself or its owner goes, also by a signal (watcher.h). Nothing here waits for
// longer than kPatience.
class Program {
 public:
  static constexpr int kPatienceSeconds = 20;

  // Whether the built programs run under an emulator, where most takes ten times as long: there a long test does with a
  // part of its rounds.
  static constexpr bool kIsEmulated = sizeof EMULATOR > 1;
  static constexpr int few_if_emulated(int rounds) { return kIsEmulated ? rounds / 10 : rounds; }

  using Arguments = std::vector<std::string>;

  // What starts the command: the command itself, behind the emulator if its program is one that was built for another
  // processor. Whoever hands a built program on to a native one, as shells are, asks for it; the constructor does.
  static Arguments start_of(const Arguments& command);

  // The shell, and what it must be told to run a program that cannot have more than so many descriptors.
  static constexpr char kShell[] = "/bin/sh";
  static Arguments with_descriptors(int count, const Arguments& command);

  // Standard output goes to the descriptor, if one is given.
  explicit Program(const std::string& path, const Arguments& arguments, const std::string& input = "", int out_fd = -1);
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  // Waits until the program has printed the text. Returns false if it does not.
  bool says(const std::string& text) const;
  bool complains(const std::string& text) const;

  pid_t pid() const { return pid_; }

  // How many descriptors it has open.
  size_t descriptors() const;

  // Waits until the program waits for something. Returns false if it does not stop doing something.
  bool sleeps() const;

  void signal(int number) const;

  // Waits for the end. Returns the exit status; -1 if the program was killed by a signal or did not end.
  int exit_status();

  std::string out() const { return out_.content(); }
  std::string err() const { return err_.content(); }

 private:
  TemporaryFile in_;
  TemporaryFile out_;
  TemporaryFile err_;
  pid_t pid_ = -1;
};

}  // namespace support

#endif
