// Runs one of the built programs, and observes it.
#ifndef TESTS_PHONED_PROGRAM_H
#define TESTS_PHONED_PROGRAM_H

#include <functional>
#include <string>
#include <vector>

#include <sys/types.h>

#include "doubles/temporary_directory.h"

namespace support {

// A file that is removed with its owner.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& content = "");
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  const std::string& path() const { return path_; }
  void write(const std::string& content) const;
  std::string content() const { return content_of(path_); }

 private:
  std::string path_;
};

// Polls until the condition is true. Returns false after a timeout.
bool comes_true(const std::function<bool()>& question);

// A program that runs until it exits or its owner ends, also by a signal (watcher.h). Nothing here waits for longer
// than kPatience.
class Program {
 public:
  static constexpr int kPatienceSeconds = 20;

  // Whether the built programs run under an emulator, where most tests take ten times as long; long tests then run
  // fewer rounds.
  static constexpr bool kIsEmulated = sizeof EMULATOR > 1;
  static constexpr int few_if_emulated(int rounds) { return kIsEmulated ? rounds / 10 : rounds; }

  using Arguments = std::vector<std::string>;

  // The words that start the command, including the emulator if the program was built for another processor. The
  // constructor uses it, and so must tests that pass a built program to a native one such as a shell.
  static Arguments start_of(const Arguments& command);

  // The shell, and its arguments to run a program with a limit of descriptors.
  static constexpr char kShell[] = "/bin/sh";
  static Arguments with_descriptors(int count, const Arguments& command);

  // Standard output goes to the fd, if one is given.
  explicit Program(const std::string& path, const Arguments& arguments, const std::string& input = "", int out_fd = -1);
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  // Waits until the program has printed the text. Returns false if it does not.
  bool says(const std::string& text) const;
  bool complains(const std::string& text) const;

  pid_t pid() const { return pid_; }

  // The number of its open descriptors.
  size_t descriptors() const;

  // Waits until the program sleeps. Returns false after a timeout.
  bool sleeps() const;

  void signal(int number) const;

  // Waits for the end. Returns the exit status; -1 if a signal killed the program, or it did not end.
  int exit_status();

  std::string out() const { return out_.content(); }
  std::string err() const { return err_.content(); }

 private:
  TemporaryFile in_;
  TemporaryFile out_;
  TemporaryFile err_;
  pid_t pid_ = -1;
};

// What a program that ends by itself left.
struct Outcome {
  int status;
  std::string out;
  std::string err;
};

// Runs a program to its end.
Outcome outcome_of(const std::string& path, const Program::Arguments& arguments, const std::string& input = "");

}  // namespace support

#endif
