// sampled: a small but complete service. It takes samples, which are numbers, from a FIFO, tells what they come to on a
// UDP port, listens to its operators on a Unix socket, and runs shell commands for them.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <userlib.h>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <userlib.hpp>

#define NAME "sampled"

namespace {
constexpr std::chrono::seconds kBetweenReports{10}, kForLine{5};
constexpr int kSecondsForCommand = 5, kMaxCommands = 4;
constexpr char kConsole[] = NAME ".console";

bool fail(const char* what, const char* value) {
  std::fprintf(stderr, NAME ": %s '%s': %s\n", what, value, std::strerror(errno));
  return false;
}

// ---- Shell commands: each in a child, which answers the operator itself, while the loop goes on ----
[[noreturn]] void run_in_child(const char* command) {
  std::array<char, 4096> output;
  setpgid(0, 0);
  for (int number = 1; number < NSIG; ++number) std::signal(number, SIG_DFL);
  for (int fd = STDERR_FILENO + 1; fd < FD_SETSIZE; ++fd) close(fd);  // the lock, too: it belongs to the service
  fcntl(STDOUT_FILENO, F_SETFL, 0);                                   // here it may wait for the operator to read
  alarm(kSecondsForCommand + 1);  // if what the command has started keeps its output open, nobody waits for that
  const int status = NUV_Execute_Command_Timeout(command, output.data(), output.size(), kSecondsForCommand);
  NUV_Console_output(STDOUT_FILENO, output.data());
  NUV_Console_output(STDOUT_FILENO, VAStr("status %d%s\n", status, status == 1 ? ", or ended by the time limit" : ""));
  _exit(0);
}

class Service {
 public:
  Service(const char* directory, char* ini_file)
      : ini_file_(ini_file), tracing_(ini_file, NAME), daemon_(NAME, directory) {}

  // All that can fail is tried while somebody is there to read about it.
  bool start(const char* text) {
    uint16_t port = 0;
    umask(0077);  // what the service makes is for its own user
    if (!claim_directory()) return false;
    errno = EINVAL;  // unless the system has something else to say
    if (NUV_Convert_uint16(&port, text) == 0 || port == 0 || !server_.open(htons(port), -1))
      return fail("the UDP port must be free, and a number of 1 to 65535", text);
    const bool is_watched = datagram_.read_external(server_.socket()) && report_.start_every(kBetweenReports);
    return is_watched && open_signals() && open_fifo() && open_console();
  }

  int serve(bool is_in_foreground, const char* directory) {
    if (!is_in_foreground) daemon_.daemonize();
    is_ending_ = chdir(directory) != 0;  // a daemon begins in "/"
    daemon_.create_pid_file();           // it goes with the daemon
    NUV_LOG_INFO(module_, "is there");
    while (!is_ending_) loop_.process();
    NUV_LOG_INFO(module_, "ends with %llu samples", count_);
    return console_socket_.close() ? 0 : 1;
  }

 private:
  // Only one gets the lock, however many start at once, and the system takes it back even from one that was killed.
  bool claim_directory() {
    lock_.reset(open(NAME ".lock", O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
    const char* const file = daemon_.pid_file_name();
    if (!lock_) return fail("cannot open the lock file", NAME ".lock");
    // A pid file that a killed one has left may name any process by now.
    if (flock(lock_.get(), LOCK_EX | LOCK_NB) == 0)
      return unlink(file) == 0 || errno == ENOENT || fail("cannot remove the old pid file", file);
    std::fprintf(stderr, NAME ": runs already, as process %d (%s)\n", NUV_Utility_get_pid_from_file(file), file);
    return false;
  }

  bool open_signals() {
    if (!signals_.open({SIGTERM, SIGINT, SIGHUP, SIGCHLD}) || !lines_.open()) return fail("no pipes for", NAME);
    std::signal(SIGPIPE, SIG_IGN);  // an operator who goes is no reason to end
    return signal_.read_external(signals_.fd());
  }

  // Open at both ends, or it would be at its end, and always ready, as soon as a writer has gone.
  bool open_fifo() {
    struct stat status = {};
    const bool is_there = mkfifo(NAME ".fifo", 0600) == 0 || errno == EEXIST;
    fifo_fd_.reset(is_there ? open(NAME ".fifo", O_RDWR | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC) : -1);
    const bool is_fifo = fifo_fd_ && fstat(fifo_fd_.get(), &status) == 0 && S_ISFIFO(status.st_mode);
    return is_fifo ? fifo_.read_external(fifo_fd_.get()) : fail("cannot open the FIFO", NAME ".fifo");
  }

  bool open_console() {
    const bool is_open = console_socket_.open(kConsole) || fail("cannot make the socket", kConsole);
    return is_open && operator_.read_external(console_socket_.fd());
  }

  // ---- The service's own work ----
  const char* describe_state() const {
    return VAStr(NAME ": %llu samples, last %llu, mean %llu\n", count_, last_, count_ == 0 ? 0 : sum_ / count_);
  }

  // One line at a time; the next one stays in the FIFO.
  void on_fifo(int fd) {
    using Event = decltype(reader_)::Event;
    const Event event = reader_.read(fd);
    uint32_t sample = 0;
    if (event == Event::kLine && NUV_Convert_uint32(&sample, reader_.line().data()) != 0) return take_sample(sample);
    if (event != Event::kNothing) NUV_LOG_WARNING(module_, "a line is no sample: must be a number of 1 to 9 digits");
  }

  void take_sample(uint32_t sample) {
    ++count_;
    last_ = sample;
    sum_ += sample;
    NUV_LOG_TRACE(module_, "sample %llu", last_);
  }

  // Only this machine is answered. An answer gets no answer: two services would talk for ever if somebody forged one.
  void on_datagram(int socket) {
    std::array<char, 128> text = {};
    sockaddr_in sender = {};
    socklen_t size = sizeof sender;
    auto* const address = reinterpret_cast<sockaddr*>(&sender);
    const ssize_t length = recvfrom(socket, text.data(), text.size() - 1, MSG_DONTWAIT, address, &size);
    const bool is_answer = std::string_view(text.data()).starts_with(NAME ":");
    if (length <= 0 || ntohl(sender.sin_addr.s_addr) >> 24 != 127 || is_answer) return;
    NUV_LOG_TRACE(module_, "asked from port %u", unsigned{ntohs(sender.sin_port)});
    const std::string_view answer = describe_state();
    sendto(socket, answer.data(), answer.size(), MSG_DONTWAIT, address, size);
  }

  // ---- Operators: a connection is for one line and its answer ----
  // One operator at a time; the others wait in the socket. One who says nothing is hung up on. If there was no
  // descriptor for one, nobody is accepted for as long: the socket stays ready, and the loop would never rest.
  void on_operator() {
    connection_ = console_socket_.accept();
    operator_.stop();
    if (!patience_.start(kForLine) || (connection_ && !answer_.read_external(connection_.get()))) listen_again();
  }

  void listen_again() {
    answer_.stop();
    patience_.stop();
    connection_.reset();
    is_ending_ = !operator_.read_external(console_socket_.fd()) || is_ending_;
  }

  // The console takes a line from a pipe. What "help" and "tr" print on standard output goes to the operator as well.
  void on_line(int fd) {
    std::array<char, 255> line;
    const ssize_t length = read(fd, line.data(), line.size());
    const int output = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (length > 0 && output >= 0) {
      lines_.write(line.data(), static_cast<uint32_t>(length));
      dup2(fd, STDOUT_FILENO);
      console_.handle(lines_.read_fd(), fd);
      std::fflush(stdout);
      dup2(output, STDOUT_FILENO);
    }
    close(output);
    listen_again();
  }

  // "tr save" and "tr restore" mean the service's own file.
  void do_tr(const userlib::Invocation& said) {
    std::array<char*, 4> words = {said.words[0], said.words[1], ini_file_, nullptr};
    const bool is_own = said.count == 2 && (said.word(1) == "save" || said.word(1) == "restore");
    NUV_Sysloglevel_handleCmd(&console_.record(), is_own ? 3 : said.count, is_own ? words.data() : said.words);
  }

  int32_t do_run(const userlib::Invocation& said) {
    if (said.count != 2) return said.answer("error: 'run' takes one command, in double quotes\n");
    if (running_commands_ == kMaxCommands) return said.answer("error: too many commands are running\n");
    const pid_t child = fork();
    if (child == 0) run_in_child(said.words[1]);
    if (child < 0) return said.answer("error: the system has no process for the command\n");
    return ++running_commands_;
  }

  void reap_commands() {
    for (pid_t child = 0; running_commands_ > 0 && (child = waitpid(-1, nullptr, WNOHANG)) > 0; --running_commands_)
      kill(-child, SIGKILL);  // what the command has left behind
  }

  void on_signal() {
    const int signal = signals_.take();
    if (signal == SIGCHLD) reap_commands();
    if (signal == SIGTERM || signal == SIGINT) is_ending_ = true;
    if (signal != SIGHUP) return;
    NUV_Sysloglevel_readInitFile(ini_file_);
    NUV_LOG_INFO(module_, "HUP: the masks are those of %s", ini_file_);
  }

  char* const ini_file_;
  userlib::Tracing tracing_;
  const int module_ = NUV_Sysloglevel_registerModul(NAME);
  userlib::UniqueFd lock_;  // until the pid file has gone, which is the next member's
  userlib::Daemon daemon_;
  unsigned long long count_ = 0, last_ = 0, sum_ = 0;
  userlib::LineReader<9> reader_;  // of the FIFO
  int running_commands_ = 0;
  bool is_ending_ = false;
  userlib::UniqueFd fifo_fd_, connection_;
  userlib::UnixListener console_socket_;
  userlib::Signals signals_;
  userlib::Pipe lines_;
  userlib::UdpServer server_;
  userlib::Reactor loop_;
  userlib::Watch fifo_{loop_, [this](int fd) { on_fifo(fd); }};
  userlib::Watch datagram_{loop_, [this](int socket) { on_datagram(socket); }};
  userlib::Watch operator_{loop_, [this] { on_operator(); }};
  userlib::Watch answer_{loop_, [this](int fd) { on_line(fd); }};
  userlib::Watch signal_{loop_, [this] { on_signal(); }};
  userlib::Timer report_{loop_, [this] { NUV_LOG_TRACE(module_, "%llu samples", count_); }};
  userlib::Timer patience_{loop_, [this] { listen_again(); }};  // with the operator who is connected
  userlib::Console<3> console_{""};
  userlib::Command state_{console_, "state", [this](auto& said) { said.answer(describe_state()); }};
  userlib::Command run_{console_, "run", [this](auto& said) { do_run(said); }};
  userlib::Command tr_{console_, "tr", [this](auto& said) { do_tr(said); }};
};

// The other side of the console, for operators and scripts.
bool ask(const char* line) {
  char answer[512];
  const userlib::UniqueFd fd = userlib::connect_unix(kConsole, SOCK_STREAM);
  if (!fd || write(fd.get(), line, std::strlen(line)) <= 0) return fail("nobody answers at", kConsole);
  for (ssize_t length; (length = read(fd.get(), answer, sizeof answer)) > 0;)
    std::fwrite(answer, 1, size_t(length), stdout);
  return true;
}

// The report is in the system log by now. Die in a way that supervisors and debuggers notice.
void on_broken_contract(uint32_t, const char* file, uint32_t line, const char* expression) {
  std::fprintf(stderr, NAME ": broken contract in %s:%u: %s\n", file, unsigned{line}, expression);
  std::abort();
}
}  // namespace

int main(int argc, char** argv) {
  const bool is_in_foreground = argc == 5 && argv[1] == std::string_view("-f");
  const bool is_question = argc == 4 && argv[1] == std::string_view("-a");
  char** const words = argv + (is_in_foreground || is_question ? 2 : 1);
  userlib::occupy_standard_descriptors();
  std::setvbuf(stdout, nullptr, _IOLBF, 0);  // what goes into a pipe comes line by line, too
  NUV_Assert_setErrorHandler(on_broken_contract);
  if (argc != 4 && !is_in_foreground) {
    std::fprintf(stderr, "usage: " NAME " [-f] DIRECTORY PORT INIT-FILE\n       " NAME " -a DIRECTORY LINE\n");
    return 2;
  }
  static const char* const directory = realpath(words[0], nullptr);
  if (directory != nullptr) errno = ENAMETOOLONG;  // unless it fits: a Daemon has room for 73 characters
  if (directory == nullptr || std::strlen(directory) > 73 || chdir(directory) != 0)
    return !fail("cannot work in the directory", words[0]);
  if (is_question) return !ask(words[1]);
  Service service(directory, words[2]);
  if (service.start(words[1])) return service.serve(is_in_foreground, directory);
  return 1;
}
