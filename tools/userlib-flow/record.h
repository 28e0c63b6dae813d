// A parsed line of a log.
#ifndef TOOLS_USERLIB_FLOW_RECORD_H
#define TOOLS_USERLIB_FLOW_RECORD_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "calendar.h"
#include "nuv_sysloglevel.h"

namespace flow_tool {

// The ten trace types; the plain logger has the first six.
using Type = uint32_t;
constexpr Type kTypes = NUV_SYSLOGLEVEL_TRACEDO + 1;
constexpr Type kNoType = kTypes;

// The kind of line, which determines the fields that are set.
enum class Kind : uint8_t {
  kMessage,       // from, from_number, text, to, to_number, is_received
  kLocated,       // module, file, source_line, text
  kShort,         // module, text
  kDump,          // module, text (the title), hex
  kGuiOutput,     // module, text
  kReport,        // file, source_line, text: a failed contract check
  kStatus,        // text
  kUnregistered,  // text: a message of an unregistered module
  kPlainLocated,  // file, source_line, text: the logger without modules
  kPlainShort,    // text
  kPlainDump,     // text (the title), hex
};

// Texts point into the line, or into memory of the reader: they are valid until the next line is read.
struct Record {
  Kind kind = Kind::kStatus;
  Type type = kNoType;
  bool is_received = false;  // "RX", else "TX"
  Time time = kNoTime;
  std::string_view line;   // the whole line
  std::string_view ident;  // who wrote it; empty on the console
  uint32_t pid = 0;
  std::string_view module;
  std::string_view file;  // base name
  uint32_t source_line = 0;
  std::string_view text;
  std::string_view hex;
  std::string_view from;
  uint32_t from_number = 0;
  std::string_view to;
  uint32_t to_number = 0;
  size_t input = 0;   // which of the inputs
  size_t number = 0;  // of the line in its input, from 1
};

// A record that owns its texts.
class KeptRecord {
 public:
  explicit KeptRecord(const Record& record);
  KeptRecord(const KeptRecord&) = delete;
  KeptRecord& operator=(const KeptRecord&) = delete;
  KeptRecord(KeptRecord&& other) noexcept = default;
  KeptRecord& operator=(KeptRecord&& other) noexcept = default;

  const Record& get() const { return record_; }

 private:
  std::string memory_;
  Record record_;
};

// The type with this name, as the library prints it; kNoType if there is none.
Type type_named(std::string_view name);

// "offhook" of "3 offhook": the first word that is not a number. The whole message if it has none.
std::string_view name_of_message(std::string_view message);

// "3" of "3 offhook", for daemons that begin messages with the number of the subscriber's line; else empty.
std::string_view subject_of_message(std::string_view message);

}  // namespace flow_tool

#endif
