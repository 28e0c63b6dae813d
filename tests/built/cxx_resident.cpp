// A program in C++17 that uses what userlib.hpp has besides records, without optimisation, exceptions and RTTI, linked by the
// C compiler: that none of it needs the C++ run time is shown by its being linked.
#include <userlib.hpp>

#include <cstdio>
#include <cstdlib>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

int g_failures = 0;

void expect(bool holds) {
  g_failures += holds ? 0 : 1;
}

// Among files and operators, in a folder of its own.
void hold_its_own() {
  char folder[] = "/tmp/cxx_daemon.XXXXXX";
  expect(mkdtemp(folder) != nullptr && chdir(folder) == 0);
  {
    userlib::LockFile lock;
    userlib::UnixListener operators;
    userlib::LineReader<9> reader;
    expect(lock.take("lock") && operators.open("console"));
    const userlib::UniqueFd asking = userlib::connect_unix("console", SOCK_STREAM);
    const userlib::UniqueFd asked = operators.accept();
    expect(asking && asked && write(asking.get(), "state\n", 6) == 6);
    expect(reader.read(asked.get()) == decltype(reader)::Event::kLine && reader.line() == "state");
    expect(operators.refuse([](int) {}) && !userlib::waiting_datagram(asked.get()));
    const auto save = [](const char* name) { return close(open(name, O_WRONLY | O_CREAT, 0600)) == 0; };
    expect(userlib::replace_file("masks", save) && unlink("masks") == 0);
  }
  expect(rmdir(folder) == 0);
}

void print() {
  userlib::occupy_standard_descriptors();
  userlib::Capture outer;
  userlib::Output output(stdout, "cxx_daemon");
  expect(output.open());
  std::puts("print");
  output.flush();
  output.finish();
  output.close();
  outer.end();
  char text[16];
  expect(!output.is_behind() && outer.read(text, sizeof text) == outer.size());
}

}  // namespace

int main() {
  userlib::count_memory();
  hold_its_own();
  print();
  const userlib::Memory block(3);
  expect(userlib::memory_figures.blocks == 1 && userlib::memory_figures.bytes == block.size());
  return g_failures;
}
