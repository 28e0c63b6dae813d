#include <algorithm>
#include <span>

#include "core/contract.h"
#include "core/text.h"
#include "nuv_sysloglevel.h"
#include "tracing/hex_lines.h"
#include "tracing/nuv_sysloglevel_internal.h"

using nuv::g_trace_output;
using nuv::SyslogLine;
using nuv::text_or_empty;
using nuv::Timestamp;

namespace {

constexpr char kFamily[] = "nuv_sysloglevel";

// What the lines of a type look like.
enum class Form : uint8_t { kShort, kLocated, kDump, kGui, kFlow };

struct Type {
  uint8_t priority;  // in the system log
  Form form;
};

constexpr Type kTypes[] = {{LOG_NOTICE, Form::kShort}, {LOG_DEBUG, Form::kShort},   {LOG_DEBUG, Form::kLocated},
                           {LOG_DEBUG, Form::kDump},   {LOG_WARNING, Form::kShort}, {LOG_ERR, Form::kLocated},
                           {LOG_ERR, Form::kGui},      {LOG_DEBUG, Form::kFlow},    {LOG_DEBUG, Form::kLocated},
                           {LOG_DEBUG, Form::kLocated}};

// Where a line goes, as a sum.
enum Output : unsigned { kNowhere = 0, kSyslog = 1, kConsole = 2, kNoModule = 4 };

// Worked out once for a line.
[[gnu::noinline]] unsigned outputs_of(int module, uint32_t type) {
  if (!nuv::is_handle(module)) {
    return kNoModule;
  }
  if (!NUV_Sysloglevel_checkTracelevel(module, type)) {
    return kNowhere;
  }
  return (g_trace_output.syslog != 0 ? kSyslog : kNowhere) | (g_trace_output.console != 0 ? kConsole : kNowhere);
}

// What a line says behind its head. A null text stands for the next number.
struct Message {
  static constexpr size_t kMost = 11;

  std::span<const char* const> texts;
  uint32_t numbers[2];
};

// The texts that a line consists of, in their order. Those that it does not need are empty.
class Line {
 public:
  enum Slot : size_t { kStamp, kStampEnd, kType, kTypeEnd, kModule, kSeparator, kMessage };

  explicit Line(Form form) {
    std::fill_n(texts_, kEnd, "");
    texts_[kSeparator] = form == Form::kShort ? "   " : ": ";
    texts_[kEnd] = "\n";
  }

  const char*& operator[](Slot slot) { return texts_[slot]; }

  void set_stamp(const Timestamp& stamp) {
    texts_[kStamp] = stamp.text;
    texts_[kStampEnd] = ":";
  }

  void set_message(const Message& message, nuv::Sign sign) {
    size_t number = 0;
    const char** text = &texts_[kMessage];
    for (const char* said : message.texts) {
      if (said == nullptr) {
        said = nuv::write_decimal(digits_[number], message.numbers[number], sign);
        ++number;
      }
      *text++ = said;
    }
  }

  void print() const { nuv::print_line(texts_); }

  void log(int priority) const {
    const SyslogLine line;
    nuv::write_to_system_log(LOG_USER | priority, "%s%s%s%s%s%s%s%s%s%s%s%s%s%s%s%s%s", texts_[0], texts_[1], texts_[2],
                             texts_[3], texts_[4], texts_[5], texts_[6], texts_[7], texts_[8], texts_[9], texts_[10],
                             texts_[11], texts_[12], texts_[13], texts_[14], texts_[15], texts_[16]);
  }

 private:
  static constexpr size_t kEnd = kMessage + Message::kMost;
  static_assert(kEnd == 17, "log() names each text");

  const char* texts_[kEnd + 1];
  nuv::Digits digits_[2];
};

// Writes the message of a module that is not registered to the system log, and reports it. If the log is switched off,
// the line is written all the same, with a time stamp of its own.
void report_unregistered(int a_ModulHandle, Form form, const Message& message) {
  const Timestamp now;
  Line line(form);
  if (g_trace_output.syslog == 0) {
    line.set_stamp(now);
  }
  line[Line::kTypeEnd] = "error:sysloglevel";
  line[Line::kModule] = line[Line::kSeparator];
  line[Line::kSeparator] = "Module not registered for message: ";
  line.set_message(message, nuv::Sign::kSigned);
  line.log(LOG_ERR);
  NUV_REQUIRE((int)a_ModulHandle >= 0);
}

// Reports a line of a module that does not exist, in the order that each form has always had. Each output that is switched
// on tests the mask, and so reports the handle.
[[gnu::cold, gnu::noinline]] void refuse(int module, uint32_t type, const Message& message) {
  const Form form = kTypes[type].form;
  if (form == Form::kShort) {
    NUV_Sysloglevel_getModulName(module);
  }
  if (module < 0) {
    report_unregistered(module, form, message);
  }
  if (module < 0 && form == Form::kFlow) {
    return;
  }
  if (form == Form::kLocated) {
    NUV_Sysloglevel_getModulName(module);
  }
  for (const uint8_t is_on : {g_trace_output.syslog, g_trace_output.console}) {
    if (is_on != 0) {
      NUV_Sysloglevel_checkTracelevel(module, type);
    }
  }
}

void write(unsigned outputs, int module, uint32_t type, const Message& message) {
  if (outputs == kNoModule) {
    refuse(module, type, message);
    return;
  }
  const Form form = kTypes[type].form;
  Line line(form);
  if (form != Form::kGui) {
    line[Line::kType] = NUV_ESysloglevelType_name(type);
  }
  if (form != Form::kFlow) {
    line[Line::kTypeEnd] = form != Form::kGui ? ":" : "";
    line[Line::kModule] = NUV_Sysloglevel_getModulName(module);
  }
  if ((outputs & kSyslog) != 0) {
    line.set_message(message, form == Form::kLocated ? nuv::Sign::kSigned : nuv::Sign::kUnsigned);
    line.log(kTypes[type].priority);
  }
  if ((outputs & kConsole) != 0) {
    const Timestamp now;
    line.set_stamp(now);
    line.set_message(message, nuv::Sign::kUnsigned);
    line.print();
  }
}

// For the types that print where in the source they come from.
void write_located(int module, uint32_t type, const char* path, uint32_t number, const char* text) {
  const unsigned outputs = outputs_of(module, type);
  if (outputs != kNowhere) {
    const char* const texts[] = {nuv::base_name(text_or_empty(path)), ":", nullptr, "   ", text_or_empty(text)};
    write(outputs, module, type, {texts, {number, 0}});
  }
}

// For the types that print a text alone.
void write_text(int module, uint32_t type, const char* text) {
  const unsigned outputs = outputs_of(module, type);
  if (outputs != kNowhere) {
    const char* const texts[] = {text_or_empty(text)};
    write(outputs, module, type, {texts, {}});
  }
}

}  // namespace

void NUV_Sysloglevel_info(int a_ModulHandle, const char* /*a_file*/, uint32_t /*a_line*/, const char* a_text) {
  write_text(a_ModulHandle, NUV_SYSLOGLEVEL_INFO, a_text);
}

void NUV_Sysloglevel_trace(int a_ModulHandle, const char* /*a_file*/, uint32_t /*a_line*/, const char* a_text) {
  write_text(a_ModulHandle, NUV_SYSLOGLEVEL_TRACE, a_text);
}

void NUV_Sysloglevel_debug(int a_ModulHandle, const char* a_file, uint32_t a_line, const char* a_text) {
  write_located(a_ModulHandle, NUV_SYSLOGLEVEL_DEBUG, a_file, a_line, a_text);
}

void NUV_Sysloglevel_warning(int a_ModulHandle, const char* /*a_file*/, uint32_t /*a_line*/, const char* a_text) {
  write_text(a_ModulHandle, NUV_SYSLOGLEVEL_WARNING, a_text);
}

void NUV_Sysloglevel_error(int a_ModulHandle, const char* a_file, uint32_t a_line, const char* a_text) {
  write_located(a_ModulHandle, NUV_SYSLOGLEVEL_ERROR, a_file, a_line, a_text);
}

void NUV_Sysloglevel_tracect(int a_ModulHandle, const char* a_file, uint32_t a_line, const char* a_text) {
  write_located(a_ModulHandle, NUV_SYSLOGLEVEL_TRACECT, a_file, a_line, a_text);
}

void NUV_Sysloglevel_tracedo(int a_ModulHandle, const char* a_file, uint32_t a_line, const char* a_text) {
  write_located(a_ModulHandle, NUV_SYSLOGLEVEL_TRACEDO, a_file, a_line, a_text);
}

void NUV_Sysloglevel_guioutput(int a_ModulHandle, const char* /*a_file*/, uint32_t /*a_line*/, const char* a_text) {
  write_text(a_ModulHandle, NUV_SYSLOGLEVEL_GUIOUTPUT, a_text);
}

void NUV_Sysloglevel_tracemf(int a_ModulHandle, const char* a_fromName, uint32_t a_fromNumber, const char* a_message,
                             const char* a_toName, uint32_t a_toNumber, uint32_t a_direction) {
  const unsigned outputs = outputs_of(a_ModulHandle, NUV_SYSLOGLEVEL_TRACEMF);
  if (outputs != kNowhere) {
    const char* const texts[] = {text_or_empty(a_fromName), ":", nullptr, " -->", text_or_empty(a_message),      "--> ",
                                 text_or_empty(a_toName),   ":", nullptr, "  ",   a_direction != 0 ? "RX" : "TX"};
    write(outputs, a_ModulHandle, NUV_SYSLOGLEVEL_TRACEMF, {texts, {a_fromNumber, a_toNumber}});
  }
}

void NUV_Sysloglevel_dump(int a_ModulHandle, const char* /*a_file*/, uint32_t /*a_line*/, const char* a_title,
                          const void* a_data, uint32_t a_length) {
  const unsigned outputs = outputs_of(a_ModulHandle, NUV_SYSLOGLEVEL_DUMP);
  if (outputs != kNowhere) {
    nuv::for_each_hex_line(a_data, a_length, [=](const char* hex) {
      const char* const texts[] = {text_or_empty(a_title), ": ", hex};
      write(outputs, a_ModulHandle, NUV_SYSLOGLEVEL_DUMP, {texts, {}});
    });
  }
}
