// The content of the registry of trace modules.
#ifndef TESTS_FUZZ_REGISTRY_H
#define TESTS_FUZZ_REGISTRY_H

#include <cstdint>
#include <string>
#include <vector>

#include "nuv_sysloglevel.h"

namespace fuzz {

constexpr uint32_t kTypes = 10;

struct Module {
  std::string name;
  uint32_t mask;

  bool operator==(const Module&) const = default;
};

// The modules in the order of their handles, with the mask bits that can be queried.
inline std::vector<Module> registered_modules() {
  std::vector<Module> modules;
  for (int handle = 0; handle < NUV_SYSLOGLEVEL_MODULES; ++handle) {
    const std::string name = NUV_Sysloglevel_getModulName(handle);
    uint32_t mask = 0;
    for (uint32_t type = 0; type < kTypes; ++type) {
      mask |= NUV_Sysloglevel_checkTracelevel(handle, type) ? uint32_t{1} << type : 0;
    }
    if (!name.empty()) {
      modules.push_back({name, mask});
    }
  }
  return modules;
}

}  // namespace fuzz

#endif
