// Dial plans as manuals and standards publish them: the digit maps of MGCP (RFC 2705, RFC 3435) and H.248, with the
// extensions of telephones and adapters.
#ifndef TOOLS_USERLIB_DIGITMAP_PUBLISHED_H
#define TOOLS_USERLIB_DIGITMAP_PUBLISHED_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace digitmap_tool {

// When a pattern is complete that does not say so itself.
enum class Form {
  kMgcp,  // at once
  kH248   // at once if no more digits could fit any pattern, else at the time-out; as in most telephones and adapters
};

// Bits of a node's mask above those of the keys.
constexpr uint32_t kTimer = 0x10000;   // the end of a number, at the time-out
constexpr uint32_t kAtOnce = 0x20000;  // the end of a number, without waiting

constexpr size_t kUnlimited = SIZE_MAX;

// A plan, or a part of one.
struct Node {
  enum class Kind {
    kSymbol,    // one of a mask
    kSequence,  // all parts in order
    kChoice,    // one of the parts
    kRepeat     // its only part, repeated
  };

  Kind kind;
  uint32_t mask = 0;
  std::vector<Node> parts = {};
  size_t least = 1;
  size_t most = 1;
};

struct Published {
  Node plan = {Node::Kind::kChoice};  // its parts are the patterns

  // What is wrong, and where; empty if nothing is.
  std::string why;
  size_t at = 0;

  // What the library's plans cannot express, and is lost.
  std::vector<std::string> losses;
};

// Reads a plan. Line ends separate patterns as bars do.
Published read_published(const std::string& text, Form form);

}  // namespace digitmap_tool

#endif
