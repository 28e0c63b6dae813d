// Small operations on C texts that every layer may use.
#ifndef USERLIB_SOURCE_CORE_TEXT_H
#define USERLIB_SOURCE_CORE_TEXT_H

#include <span>
#include <string_view>

#include <limits.h>
#include <string.h>

namespace nuv {

inline const char* text_or_empty(const char* text) {
  return text != nullptr ? text : "";
}

// The size to pass to snprintf(): some C libraries treat one beyond INT_MAX as an error and print nothing.
inline size_t print_room(size_t size) {
  return size < INT_MAX ? size : INT_MAX;
}

// What follows the last "/" or "\" of a source path, or the whole path when it has neither. Both separators count,
// because a path that a compiler wrote into __FILE__ may come from either kind of build machine.
inline const char* base_name(const char* path) {
  for (const char separator : {'/', '\\'}) {
    const char* last = strrchr(path, separator);
    path = last != nullptr ? last + 1 : path;
  }
  return path;
}

// The first characters of a text, at most `most`. A text of that length needs no terminator.
inline std::string_view first_characters(const char* text, size_t most) {
  return {text, strnlen(text, most)};
}

// Stores as much of a text as fits in front of a terminator, and fills what is left with terminators too. The text may
// lie in the target itself.
inline void store_text(std::span<char> target, std::string_view text) {
  const size_t room = target.size() - 1;
  const size_t length = text.size() < room ? text.size() : room;
  memmove(target.data(), text.data(), length);
  memset(target.data() + length, 0, target.size() - length);
}

}  // namespace nuv

#endif
