// Dial plans as manuals and standards publish them: the digit maps of MGCP (RFC 2705, RFC 3435) and H.248, with what
// telephones and adapters add.
#ifndef TOOLS_USERLIB_DIGITMAP_PUBLISHED_H
#define TOOLS_USERLIB_DIGITMAP_PUBLISHED_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace digitmap_tool {

// What a plan means whose patterns do not say when they are complete.
enum class Form {
  kMgcp,  // at once
  kH248  // at once if no more digits could fit any pattern, else when the time is up; so do most telephones and adapters
};

// Bits of a node's mask behind those of the keys.
constexpr uint32_t kTimer = 0x10000;   // the end of a number, when the time is up
constexpr uint32_t kAtOnce = 0x20000;  // the end of a number, without waiting

constexpr size_t kUnlimited = SIZE_MAX;

// A plan, or a part of one.
struct Node {
  enum class Kind {
    kSymbol,    // one of a mask
    kSequence,  // one part after the other
    kChoice,    // one of the parts
    kRepeat     // the one part, so many times
  };

  Kind kind;
  uint32_t mask = 0;
  std::vector<Node> parts = {};
  size_t least = 1;
  size_t most = 1;
};

struct Published {
  Node plan = {Node::Kind::kChoice};  // its parts are the patterns

  // Why it cannot be read, and where; "why" is empty if it can.
  std::string why;
  size_t at = 0;

  // What has no meaning for a plan, and is lost.
  std::vector<std::string> losses;
};

// Reads a plan. Line ends separate patterns as bars do.
Published read_published(const std::string& text, Form form);

}  // namespace digitmap_tool

#endif
