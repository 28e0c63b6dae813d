#include "doubles/first_report.h"

#include <unistd.h>

#include <cinttypes>
#include <cstdio>
#include <sstream>

#include "doubles/child_process.h"
#include "doubles/witness.h"

namespace support {
namespace {

void print_and_exit(uint32_t type, const char* file, uint32_t line, const char* text) {
  std::printf("%" PRIu32 "\n%" PRIu32 "\n%s\n%s\n", type, line, file != nullptr ? file : "",
              text != nullptr ? text : "");
  std::fflush(stdout);
  _exit(0);
}

}  // namespace

Report first_report(const std::function<void()>& call) {
  const ChildProcess child([&call] {
    NUV_Assert_setErrorHandler(print_and_exit);
    call();
  });
  std::istringstream out(child.out());
  Report report;
  std::string file;
  std::string text;
  out >> report.type >> report.line;
  out.ignore();
  if (std::getline(out, file) && std::getline(out, text)) {
    report.file = file;
    report.text = text;
    witness(report);
  }
  return report;
}

}  // namespace support
