#include "doubles/fault_injector.h"

#include <cerrno>
#include <utility>

namespace support {
namespace {

FaultInjector* g_active = nullptr;

}  // namespace

FaultInjector::FaultInjector(std::string function, int nth, int error, int times)
    : function_(std::move(function)), nth_(nth), error_(error), times_(times) {
  g_active = this;
}

FaultInjector::~FaultInjector() {
  g_active = nullptr;
}

bool FaultInjector::strikes(const char* function) {
  FaultInjector* injector = g_active;
  if (injector == nullptr || injector->function_ != function) {
    return false;
  }
  ++injector->calls_;
  if (injector->calls_ < injector->nth_ || injector->calls_ - injector->nth_ >= injector->times_) {
    return false;
  }
  errno = injector->error_;
  return true;
}

}  // namespace support
