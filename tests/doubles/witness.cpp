#include "doubles/witness.h"

#include <cstdlib>
#include <fstream>

namespace support {

void witness(const Report& report) {
  const char* path = std::getenv("USERLIB_WITNESSES");
  if (path != nullptr && report.file.has_value()) {
    std::ofstream(path, std::ios::app) << *report.file << ' ' << report.line << '\n';
  }
}

}  // namespace support
