// Small operations on C texts that every layer may use.
#ifndef USERLIB_SOURCE_TEXT_H
#define USERLIB_SOURCE_TEXT_H

namespace userlib {

inline const char* text_or_empty(const char* text) {
  return text != nullptr ? text : "";
}

// What follows the last "/" or "\" of a source path, or the whole path when it has neither. Both separators count,
// because a path that a compiler wrote into __FILE__ may come from either kind of build machine.
inline const char* base_name(const char* path) {
  const char* name = path;
  for (const char* p = path; *p != '\0'; ++p) {
    if (*p == '/' || *p == '\\') {
      name = p + 1;
    }
  }
  return name;
}

}  // namespace userlib

#endif
