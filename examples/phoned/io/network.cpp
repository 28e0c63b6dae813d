#include "phoned/io/network.h"

#include <arpa/inet.h>

#include "phoned/core/text.h"

namespace phoned {

std::optional<Network> Network::parse(const std::string& text) {
  constexpr uint32_t kBits = 32;
  const size_t slash = text.find('/');
  in_addr address = {};
  const auto bits = slash == text.npos ? kBits : to_number(std::string_view(text).substr(slash + 1), 0, kBits);
  if (!bits || inet_pton(AF_INET, text.substr(0, slash).c_str(), &address) != 1) {
    return std::nullopt;
  }
  return Network{ntohl(address.s_addr), *bits == 0 ? 0 : ~uint32_t{0} << (kBits - *bits)};
}

}  // namespace phoned
