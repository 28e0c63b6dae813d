#include "journal_entry.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>

namespace flow_tool {

namespace {

// Reads values off the front of a JSON text.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : rest_(text) {}

  void skip_blanks() {
    while (!rest_.empty() && (rest_[0] == ' ' || rest_[0] == '\t' || rest_[0] == '\r')) {
      rest_.remove_prefix(1);
    }
  }

  bool take(char c) {
    skip_blanks();
    if (rest_.empty() || rest_[0] != c) {
      return false;
    }
    rest_.remove_prefix(1);
    return true;
  }

  bool is_at_end() {
    skip_blanks();
    return rest_.empty();
  }

  bool read_string(std::string& text) {
    text.clear();
    if (!take('"')) {
      return false;
    }
    while (!rest_.empty() && rest_[0] != '"') {
      const size_t plain = rest_.find_first_of("\"\\");
      text += rest_.substr(0, plain);
      rest_.remove_prefix(std::min(plain, rest_.size()));
      if (!rest_.empty() && rest_[0] == '\\' && !read_escape(text)) {
        return false;
      }
    }
    return take('"');
  }

  // A string, or an array of bytes, which the journal prints for invalid UTF-8. Any other value gives an empty text.
  bool read_value(std::string& text) {
    skip_blanks();
    if (!rest_.empty() && rest_[0] == '"') {
      return read_string(text);
    }
    text.clear();
    return take('[') ? read_array(text) : skip_word();
  }

 private:
  bool read_array(std::string& text) {
    if (take(']')) {
      return true;
    }
    std::string several;
    do {
      skip_blanks();
      if (!rest_.empty() && rest_[0] == '"') {
        // For a field that the entry has more than once, the last value counts.
        if (!read_string(several)) {
          return false;
        }
        text = several;
      } else if (!read_byte(text)) {
        return false;
      }
    } while (take(','));
    return take(']');
  }

  bool read_byte(std::string& text) {
    uint8_t byte = 0;
    const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), byte);
    if (error != std::errc()) {
      return false;
    }
    rest_.remove_prefix(static_cast<size_t>(end - rest_.data()));
    text += static_cast<char>(byte);
    return true;
  }

  bool skip_word() {
    const size_t end = std::min(rest_.find_first_of(",}]"), rest_.size());
    rest_.remove_prefix(end);
    return end > 0;
  }

  bool read_escape(std::string& text) {
    constexpr std::string_view kEscapes = "\"\\/bfnrt";
    constexpr std::string_view kMeant = "\"\\/\b\f\n\r\t";
    if (rest_.size() < 2) {
      return false;
    }
    const char escape = rest_[1];
    rest_.remove_prefix(2);
    if (escape == 'u') {
      return read_code(text);
    }
    const size_t at = kEscapes.find(escape);
    if (at == std::string_view::npos) {
      return false;
    }
    text += kMeant[at];
    return true;
  }

  std::optional<uint32_t> read_four_digits() {
    uint32_t code = 0;
    if (rest_.size() < 4 || std::from_chars(rest_.data(), rest_.data() + 4, code, 16).ptr != rest_.data() + 4) {
      return std::nullopt;
    }
    rest_.remove_prefix(4);
    return code;
  }

  bool read_code(std::string& text) {
    auto code = read_four_digits();
    if (code && *code >= 0xD800 && *code < 0xDC00 && rest_.substr(0, 2) == "\\u") {
      rest_.remove_prefix(2);
      const auto low = read_four_digits();
      code = low ? std::optional(0x10000 + ((*code - 0xD800) << 10) + ((*low - 0xDC00) & 0x3FF)) : std::nullopt;
    }
    if (code) {
      append_utf8(text, *code);
    }
    return code.has_value();
  }

  static void append_utf8(std::string& text, uint32_t code) {
    if (code < 0x80) {
      text += static_cast<char>(code);
    } else if (code < 0x800) {
      text += static_cast<char>(0xC0 | code >> 6);
      text += static_cast<char>(0x80 | (code & 0x3F));
    } else {
      text += static_cast<char>(code < 0x10000 ? 0xE0 | code >> 12 : 0xF0 | code >> 18);
      if (code >= 0x10000) {
        text += static_cast<char>(0x80 | (code >> 12 & 0x3F));
      }
      text += static_cast<char>(0x80 | (code >> 6 & 0x3F));
      text += static_cast<char>(0x80 | (code & 0x3F));
    }
  }

  std::string_view rest_;
};

std::string* field_named(std::string_view key, JournalEntry& entry) {
  struct Field {
    std::string_view key;
    std::string JournalEntry::*field;
  };
  constexpr Field kFields[] = {{"MESSAGE", &JournalEntry::message},
                               {"SYSLOG_IDENTIFIER", &JournalEntry::ident},
                               {"SYSLOG_PID", &JournalEntry::pid},
                               {"_PID", &JournalEntry::sender_pid},
                               {"__REALTIME_TIMESTAMP", &JournalEntry::time},
                               {"SYSLOG_FACILITY", &JournalEntry::facility},
                               {"PRIORITY", &JournalEntry::priority}};
  for (const Field& field : kFields) {
    if (field.key == key) {
      return &(entry.*field.field);
    }
  }
  return nullptr;
}

void clear(JournalEntry& entry) {
  for (std::string* field :
       {&entry.message, &entry.ident, &entry.pid, &entry.sender_pid, &entry.time, &entry.facility, &entry.priority}) {
    field->clear();
  }
}

}  // namespace

bool read_journal_entry(std::string_view line, JournalEntry& entry) {
  clear(entry);
  Scanner scanner(line);
  if (!scanner.take('{')) {
    return false;
  }
  std::string key;
  std::string ignored;
  do {
    if (!scanner.read_string(key) || !scanner.take(':')) {
      return false;
    }
    std::string* field = field_named(key, entry);
    if (!scanner.read_value(field != nullptr ? *field : ignored)) {
      return false;
    }
  } while (scanner.take(','));
  return scanner.take('}') && scanner.is_at_end();
}

}  // namespace flow_tool
